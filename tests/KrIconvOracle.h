// glibc iconv called directly: the independent oracle for conversion results in the tests.
#pragma once

#include <iconv.h>

#include <optional>
#include <string>

namespace KrTest
{

// One iconv descriptor for many conversions, each one call from the initial state, for tests
// that compare thousands of short inputs.
class IconvConverter
{
public:
    IconvConverter(const std::string& to, const std::string& from)
        : m_cd(iconv_open(to.c_str(), from.c_str()))
    {
    }
    ~IconvConverter()
    {
        if (IsOpen()) iconv_close(m_cd);
    }
    IconvConverter(const IconvConverter&) = delete;
    IconvConverter& operator=(const IconvConverter&) = delete;

    bool IsOpen() const { return m_cd != reinterpret_cast<iconv_t>(-1); }

    // The bytes of in converted, or nothing when iconv rejects the input (or was not opened).
    std::optional<std::string> operator()(const std::string& in)
    {
        std::string out(in.size() * 4 + 16, '\0');
        char *input = const_cast<char*>(in.data()), *output = &out[0];
        size_t inputLeft = in.size(), outputLeft = out.size();
        if (!IsOpen() || iconv(m_cd, nullptr, nullptr, nullptr, nullptr) != 0 ||
            iconv(m_cd, &input, &inputLeft, &output, &outputLeft) == static_cast<size_t>(-1))
            return std::nullopt;
        out.resize(out.size() - outputLeft);
        return out;
    }

private:
    iconv_t m_cd;
};

// The bytes of in converted from one iconv name to another, or nothing when iconv rejects
// the names or the input.
inline std::optional<std::string> IconvOracle(const std::string& to, const std::string& from,
                                              const std::string& in)
{
    return IconvConverter(to, from)(in);
}

}  // namespace KrTest
