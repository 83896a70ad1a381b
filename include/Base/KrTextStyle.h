// KrTextStyle: how a text is drawn - typeface, size, colours, rotation, alignment and a set of
// on/off effects. Most small attributes share one 32-bit style word (GetStyle/SetStyle give it
// whole); angles are kept in tenths of a degree. Compare, hash, and write or read it as XML in
// the same two dialects as KrStyle, chosen by a version number.
//   style word bits: 0-7 alignment, 8 bold, 9 italic, 10 underline, 11 strike-out,
//   12 fixed size, 13 back opaque, 14 halo, 15 shadow, 16-23 weight / 66, 24-31 fixed size
//   in tenths.
// Usage:
//   KrTextStyle label;
//   label.SetFaceName("Arial");
//   label.SetHeight(3.5);
//   label.SetBold(1);
//   label.SetAlign(KrTextStyle::AlignCenter);
//   KrString xml = label.ToXML();             // read back with FromXML(xml)
#pragma once

#include "Base/KrDefs.h"
#include "Base/KrString.h"

namespace KRN
{

class KrMarkup;

class KRN_API KrTextStyle
{
public:
    // Alignments, the low byte of the style word; the XML names are the enumerators' names
    // without "Align" ("TopLeft" ... "CenterRight").
    enum Align : unsigned char
    {
        AlignTopLeft = 0,
        AlignTopCenter = 1,
        AlignTopRight = 2,
        AlignBaselineLeft = 3,
        AlignBaselineCenter = 4,
        AlignBaselineRight = 5,
        AlignBottomLeft = 6,
        AlignBottomCenter = 7,
        AlignBottomRight = 8,
        AlignCenterLeft = 9,
        AlignCenter = 10,
        AlignCenterRight = 11
    };

    // Black on black, no rotation, width 0 (proportional to the height), height 6, no face
    // name, style word 0.
    KrTextStyle();
    KrTextStyle(const KrTextStyle& other) = default;
    KrTextStyle& operator=(const KrTextStyle& other) = default;
    virtual ~KrTextStyle();

    unsigned int GetForeColor() const { return m_clrFore; }
    void SetForeColor(unsigned int color) { m_clrFore = color; }
    unsigned int GetBackColor() const { return m_clrBack; }  // background or halo
    void SetBackColor(unsigned int color) { m_clrBack = color; }
    double GetWidth() const { return m_dWidth; }
    void SetWidth(double width) { m_dWidth = width; }
    double GetHeight() const { return m_dHeight; }
    void SetHeight(double height) { m_dHeight = height; }
    const KrString& GetFaceName() const { return m_strFaceName; }
    void SetFaceName(const KrString& name) { m_strFaceName = name; }
    int GetStyle() const { return m_nStyle; }
    void SetStyle(int style) { m_nStyle = style; }

    // Degrees, kept in tenths rounded half away from zero: SetAngle(12.25) keeps 123.
    double GetAngle() const { return m_nAngle / 10.0; }
    void SetAngle(double degrees);
    // Degrees of slant, kept in tenths truncated toward zero (not rounded, unlike SetAngle) and
    // clamped to -60..60 degrees: SetItalicAngle(-12.34) keeps -123.
    double GetItalicAngle() const { return m_nItalicAngle / 10.0; }
    void SetItalicAngle(double degrees);

    unsigned char GetAlign() const { return static_cast<unsigned char>(m_nStyle & 0xFF); }
    void SetAlign(unsigned char align);  // replaces the low byte, keeps every flag

