// KrStyle: how a geometry is drawn - the marker of a point, the stroke of a line and the fill of
// an area, with its gradient. A plain value record: set the fields, compare, hash, save it to a
// KrStream (whole or only what one geometry type needs) or write it as XML in one of two
// dialects chosen by a version number. Angles, widths and sizes are kept as integers in tenths
// and exposed as doubles: SetLineWidth(0.25) keeps 3, GetLineWidth() then gives 0.3.
//   KrStyle style;
//   style.SetLineColor(KrRGB(255, 0, 0));
//   style.SetLineWidth(0.5);
//   KrString xml = style.ToXML();             // "pml:Style" in the newer dialect
//   KrStyle copy;  copy.FromXML(xml);         // copy == style
#pragma once

#include "Base/KrDefs.h"
#include "Base/KrString.h"

namespace KRN
{

class KrStream;

class KRN_API KrStyle
{
public:
    // Marker 0, size 2.4, angle 0; line 0, black, width 0.1; fill 0, fore RGB(189,235,255),
    // back white and opaque, opacity 100 %, no gradient; not scaled by symbol.
    KrStyle();

    int GetMarkerStyle() const { return m_nMarkerStyle; }
    void SetMarkerStyle(int style) { m_nMarkerStyle = style; }
    double GetMarkerSize() const { return m_nMarkerSize / 10.0; }
    void SetMarkerSize(double size);
    double GetMarkerAngle() const { return m_nMarkerAngle / 10.0; }  // degrees
    void SetMarkerAngle(double degrees);

    int GetLineStyle() const { return m_nLineStyle; }
    void SetLineStyle(int style) { m_nLineStyle = style; }
    unsigned int GetLineColor() const { return m_clrLine; }  // also the marker colour
    void SetLineColor(unsigned int color) { m_clrLine = color; }
    double GetLineWidth() const { return m_nLineWidth / 10.0; }
    void SetLineWidth(double width);

    int GetFillStyle() const { return m_nFillStyle; }
    void SetFillStyle(int style) { m_nFillStyle = style; }
    unsigned int GetFillForeColor() const { return m_clrFillFore; }
    void SetFillForeColor(unsigned int color) { m_clrFillFore = color; }
    unsigned int GetFillBackColor() const { return m_clrFillBack; }  // behind hatched fills
    void SetFillBackColor(unsigned int color) { m_clrFillBack = color; }
    unsigned char GetFillBackOpaque() const { return m_bFillBackOpaque; }
    void SetFillBackOpaque(unsigned char opaque) { m_bFillBackOpaque = opaque; }
    unsigned char GetFillOpaqueRate() const { return m_nFillOpaqueRate; }  // percent
    void SetFillOpaqueRate(unsigned char rate) { m_nFillOpaqueRate = rate; }
    // 0 none, 1 linear, 2 radial, 3 conical, 4 square.
    unsigned char GetFillGradientType() const { return m_nFillGradientType; }
    void SetFillGradientType(unsigned char type) { m_nFillGradientType = type; }
    // Gradient angle in degrees. Kept in 16 bits of tenths: beyond +-3276.7 degrees the tenths
    // wrap around.
    double GetFillAngle() const { return m_nFillAngle / 10.0; }
    void SetFillAngle(double degrees);
    short GetFillCenterOffsetX() const { return m_nFillCenterOffsetX; }
    void SetFillCenterOffsetX(short offset) { m_nFillCenterOffsetX = offset; }
    short GetFillCenterOffsetY() const { return m_nFillCenterOffsetY; }
    void SetFillCenterOffsetY(short offset) { m_nFillCenterOffsetY = offset; }

    // Whether sizes scale with the symbol. Neither compared, hashed nor saved in binary form.
    unsigned char IsScaleBySymbol() const { return m_bScaleBySymbol; }
    void SetScaleBySymbol(unsigned char scale) { m_bScaleBySymbol = scale; }

