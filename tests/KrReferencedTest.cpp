#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "Base/ZoBase.h"

using namespace KRN;

namespace
{

// Counts the instances alive.
class Counted : public KrReferenced
{
public:
    Counted() { ++alive; }
    Counted(const Counted& other) : KrReferenced(other) { ++alive; }
    Counted& operator=(const Counted&) = default;
    static inline int alive = 0;

protected:
    ~Counted() override { --alive; }
};

// Collects the objects handed over; the test releases them later.
class Collector : public KrDeleteHandler
{
public:
    explicit Collector(int& destroyed) : m_destroyed(destroyed) {}
    ~Collector() override { ++m_destroyed; }
    void HandleDelete(KrReferenced* pObject) override { handed.push_back(pObject); }
    std::vector<KrReferenced*> handed;

private:
    int& m_destroyed;
};

TEST(KrReferenced, TheObjectDiesOnTheUnrefBelowOneAndCopiesStartAtZero)
{
    Counted* object = new Counted;
    object->Ref();
    object->Ref();
    object->Unref();
    EXPECT_EQ(Counted::alive, 1);
    object->Unref();
    EXPECT_EQ(Counted::alive, 0);
    (new Counted)->Unref();  // count 0: -1 is below 1 as well
    EXPECT_EQ(Counted::alive, 0);

    Counted* source = new Counted;
    source->Ref();
    source->UnrefNoDelete();
    source->UnrefNoDelete();
    EXPECT_EQ(source->GetRefCount(), -1);
    source->Ref();
    source->Ref();
    source->Ref();
    Counted* copy = new Counted(*source);
    EXPECT_EQ(copy->GetRefCount(), 0);
    Counted* assigned = new Counted;
    *assigned = *source;
    EXPECT_EQ(assigned->GetRefCount(), 2);
    EXPECT_EQ(Counted::alive, 3);
    for (Counted* held : {source, assigned}) held->UnrefNoDelete();
    for (Counted* held : {source, copy, assigned}) held->Unref();
    EXPECT_EQ(Counted::alive, 0);
}

TEST(KrReferenced, TheDeleteHandlerTakesOverDeletion)
{
    int destroyed = 0;
    // Whatever happens below, no handler stays installed for the tests that follow.
    struct Uninstall
    {
        ~Uninstall() { KrReferenced::SetDeleteHandler(nullptr); }
    } uninstall;
    Collector* first = new Collector(destroyed);
    KrReferenced::SetDeleteHandler(first);
    KrReferenced::SetDeleteHandler(first);  // the same handler again is kept
    EXPECT_EQ(destroyed, 0);

    Counted* object = new Counted;
    object->Ref();
    object->Unref();
    EXPECT_EQ(first->handed, std::vector<KrReferenced*>{object});
    EXPECT_EQ(Counted::alive, 1);

    KrReferenced::SetDeleteHandler(new Collector(destroyed));  // the first handler is deleted
    EXPECT_EQ(destroyed, 1);
    KrReferenced::SetDeleteHandler(nullptr);  // and so is the second
    EXPECT_EQ(destroyed, 2);
    EXPECT_EQ(KrReferenced::GetDeleteHandler(), nullptr);
    object->Unref();  // no handler: deleted now
    EXPECT_EQ(Counted::alive, 0);
}

// Windowing hooks that record what the guard shows.
std::vector<std::string> g_shown;
char g_arrow, g_wait, g_hand;
void* g_current = nullptr;

const char* nameOf(void* cursor)
{
    return cursor == &g_arrow  ? "arrow"
           : cursor == &g_wait ? "wait"
           : cursor == &g_hand ? "hand"
                               : "null";
}

TEST(KrCursorTest, ShowsTheChosenCursorAndRestoresThePreviousOnce)
{
    struct Unhook
    {
        ~Unhook() { KrCursor::SetSystemHooks(nullptr, nullptr); }
    } unhook;
    KrCursor::SetSystemHooks([]() -> void* { return &g_wait; },
                             [](void* cursor)
                             {
                                 g_shown.push_back(nameOf(cursor));
                                 return std::exchange(g_current, cursor);
                             });
    // cursor chosen, type, cursor shown before, cursors shown
    const struct
    {
        void* cursor;
        int type;
        void* before;
        std::vector<std::string> shown;
    } cases[] = {
        {nullptr, KrCursor::WaitCursor, &g_arrow, {"wait", "arrow"}},
        {&g_hand, KrCursor::WaitCursor, &g_arrow, {"wait", "arrow"}},
        {&g_hand, KrCursor::GivenCursor, &g_arrow, {"hand", "arrow"}},
        {&g_hand, 7, &g_arrow, {"hand", "arrow"}},
        {nullptr, KrCursor::GivenCursor, &g_arrow, {}},      // a null choice changes nothing
        {nullptr, KrCursor::WaitCursor, nullptr, {"wait"}},  // nothing shown before: no restore
    };
    for (const auto& c : cases)
    {
        g_shown.clear();
        g_current = c.before;
        {
            KrCursor guard(c.cursor, static_cast<KrCursor::Type>(c.type));
            guard.Restore();
        }
        EXPECT_EQ(g_shown, c.shown) << nameOf(c.cursor) << " type " << c.type;
        EXPECT_TRUE(c.before == nullptr || g_current == c.before);
    }
    g_shown.clear();
    KrCursor::SetSystemHooks(nullptr, nullptr);
    {
        KrCursor guard;
        KrCursor given(&g_hand, KrCursor::GivenCursor);
    }
    EXPECT_TRUE(g_shown.empty());
}

}  // namespace
