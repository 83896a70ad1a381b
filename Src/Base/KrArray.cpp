#include "Base/KrArray.h"

#include "Base/KrErrorObj.h"
#include "Base/KrLogFile.h"
#include "Base/KrProgress.h"

namespace KRN
{

template class KrArray<int>;
template class KrArray<unsigned int>;
template class KrArray<unsigned short>;
template class KrDict<int, int, std::less<int>>;

// The containers of the library's own records, compiled here once so that every module uses
// the library's copy of their code.
template class KrArray<KrLogItem>;
template class KrArray<KrErrorObj::ErrorInfo>;
template class KrDict<unsigned int, KrProgress::KrProgProc, std::less<unsigned int>>;
template class KrContainer<KrLogItem>;
template class KrContainer<KrErrorObj::ErrorInfo>;

}  // namespace KRN
