#include "Base/KrArray.h"

namespace KRN
{

// The containers of plain values that the library exports; each family compiles the containers
// of its own records in its own source.
template class KrArray<int>;
template class KrArray<unsigned int>;
template class KrArray<unsigned short>;
template class KrDict<int, int, std::less<int>>;

}  // namespace KRN