    unsigned char IsBold() const { return bit(kBold); }
    void SetBold(unsigned char on) { setBit(kBold, on); }
    unsigned char IsItalic() const { return bit(kItalic); }
    void SetItalic(unsigned char on) { setBit(kItalic, on); }
    unsigned char IsUnderline() const { return bit(kUnderline); }
    void SetUnderline(unsigned char on) { setBit(kUnderline, on); }
    unsigned char IsStrikeOut() const { return bit(kStrikeOut); }
    void SetStrikeOut(unsigned char on) { setBit(kStrikeOut, on); }
    unsigned char IsFixedSize() const { return bit(kFixedSize); }
    void SetFixedSize(unsigned char on) { setBit(kFixedSize, on); }
    unsigned char IsBackOpaque() const { return bit(kBackOpaque); }
    void SetBackOpaque(unsigned char on) { setBit(kBackOpaque, on); }
    unsigned char IsHalo() const { return bit(kHalo); }
    void SetHalo(unsigned char on) { setBit(kHalo, on); }
    unsigned char IsShadow() const { return bit(kShadow); }
    void SetShadow(unsigned char on) { setBit(kShadow, on); }

    // Font weight (400 normal, 700 bold), kept as weight / 66 rounded half away from zero in
    // bits 16-23 and read back as (byte * 0.66, rounded) * 100: 400 keeps 6 and reads 400, 100
    // keeps 2 and reads 100. The kept value is not masked to its byte: a weight of 16863 or more
    // (or a negative one) spills into the fixed-size byte above it.
    int GetWeight() const;
    void SetWeight(int weight);

    // Size of fixed-size text, 0.0 to 25.5, in tenths in bits 24-31 (rounded half away from
    // zero; only the low 8 bits of the tenths are kept).
    double GetSizeForFixed() const { return (static_cast<unsigned int>(m_nStyle) >> 24) / 10.0; }
    void SetSizeForFixed(double size);

    // Fore and back colour, angle, italic angle, width (exactly), height (krequal), face name
    // (bytes) and the style word.
    bool operator==(const KrTextStyle& other) const;
    bool operator!=(const KrTextStyle& other) const { return !(*this == other); }
    // Equal styles hash alike; the height, compared with a tolerance, does not enter.
    int GetHashCode() const;

    // Version 0 means 20050303. 20031211 writes the older dialect (an empty face name is
    // written as the GBK name of the Song typeface, bytes CB CE CC E5; sizes multiplied by 10
    // for fixed-size text), 20050303 and later the current one; any other version gives an
    // empty string. The root element is "pml:TextStyle" in both.
    KrString ToXML(int version = 0) const;
    // Version 20031211 reads the older dialect, any other the current one. The style word is
    // cleared first, so a flag is set only by an element reading "TRUE" (any case). Children
    // are looked up in the writer's order, each search starting after the last element found;
    // an absent one leaves its field as it was. Colours are taken only from "RGB(r,g,b)" texts;
    // a bare number is ignored. The italic angle is read in whole degrees (rounded). Always
    // true, even for an empty or malformed text (which still clears the style word).
    bool FromXML(const KrString& xml, int version = 0);

private:
    static constexpr int kBold = 0x100;
    static constexpr int kItalic = 0x200;
    static constexpr int kUnderline = 0x400;
    static constexpr int kStrikeOut = 0x800;
    static constexpr int kFixedSize = 0x1000;
    static constexpr int kBackOpaque = 0x2000;
    static constexpr int kHalo = 0x4000;
    static constexpr int kShadow = 0x8000;

    unsigned char bit(int mask) const { return (m_nStyle & mask) != 0 ? 1 : 0; }
    void setBit(int mask, unsigned char on)
    {
        m_nStyle = on ? (m_nStyle | mask) : (m_nStyle & ~mask);
    }
    KrString toCurrentXML() const;
    KrString toOlderXML() const;
    void fromCurrentXML(KrMarkup& markup);
    void fromOlderXML(KrMarkup& markup);

    unsigned int m_clrFore;
    unsigned int m_clrBack;
    int m_nAngle;        // tenths of a degree
    int m_nItalicAngle;  // tenths of a degree, -600..600
    double m_dWidth;
    double m_dHeight;
    KrString m_strFaceName;
    int m_nStyle;
};

}  // namespace KRN
