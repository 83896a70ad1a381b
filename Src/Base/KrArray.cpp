#include "Base/KrArray.h"

namespace KRN
{

template class KrArray<int>;
template class KrArray<unsigned int>;
template class KrArray<unsigned short>;
template class KrDict<int, int, std::less<int>>;

}  // namespace KRN
