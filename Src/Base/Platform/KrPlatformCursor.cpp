#include "Base/Platform/KrPlatformCursor.h"

#include <atomic>

namespace KRN::Platform
{

namespace
{
std::atomic<WaitCursorHook> g_waitCursorHook{nullptr};
std::atomic<SetCursorHook> g_setCursorHook{nullptr};
}  // namespace

void SetCursorHooks(WaitCursorHook waitCursor, SetCursorHook setCursor)
{
    g_waitCursorHook.store(waitCursor, std::memory_order_release);
    g_setCursorHook.store(setCursor, std::memory_order_release);
}

void* LoadWaitCursor()
{
    WaitCursorHook hook = g_waitCursorHook.load(std::memory_order_acquire);
    return hook != nullptr ? hook() : nullptr;
}

void* SetCursor(void* cursor)
{
    SetCursorHook hook = g_setCursorHook.load(std::memory_order_acquire);
    return hook != nullptr ? hook(cursor) : nullptr;
}

}  // namespace KRN::Platform
