// glibc iconv called directly: the independent oracle for conversion results in the tests.
#pragma once

#include <iconv.h>

#include <optional>
#include <string>

namespace KrTest
{

// The bytes of in converted from one iconv name to another, or nothing when iconv rejects
// the names or the input.
inline std::optional<std::string> IconvOracle(const std::string& to, const std::string& from,
                                              const std::string& in)
{
    iconv_t cd = iconv_open(to.c_str(), from.c_str());
    if (cd == reinterpret_cast<iconv_t>(-1)) return std::nullopt;
    std::string out(in.size() * 4 + 16, '\0');
    char* input = const_cast<char*>(in.data());
    size_t inputLeft = in.size();
    char* output = &out[0];
    size_t outputLeft = out.size();
    const size_t result = iconv(cd, &input, &inputLeft, &output, &outputLeft);
    iconv_close(cd);
    if (result == static_cast<size_t>(-1)) return std::nullopt;
    out.resize(out.size() - outputLeft);
    return out;
}

}  // namespace KrTest
