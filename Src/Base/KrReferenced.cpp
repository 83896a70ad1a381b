#include "Base/KrReferenced.h"

#include "Base/Platform/KrPlatformCursor.h"

namespace KRN
{

namespace
{
// A plain process-wide pointer, set at start-up.
KrDeleteHandler* g_pDeleteHandler = nullptr;
}  // namespace

KrDeleteHandler::~KrDeleteHandler() = default;

KrReferenced::~KrReferenced() = default;

void KrReferenced::Unref() const
{
    if (--m_nRefCount >= 1) return;
    KrReferenced* self = const_cast<KrReferenced*>(this);
    if (g_pDeleteHandler != nullptr)
        g_pDeleteHandler->HandleDelete(self);
    else
        delete self;
}

void KrReferenced::SetDeleteHandler(KrDeleteHandler* handler)
{
    if (handler != g_pDeleteHandler) delete g_pDeleteHandler;
    g_pDeleteHandler = handler;
}

KrDeleteHandler* KrReferenced::GetDeleteHandler()
{
    return g_pDeleteHandler;
}

KrCursor::KrCursor(void* cursor, Type type) : m_hCursor(cursor)
{
    void* chosen = type != WaitCursor ? cursor : Platform::LoadWaitCursor();
    if (chosen != nullptr) m_hPrevious = Platform::SetCursor(chosen);
}

void KrCursor::Restore()
{
    if (m_hPrevious == nullptr) return;
    Platform::SetCursor(m_hPrevious);
    m_hPrevious = nullptr;
}

void KrCursor::SetSystemHooks(void* (*waitCursor)(), void* (*setCursor)(void*))
{
    Platform::SetCursorHooks(waitCursor, setCursor);
}

}  // namespace KRN
