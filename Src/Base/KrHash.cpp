#include "Base/KrHash.h"

namespace KRN
{

template class KrHash<KrString>;
template class KrHash<void*>;
template class KrArray<KrHash<KrString>>;

}  // namespace KRN
