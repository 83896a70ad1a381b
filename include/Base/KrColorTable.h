// KrColorTable: maps a height (Z) to a colour for grid and terrain rendering. The land colours
// are spread evenly over Z floor..Z ceiling and looked up by linear interpolation; once a water
// level is set, heights at or below it take the water colours instead. The table also shades a
// colour by a light direction (hill shading), builds standard ramps and has an XML form.
//   KrColorTable table; table.CreateDefault(); table.SetZFloor(0); table.SetZCeiling(3000);
//   unsigned int c = table.GetColor(812.5);
#pragma once

#include "Base/KrColorset.h"
#include "Base/KrDefs.h"
#include "Base/KrString.h"

namespace KRN
{

class KRN_API KrColorTable
{
public:
    KrColorTable() = default;
    KrColorTable(const KrColorTable&) = default;
    KrColorTable(KrColorTable&&) noexcept = default;
    KrColorTable& operator=(const KrColorTable&) = default;
    KrColorTable& operator=(KrColorTable&&) noexcept = default;
    virtual ~KrColorTable();

    // Land colours. Index-based operations work on them only; out-of-range indices read 0 and
    // are ignored by the setters.
    int GetSize() const { return m_clrLand.GetSize(); }
    void SetSize(int n);  // new entries 0; negative empties
    unsigned int GetRGB(int index) const;
    void SetColor(int index, int color);
    short GetRed(int index) const;
    short GetGreen(int index) const;
    short GetBlue(int index) const;
    void SetRed(int index, unsigned char value);
    void SetGreen(int index, unsigned char value);
    void SetBlue(int index, unsigned char value);
    // Append to the land colours; return the new size.
    long long AddColor(unsigned int color);
    long long Add(unsigned char red, unsigned char green, unsigned char blue);

    double GetZFloor() const { return m_dZFloor; }
    void SetZFloor(double z);
    double GetZCeiling() const { return m_dZCeiling; }
    void SetZCeiling(double z);
    double GetWaterLevel() const { return m_dWaterLevel; }
    // Also turns the water run on; nothing in this class turns it off again.
    void SetWaterLevel(double z);
    bool IsWaterOn() const { return m_bWaterOn != 0; }
    float GetLightX() const { return m_fLightX; }
    void SetLightX(float x) { m_fLightX = x; }
    float GetLightY() const { return m_fLightY; }
    void SetLightY(float y) { m_fLightY = y; }
    float GetLightZ() const { return m_fLightZ; }
    void SetLightZ(float z) { m_fLightZ = z; }

    // The colour of height z:
    // - no land colours: red, KrRGB(255, 0, 0), marks a missing table; one colour: that colour;
    // - z below the floor: the first land colour; z at or above the ceiling: the last;
    // - with water on, z at or below the water level interpolates the water colours over
    //   floor..water level (red when there are fewer than two), and higher z the land colours
    //   over water level..ceiling; without water the land colours over floor..ceiling.
    // Channels are interpolated and truncated toward zero; the alpha byte is 0 unless a run's
    // end colour is returned as it is. A NaN z gives the first colour of the run it lands in.
    unsigned int InterColor(double z) const;
    unsigned int GetColor(double z) const { return InterColor(z); }
    // The colour's red, green and blue divided by 255.0; always true.
    unsigned char GetColor(double z, double& red, double& green, double& blue) const;

    // ((normal . light) / (|normal| |light|) + 1) / 2: 1 facing the light, 0.5 at right angles,
    // 0 facing away. A zero-length (or non-finite) normal or light counts as a right angle.
    float GetLightRatio(const float normal[3]) const;
    // InterColor(z) with each channel scaled by the light ratio, rounded half away from zero.
    unsigned long long GetLightenColor(double z, const float normal[3]) const;

    void SwapIndex();    // reverses the order of the land colours
    void SwapRedBlue();  // exchanges red and blue in every land colour

    // Ramps over the existing entries (the size is kept): entry i of n gets level i * 256 / n
    // in all channels (grey) or in one. They return the size.
    int CreateGrey();
    int CreateRed();
    int CreateGreen();
    int CreateBlue();
    // Replace the land colours by a colour-set gradient; return the new size.
    int CreateGradient(int count, unsigned int from, unsigned int to);
    int CreateStockGradient(int count, tagQZ_ENUM_STOCK_GRADIENT_SET_STYLE style,
                            unsigned char reverse);
    // Water: 16 steps from (0,0,128) to (0,0,255), then 16 from (0,0,255) to (48,128,255). Land:
    // the 32-colour terrain ramp (stock style 25). The water colours take effect once a water
    // level is set. Returns the land size.
    int CreateDefault();

    const KrColorset& GetLandColors() const { return m_clrLand; }
    const KrColorset& GetWaterColors() const { return m_clrWater; }
    // Copy the land colours out of or into a set; true when the result is not empty.
    unsigned char ToColorset(KrColorset& set) const;
    unsigned char FromColorset(const KrColorset& set);

    // XML for versions below 20070522 (0 included); later versions give an empty text. Root
    // "pml:ColorTable" (a non-empty tag replaces the name), "pml:MaxZValue" and "pml:MinZValue"
    // as "%.10f", then one "pml:Color" "RGB(r,g,b)" per land colour. The water colours, water
    // level and light are not written, and colours lose their alpha byte.
    KrString ToXML(int version, const KrString& tag) const;
    // False for an empty text, a version of 20070522 or later, a text that does not parse, or a
    // root that is not "pml:ColorTable" (so a text written with another tag does not read back).
    // Absent Z elements keep their values; any "pml:Color" element replaces all the land colours
    // (each text "RGB(r,g,b)" or a decimal colour word). Malformed numbers read as 0.
    unsigned char FromXML(const KrString& xml, int version);

    // Placeholders: do nothing and return 0.
    int Open(const char* path);
    int Save(const char* path);

private:
    KrColorset m_clrLand;
    KrColorset m_clrWater;
    float m_fLightX = 0;
    float m_fLightY = 0;
    float m_fLightZ = 0;
    double m_dZCeiling = 0;
    double m_dZFloor = 0;
    double m_dWaterLevel = 0;
    unsigned char m_bWaterOn = 0;
    // The interpolation step of each run, (hi - lo) / (colours - 1), renewed whenever a run's
    // size or range changes, so that a lookup divides only once.
    void updateSteps();
    double m_dLandStep = 0;   // land colours over floor..ceiling
    double m_dShoreStep = 0;  // land colours over water level..ceiling
    double m_dWaterStep = 0;  // water colours over floor..water level
};

}  // namespace KRN
