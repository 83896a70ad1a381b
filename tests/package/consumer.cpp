// Uses a few exported functions and template instantiations of the installed library, and its
// installed configuration.
#include <cstdio>

#include "Base/ZoBase.h"

int main()
{
    using namespace KRN;
    KrArray<KrString> parts;
    const int count = KrString("x,y,z").Split(parts, ",", true);
    KrArray<int> numbers;
    numbers.Add(7);
    // The installed configuration sits beside the installed library, where the lookup finds it.
    KrString message;
    const bool configured = !message.LoadString(30150) && krdpi() > 0;
    const bool ok = configured && count == 3 && parts[2] == "z" &&
                    KrString::From(255u, 16) == "0XFF" && numbers.GetAt(0) == 7 &&
                    krequal(1.0, 1.0) && KrRGB(1, 2, 3) == 0x030201u;
    std::printf("consumer %s\n", ok ? "ok" : "FAILED");
    return ok ? 0 : 1;
}
