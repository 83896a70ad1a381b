// KrReferenced: base class of objects that live by an intrusive reference count; the object
// dies on the Unref that brings its count below 1, either deleted at once or handed to the one
// process-wide KrDeleteHandler. KrCursor: a scope guard that shows a cursor (by default the
// system wait cursor) and puts the previous one back when restored or destroyed.
//   KrReferenced* p = new Layer;  p->Ref();  ...  p->Unref();  // deleted here
//   { KrCursor wait;  longOperation(); }                          // wait cursor meanwhile
#pragma once

#include "Base/KrDefs.h"

namespace KRN
{

class KrReferenced;

// Takes over the deletion of objects whose count dropped below 1, at once or later.
class KRN_API KrDeleteHandler
{
public:
    virtual ~KrDeleteHandler();
    virtual void HandleDelete(KrReferenced* pObject) = 0;
};

// The count is a plain int, not atomic: an object shared between threads needs the caller's
// lock. An object starts with count 0; its first owner calls Ref.
class KRN_API KrReferenced
{
public:
    KrReferenced() = default;
    // A copy starts with count 0, but assignment takes over the source's count: the asymmetry
    // is intended.
    KrReferenced(const KrReferenced&) {}
    KrReferenced& operator=(const KrReferenced& other)
    {
        m_nRefCount = other.m_nRefCount;
        return *this;
    }

    void Ref() const { ++m_nRefCount; }
    // Count - 1; below 1 the object goes to the delete handler when one is installed, else it
    // is deleted. Unref on a count of 0 (never referenced) deletes at once.
    void Unref() const;
    // Count - 1 and nothing else, even at 0.
    void UnrefNoDelete() const { --m_nRefCount; }
    int GetRefCount() const { return m_nRefCount; }

    // Installs handler (null removes it). A different handler already installed is deleted
    // first; installing the same one again keeps it. The last handler is never deleted by the
    // library. Set it at start-up, before other threads run.
    static void SetDeleteHandler(KrDeleteHandler* handler);
    static KrDeleteHandler* GetDeleteHandler();

protected:
    virtual ~KrReferenced();

private:
    mutable int m_nRefCount = 0;
};

// Use it on the thread that owns the window whose cursor changes. On this platform the host
// supplies the windowing calls with SetSystemHooks; without them (the default) the guard
// chooses no cursor and changes nothing.
class KRN_API KrCursor
{
public:
    // Underlying int, so that any non-zero value is a valid given-cursor choice.
    enum Type : int
    {
        WaitCursor = 0,  // shows the system wait cursor
        GivenCursor = 1  // shows the cursor handle passed in (any non-zero value does)
    };

    // Shows the chosen cursor when it is not null and keeps the cursor it replaced.
    explicit KrCursor(void* cursor = nullptr, Type type = WaitCursor);
    ~KrCursor() { Restore(); }
    // Shows the kept cursor again and forgets it; a second call does nothing. Copies and
    // assignments copy both handles, so a copy restores too.
    void Restore();
    // The cursor handle given to the constructor.
    void* GetCursor() const { return m_hCursor; }

    // waitCursor loads the system wait cursor; setCursor shows a cursor and returns the one
    // shown before. Null hooks mean there is no windowing system.
    static void SetSystemHooks(void* (*waitCursor)(), void* (*setCursor)(void*));

private:
    void* m_hPrevious = nullptr;
    void* m_hCursor = nullptr;
};

}  // namespace KRN
