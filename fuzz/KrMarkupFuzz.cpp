// An arbitrary document, then a sequence of navigation, read and edit calls driven by the
// remaining bytes. After every call the index must describe what a fresh parse of the text
// finds.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "Base/KrMarkupProbe.h"

using namespace KRN;

namespace
{

const char* const kNames[] = {nullptr, "",    "a",   "b", "item", "item[2]",
                              "x",     "a b", "q\"", "<", "sub/x"};
const char* const kTexts[] = {nullptr, "",       "v",   "a<b&c>", "]]>",
                              "x]]>y", "&#169;", "'\"", "\r\n",   "  "};
const char* const kFragments[] = {"<s/>",
                                  "<?xml version=\"1.0\"?>\r\n<s a='1'><t>x</t></s>\r\n",
                                  "junk<s/><t/>",
                                  "<s>",
                                  "",
                                  "<!-- c --><s><![CDATA[<x>]]></s>  tail",
                                  "</s><s/>",
                                  "<s x=\">\">y</s>"};

template <size_t N>
const char* pick(const char* const (&table)[N], uint8_t byte)
{
    return table[byte % N];
}

class Driver
{
public:
    Driver(const uint8_t* data, size_t size) : m_data(data), m_size(size) {}
    bool More() const { return m_at < m_size; }
    uint8_t Byte() { return m_at < m_size ? m_data[m_at++] : 0; }
    // A short text cut from the input, used as a name, value or fragment.
    std::string Slice()
    {
        const size_t length = Byte() % 16;
        std::string text;
        for (size_t i = 0; i < length && m_at < m_size; ++i)
        {
            const char c = static_cast<char>(m_data[m_at++]);
            if (c != '\0') text += c;
        }
        return text;
    }

private:
    const uint8_t* m_data;
    size_t m_size;
    size_t m_at = 0;
};

void check(const KrMarkup& markup, int step)
{
    const std::string mismatch = KrMarkupProbe::Mismatch(markup);
    if (mismatch.empty()) return;
    std::fprintf(stderr, "step %d: %s\ndocument: [%s]\n", step, mismatch.c_str(),
                 markup.GetDoc().Cstr());
    std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1) return 0;
    const size_t documentLength = (size - 1) * data[0] / 255;
    const std::string document(reinterpret_cast<const char*>(data) + 1, documentLength);
    KrMarkup markup(document.c_str());
    check(markup, -1);
    // A reader that held earlier inputs, and so has room to spare, reads this one alike.
    static KrMarkup reused;
    reused.SetDoc(document.c_str());
    if (reused.GetDoc() != markup.GetDoc() || reused.GetError() != markup.GetError() ||
        reused.IsWellFormed() != markup.IsWellFormed())
    {
        std::fprintf(stderr, "reused reader differs\ndocument: [%s]\n", markup.GetDoc().Cstr());
        std::abort();
    }
    check(reused, -1);
    // A document of over a megabyte is copied as the parse reads it: behind blanks that put the
    // input across a copy block's edge, it must read as the short one does.
    if (size % 8 == 0 && document.c_str()[0] != '\0')
    {
        static const std::string blanks((1 << 20) + 65536 - 7, ' ');
        static KrMarkup longer;
        const std::string text = blanks + document.c_str();
        longer.SetDoc(text.c_str());
        if (longer.GetDoc() != text || longer.GetError() != markup.GetError() ||
            longer.IsWellFormed() != markup.IsWellFormed())
        {
            std::fprintf(stderr, "long text differs\ndocument: [%s]\n", markup.GetDoc().Cstr());
            std::abort();
        }
    }
    Driver in(data + 1 + documentLength, size - 1 - documentLength);
    for (int step = 0; step < 64 && in.More(); ++step)
    {
        const uint8_t op = in.Byte();
        const uint8_t arg = in.Byte();
        const bool fromInput = (arg & 0x80) != 0;
        const std::string slice = fromInput ? in.Slice() : std::string();
        const char* name = fromInput ? slice.c_str() : pick(kNames, arg);
        const char* text = fromInput ? slice.c_str() : pick(kTexts, arg >> 3);
        const char* fragment = fromInput ? slice.c_str() : pick(kFragments, arg);
        switch (op % 28)
        {
            case 0:
                markup.FindElem(name);
                break;
            case 1:
                markup.FindChildElem(name);
                break;
            case 2:
                markup.IntoElem();
                break;
            case 3:
                markup.OutOfElem();
                break;
            case 4:
                markup.ResetPos();
                break;
            case 5:
                markup.ResetMainPos();
                break;
            case 6:
                markup.ResetChildPos();
                break;
            case 7:
                markup.SavePos(name);
                break;
            case 8:
                markup.RestorePos(name);
                break;
            case 9:
                markup.AddElem(name, text);
                break;
            case 10:
                markup.InsertElem(name, text);
                break;
            case 11:
                markup.AddChildElem(name, text);
                break;
            case 12:
                markup.InsertChildElem(name, text);
                break;
            case 13:
                markup.AddSubDoc(fragment);
                break;
            case 14:
                markup.InsertSubDoc(fragment);
                break;
            case 15:
                markup.AddChildSubDoc(fragment);
                break;
            case 16:
                markup.InsertChildSubDoc(fragment);
                break;
            case 17:
                markup.SetAttrib(name, text);
                break;
            case 18:
                markup.SetChildAttrib(name, text);
                break;
            case 19:
                markup.SetData(text, arg & 1);
                break;
            case 20:
                markup.SetChildData(text, arg & 1);
                break;
            case 21:
                markup.RemoveElem();
                break;
            case 22:
                markup.RemoveChildElem();
                break;
            case 23:
                markup.SetAttrib(name, static_cast<int>(arg) - 128);
                break;
            case 24:
            {
                KrMarkup copy(markup);
                markup = copy;
                break;
            }
            default:
            {
                const size_t read = markup.GetData().size() + markup.GetChildData().size() +
                                    markup.GetAttrib(name).size() +
                                    markup.GetChildAttrib(name).size() +
                                    markup.GetAttribName(arg % 4).size() +
                                    markup.GetSubDoc().size() + markup.GetChildSubDoc().size() +
                                    markup.GetTagName().size() + markup.GetChildTagName().size();
                (void)read;
                break;
            }
        }
        check(markup, step);
    }
    return 0;
}
