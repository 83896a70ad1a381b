#include <gtest/gtest.h>

#include <cstring>
#include <memory>
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
    ~Collector() override { ++destroyed; }
    void HandleDelete(KrReferenced* pObject) override { handed.push_back(pObject); }
    std::vector<KrReferenced*> handed;
    static inline int destroyed = 0;
};

TEST(KrReferenced, TheObjectDiesOnTheUnrefBelowOneUnlessTheDeleteHandlerTakesIt)
{
    Counted* object = new Counted;
    for (int i = 0; i < 2; ++i) object->Ref();
    object->Unref();
    EXPECT_EQ(Counted::alive, 1);
    object->Unref();
    (new Counted)->Unref();  // count 0: -1 is below 1 as well
    EXPECT_EQ(Counted::alive, 0);

    Counted* source = new Counted;
    source->Ref();
    for (int i = 0; i < 2; ++i) source->UnrefNoDelete();
    EXPECT_EQ(source->GetRefCount(), -1);
    for (int i = 0; i < 3; ++i) source->Ref();
    Counted* copy = new Counted(*source);
    Counted* assigned = new Counted;
    *assigned = *source;
    EXPECT_EQ(std::make_pair(copy->GetRefCount(), assigned->GetRefCount()), std::make_pair(0, 2));
    EXPECT_EQ(Counted::alive, 3);
    for (Counted* held : {source, assigned}) held->UnrefNoDelete();
    for (Counted* held : {source, copy, assigned}) held->Unref();
    EXPECT_EQ(Counted::alive, 0);

    // Whatever happens below, no handler stays installed for the tests that follow.
    const std::shared_ptr<void> uninstall(nullptr,
                                          [](void*) { KrReferenced::SetDeleteHandler(nullptr); });
    Collector* first = new Collector;
    KrReferenced::SetDeleteHandler(first);
    KrReferenced::SetDeleteHandler(first);  // the same handler again is kept
    object = new Counted;
    object->Ref();
    object->Unref();
    EXPECT_EQ(first->handed, std::vector<KrReferenced*>{object});
    EXPECT_EQ(std::make_pair(Counted::alive, Collector::destroyed), std::make_pair(1, 0));

    KrReferenced::SetDeleteHandler(new Collector);  // the first handler is deleted
    EXPECT_EQ(Collector::destroyed, 1);
    KrReferenced::SetDeleteHandler(nullptr);  // and so is the second
    EXPECT_EQ(Collector::destroyed, 2);
    object->Unref();  // no handler: deleted now
    EXPECT_EQ(Counted::alive, 0);
}

// Windowing hooks that record what the guard shows: the cursors are the letters of g_cursors.
char g_cursors[] = "awh";  // arrow, wait, hand
std::string g_shown;
void* g_current = nullptr;

void* cursorOf(char name)
{
    return name == '-' ? nullptr : std::strchr(g_cursors, name);
}

TEST(KrCursorTest, ShowsTheChosenCursorAndRestoresThePreviousOnce)
{
    // Whatever happens below, the hooks go again.
    const std::shared_ptr<void> unhook(nullptr,
                                       [](void*) { KrCursor::SetSystemHooks(nullptr, nullptr); });
    KrCursor::SetSystemHooks([]() -> void* { return cursorOf('w'); },
                             [](void* cursor)
                             {
                                 g_shown += *static_cast<char*>(cursor);
                                 return std::exchange(g_current, cursor);
                             });
    // cursor chosen, type, cursor shown before ('-': none), cursors shown. A null choice changes
    // nothing; with nothing shown before there is nothing to restore.
    // clang-format off
    const struct { char cursor; int type; char before; const char* shown; } cases[] = {
        {'-', KrCursor::WaitCursor, 'a', "wa"}, {'h', KrCursor::WaitCursor, 'a', "wa"},
        {'h', KrCursor::GivenCursor, 'a', "ha"}, {'h', 7, 'a', "ha"},
        {'-', KrCursor::GivenCursor, 'a', ""}, {'-', KrCursor::WaitCursor, '-', "w"}};
    // clang-format on
    for (const auto& c : cases)
    {
        g_shown.clear();
        g_current = cursorOf(c.before);
        {
            KrCursor guard(cursorOf(c.cursor), static_cast<KrCursor::Type>(c.type));
            guard.Restore();
        }
        EXPECT_EQ(g_shown, c.shown) << c.cursor << " type " << c.type;
        EXPECT_TRUE(c.before == '-' || g_current == cursorOf(c.before));
    }
    g_shown.clear();
    KrCursor::SetSystemHooks(nullptr, nullptr);
    KrCursor(cursorOf('h'), KrCursor::GivenCursor).Restore();
    KrCursor().Restore();
    EXPECT_TRUE(g_shown.empty());
}

}  // namespace