    // Every field but the scale-by-symbol flag. Colours compare as whole words, alpha included.
    bool operator==(const KrStyle& other) const;
    bool operator!=(const KrStyle& other) const { return !(*this == other); }
    // Line colour, style and width.
    static bool IsSameLineStyle(const KrStyle& a, const KrStyle& b);
    // Line colour (the marker's colour), marker angle, size and style.
    static bool IsSameMarkerStyle(const KrStyle& a, const KrStyle& b);
    // Every fill field; the outline is not compared.
    static bool IsSameFillStyle(const KrStyle& a, const KrStyle& b);
    // type 0 as IsSameMarkerStyle, 1 as IsSameLineStyle, 2 as IsSameFillStyle, else operator==.
    static bool IsSameDimensionStyle(const KrStyle& a, const KrStyle& b, int type);

    // Equal styles hash alike. The back colour enters only while it is opaque, without its
    // alpha cleared, and the gradient and offsets do not enter at all.
    int GetHashCode() const;

    // ---- binary form, in the stream's little-endian wire format.
    // Colours are written and read with their alpha byte cleared. A back colour that is not
    // opaque is written as FF FF FF FF; reading it gives opaque white and leaves the opaque flag
    // as it was, so a transparent back does not survive a save and load. Reading never sets the
    // flag to true.

    static int GetStoreSize() { return 44; }  // bytes of SaveAll
    // The 44-byte record; the scale-by-symbol flag is not stored. True when the stream is OK.
    bool SaveAll(KrStream& stream) const;
    // size below 36: false, nothing read. Below 44: the nine 32-bit fields of the older record
    // only; the gradient fields keep their values. Otherwise all 44 bytes. Any other size gives
    // true: as with every record, check the stream's status once the whole record is loaded
    // (fields past the end of the data keep their values).
    bool LoadAll(KrStream& stream, int size);
    // What one geometry type needs (0 point, 1 line, 2 region), after its byte count (16, 12 or
    // 32; 0 and nothing else for another type). Returns the bytes written after the count.
    int Save(KrStream& stream, int type) const;
    // Reads the fields Save wrote for the type but not the count, which the caller has already
    // consumed. Returns 16, 12 or 32, or 0 for another type (nothing read). Check the stream's
    // status for truncated data: fields past the end keep their values.
    int Load(KrStream& stream, int type);

    // ---- XML form. Version 0 means 20050303.
    // 20031211 writes the older "pml:GeoStyle" dialect (raw tenths); 20050303 and later the
    // "pml:Style" dialect (decimal values, gradient names). Other versions give an empty string.
    // A non-empty tag replaces the root's name; a tag that is not a valid element name gives an
    // empty string.
    KrString ToXML(int version = 0, const KrString& tag = KrString()) const;
    // Version 20031211 reads the older dialect, any other the newer. The root's name is not
    // checked. The children are looked up in the order the writer puts them, each search
    // starting after the last element found: an absent element, or one out of that order,
    // leaves its field unchanged. Numbers that do not parse read as 0; 8- and 16-bit fields
    // take the low bits. False only for an empty text.
    bool FromXML(const KrString& xml, int version = 0);

    // "RGB(r,g,b)" of a colour word; the alpha byte is not written.
    static KrString ConvertRGBColor(unsigned int color);
    // "RGB(r,g,b)" (the "RGB(" prefix assumed at the start, blanks after the commas tolerated,
    // each component taking its low 8 bits), or, for a text containing neither "RGB" nor "rgb",
    // the decimal colour word itself.
    static unsigned int ConvertRGBColor(const KrString& text);

private:
    int m_nMarkerStyle;
    int m_nMarkerAngle;  // tenths of a degree
    int m_nMarkerSize;   // tenths
    int m_nLineStyle;
    unsigned int m_clrLine;
    int m_nLineWidth;  // tenths
    int m_nFillStyle;
    unsigned int m_clrFillBack;
    unsigned int m_clrFillFore;
    unsigned char m_bFillBackOpaque;
    unsigned char m_nFillOpaqueRate;
    unsigned char m_nFillGradientType;
    short m_nFillAngle;  // tenths of a degree
    short m_nFillCenterOffsetX;
    short m_nFillCenterOffsetY;
    unsigned char m_bScaleBySymbol;
};

}  // namespace KRN
