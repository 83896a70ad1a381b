#include <gtest/gtest.h>

#include <string>
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
    static int alive;

protected:
    ~Counted() override { --alive; }
};
int Counted::alive = 0;

// Collects the objects handed over; the test releases them later.
class Collector : public KrDeleteHandler
{
public:
    explicit Collector(int* destroyed) : m_destroyed(destroyed) {}
    ~Collector() override { ++*m_destroyed; }
    void HandleDelete(KrReferenced* pObject) override { handed.push_back(pObject); }
    std::vector<KrReferenced*> handed;

private:
    int* m_destroyed;
};

// Drops every handed object with no handler installed, so that Unref deletes it.
void release(std::vector<KrReferenced*>& objects)
{
    for (KrReferenced* object : objects) object->Unref();
    objects.clear();
}

TEST(KrReferenced, TheObjectDiesOnTheUnrefBelowOne)
{
    Counted* object = new Counted;
    object->Ref();
    object->Ref();
    object->Unref();
    EXPECT_EQ(Counted::alive, 1);
    object->Unref();
    EXPECT_EQ(Counted::alive, 0);

    Counted* never = new Counted;  // count 0: -1 is below 1 as well
    never->Unref();
    EXPECT_EQ(Counted::alive, 0);

    Counted* kept = new Counted;
    kept->Ref();
    kept->UnrefNoDelete();
    kept->UnrefNoDelete();
    EXPECT_EQ(kept->GetRefCount(), -1);
    EXPECT_EQ(Counted::alive, 1);
    kept->Unref();
    EXPECT_EQ(Counted::alive, 0);
}

TEST(KrReferenced, CopiesStartAtZeroButAssignmentTakesTheCount)
{
    Counted* source = new Counted;
    source->Ref();
    source->Ref();
    Counted* copy = new Counted(*source);
    EXPECT_EQ(copy->GetRefCount(), 0);
    Counted* assigned = new Counted;
    *assigned = *source;
    EXPECT_EQ(assigned->GetRefCount(), 2);
    for (Counted* object : {source, assigned}) object->UnrefNoDelete();
    for (Counted* object : {source, copy, assigned}) object->Unref();
    EXPECT_EQ(Counted::alive, 0);
}

TEST(KrReferenced, TheDeleteHandlerTakesOverDeletion)
{
    int destroyed = 0;
    Collector* first = new Collector(&destroyed);
    KrReferenced::SetDeleteHandler(first);
    KrReferenced::SetDeleteHandler(first);  // the same handler again is kept
    EXPECT_EQ(destroyed, 0);

    Counted* object = new Counted;
    object->Ref();
    object->Unref();
    ASSERT_EQ(first->handed.size(), 1u);
    EXPECT_EQ(first->handed[0], object);
    EXPECT_EQ(Counted::alive, 1);
    std::vector<KrReferenced*> pending = first->handed;

    Collector* second = new Collector(&destroyed);
    KrReferenced::SetDeleteHandler(second);  // the first handler is deleted
    EXPECT_EQ(destroyed, 1);
    KrReferenced::SetDeleteHandler(nullptr);  // and so is the second
    EXPECT_EQ(destroyed, 2);
    EXPECT_EQ(KrReferenced::GetDeleteHandler(), nullptr);

    release(pending);
    EXPECT_EQ(Counted::alive, 0);
}

// Windowing hooks that record what the guard shows.
std::vector<std::string> g_shown;
char g_arrow, g_wait, g_hand;
void* g_current = nullptr;

const char* nameOf(void* cursor)
{
    if (cursor == &g_arrow) return "arrow";
    if (cursor == &g_wait) return "wait";
    if (cursor == &g_hand) return "hand";
    return "null";
}
void* waitCursor()
{
    return &g_wait;
}
void* setCursor(void* cursor)
{
    g_shown.push_back(nameOf(cursor));
    void* previous = g_current;
    g_current = cursor;
    return previous;
}

class KrCursorTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        g_shown.clear();
        g_current = &g_arrow;
        KrCursor::SetSystemHooks(waitCursor, setCursor);
    }
    void TearDown() override { KrCursor::SetSystemHooks(nullptr, nullptr); }
};

TEST_F(KrCursorTest, ShowsTheChosenCursorAndRestoresThePreviousOnce)
{
    // clang-format off
    const struct { void* cursor; KrCursor::Type type; std::vector<std::string> shown; } cases[] = {
        {nullptr, KrCursor::WaitCursor, {"wait", "arrow"}},
        {&g_hand, KrCursor::WaitCursor, {"wait", "arrow"}},
        {&g_hand, KrCursor::GivenCursor, {"hand", "arrow"}},
        {&g_hand, static_cast<KrCursor::Type>(7), {"hand", "arrow"}},
        {nullptr, KrCursor::GivenCursor, {}}};  // a null choice changes nothing
    // clang-format on
    for (const auto& c : cases)
    {
        g_shown.clear();
        {
            KrCursor guard(c.cursor, c.type);
            guard.Restore();
        }
        EXPECT_EQ(g_shown, c.shown) << nameOf(c.cursor) << " type " << c.type;
        EXPECT_EQ(g_current, &g_arrow);
    }
}

TEST_F(KrCursorTest, NothingToRestoreWhenNoCursorWasShownBeforeAndNothingWithoutHooks)
{
    g_current = nullptr;
    {
        KrCursor guard;
    }
    EXPECT_EQ(g_shown, std::vector<std::string>{"wait"});
    g_shown.clear();
    KrCursor::SetSystemHooks(nullptr, nullptr);
    {
        KrCursor guard;
        KrCursor given(&g_hand, KrCursor::GivenCursor);
    }
    EXPECT_TRUE(g_shown.empty());
}

}  // namespace
