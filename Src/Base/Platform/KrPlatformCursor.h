// The mouse cursor of this platform. There is no windowing system here, so the host installs
// the two calls that load the system wait cursor and show a cursor; without them nothing is
// chosen and nothing changes.
#pragma once

namespace KRN::Platform
{

using WaitCursorHook = void* (*)();
using SetCursorHook = void* (*)(void* cursor);  // shows cursor, returns the one shown before

// Either hook may be null.
void SetCursorHooks(WaitCursorHook waitCursor, SetCursorHook setCursor);
// The system wait cursor; null without a hook.
void* LoadWaitCursor();
// Shows cursor and returns the previous one; null without a hook.
void* SetCursor(void* cursor);

}  // namespace KRN::Platform
