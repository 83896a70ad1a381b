#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "Base/ZoBase.h"

using namespace KRN;

namespace
{

using Item = KrGroup::KrGroupItem;

Item* item(const char* name)
{
    return new Item{const_cast<char*>(name), 0, nullptr};
}

// Items in list order; a child group shows as its name in brackets followed by its entries.
std::string layout(KrGroup& group)
{
    std::string text;
    for (auto pos = group.GetHeadPosition(); !group.IsEOF(pos);)
    {
        Item* entry = group.GetNext(pos);
        if (entry->nType == 1)
        {
            KrGroup* child = static_cast<KrGroup*>(entry->pItem);
            text += "[" + std::string(child->GetGroupName().Cstr()) + ":" + layout(*child) + "]";
        }
        else
            text += static_cast<const char*>(entry->pItem);
    }
    return text;
}

// A group of one-letter items. The items are freed by the test, whatever the operation did
// with them.
struct Letters
{
    explicit Letters(const char* letters)
    {
        static const char* const kNames[] = {"a", "b", "c", "d"};
        for (const char* c = letters; *c != '\0'; ++c)
        {
            entries.push_back(item(kNames[*c - 'a']));
            group.Add(entries.back(), 0);
        }
    }
    ~Letters()
    {
        group.RemoveAll();
        for (Item* entry : entries) delete entry;
    }
    std::vector<Item*> entries;
    KrGroup group;
};

// Records the entries handed to DeleteItem, and frees nothing.
class RecordingGroup : public KrGroup
{
public:
    void DeleteItem(KrGroupItem* pItem) override
    {
        deleted += static_cast<const char*>(pItem->pItem);
    }
    std::string deleted;
};

// The operations by index: MoveTo(i, j), MoveUp, MoveDown, MoveTop, MoveBottom and RemoveAt
// of i, RemoveItem(i, j).
unsigned char runOperation(KrGroup& g, char op, int i, int j)
{
    // clang-format off
    switch (op)
    {
        case 'T': return g.MoveTo(i, j);
        case 'U': return g.MoveUp(i);
        case 'D': return g.MoveDown(i);
        case 'P': return g.MoveTop(i);
        case 'B': return g.MoveBottom(i);
        case 'R': return g.RemoveAt(i);
        default: return g.RemoveItem(i, j);
    }
    // clang-format on
}

TEST(KrGroup, MovesAndRemovalsByIndex)
{
    // clang-format off
    const struct { const char* before; char op; int i, j; unsigned char result; const char* after; }
    cases[] = {
        {"abc", 'T', 2, 0, 1, "cab"}, {"abc", 'T', 0, 2, 1, "bca"}, {"abcd", 'T', 3, 1, 1, "adbc"},
        {"abcd", 'T', 1, 1, 0, "abcd"}, {"abcd", 'T', 4, 0, 0, "abcd"},
        {"abcd", 'T', -1, 0, 0, "abcd"}, {"abcd", 'T', 2, -5, 1, "cabd"},
        {"abcd", 'T', 1, 9, 1, "acdb"},
        // Already in place: MoveTop and MoveBottom refuse, MoveTo still says true.
        {"abcd", 'T', 0, -1, 1, "abcd"}, {"abcd", 'T', 3, 9, 1, "abcd"},
        {"abcd", 'U', 0, 0, 0, "abcd"}, {"abcd", 'U', 1, 0, 1, "bacd"},
        {"abcd", 'U', 3, 0, 1, "abdc"}, {"abcd", 'U', 4, 0, 0, "abcd"},
        {"abcd", 'D', 0, 0, 1, "bacd"}, {"abcd", 'D', 3, 0, 0, "abcd"},
        {"abcd", 'D', -1, 0, 0, "abcd"}, {"abcd", 'P', 0, 0, 0, "abcd"},
        {"abcd", 'P', 2, 0, 1, "cabd"}, {"abcd", 'P', 4, 0, 0, "abcd"},
        {"abcd", 'B', 0, 0, 1, "bcda"}, {"abcd", 'B', 1, 0, 1, "acdb"},
        {"abcd", 'B', 3, 0, 0, "abcd"}, {"abcd", 'B', -1, 0, 0, "abcd"},
        {"abc", 'R', 0, 0, 0, "abc"}, {"abc", 'R', 1, 0, 0, "ac"}, {"abc", 'R', 3, 0, 0, "abc"},
        {"abc", 'R', -1, 0, 0, "abc"}, {"", 'T', 0, 1, 0, ""}, {"", 'B', 0, 0, 0, ""},
        {"", 'I', 0, 1, 0, ""}, {"ab", 'I', 2, 1, 0, "ab"}, {"ab", 'I', -1, 0, 0, "ab"}};
    // clang-format on
    for (const auto& c : cases)
    {
        SCOPED_TRACE(std::string(c.before) + " " + c.op + std::to_string(c.i) + "," +
                     std::to_string(c.j));
        Letters letters(c.before);
        EXPECT_EQ(runOperation(letters.group, c.op, c.i, c.j), c.result);
        EXPECT_EQ(layout(letters.group), c.after);
    }
}

TEST(KrGroup, LookupsRefuseInvalidIndices)
{
    Letters letters("ab");
    KrGroup& g = letters.group;
    EXPECT_EQ(g.GetAt(1), letters.entries[1]);
    for (int index : {-1, -100, 2, 1000})
    {
        EXPECT_EQ(g.GetAt(index), nullptr) << index;
        EXPECT_EQ(g.GetChildGroup(index), nullptr) << index;
        EXPECT_EQ(g.FindItemAt(index), nullptr) << index;
        EXPECT_EQ(KrGroup::MoveTo(index, &g, 0, &g), 0) << index;
    }
    EXPECT_EQ(g.GetChildGroup(0), nullptr);  // an ordinary item
    EXPECT_EQ(KrGroup::MoveTo(0, nullptr, 0, &g), 0);
    EXPECT_EQ(KrGroup::MoveTo(0, &g, 0, nullptr), 0);
    EXPECT_EQ(layout(g), "ab");
}

TEST(KrGroup, SubtreeItemsAreCountedAndIndexedInListOrderAndGroupsFoundByNameAndID)
{
    KrGroup root;
    root.Add(item("x"), 0);
    KrGroup* g = root.CreateChildGroup("Roads", 0);
    root.Add(item("y"), 0);
    g->Add(item("z"), 0);
    g->Add(item("w"), 0);
    KrGroup* h = g->CreateChildGroup("h", 1);  // at the head of g
    h->Add(item("q"), 0);
    g->CreateChildGroup("empty", 0);
    KrGroup* rivers = root.CreateChildGroup("Rivers", 1);
    EXPECT_EQ(layout(root), "[Rivers:]x[Roads:[h:q]zw[empty:]]y");
    EXPECT_EQ(root.GetItemCount(), 5);
    EXPECT_EQ(g->GetItemCount(), 3);
    std::string order;
    for (int i = 0; i < 5; ++i) order += static_cast<const char*>(root.FindItemAt(i)->pItem);
    EXPECT_EQ(order, "xqzwy");
    EXPECT_EQ(root.FindItemAt(5), nullptr);

    g->SetGroupID(7);
    EXPECT_EQ(root.GetChildGroup(KrString("rOADS")), g);
    EXPECT_EQ(root.GetChildGroup(KrString("Road")), nullptr);
    EXPECT_EQ(root.GetChildGroup(0), rivers);
    EXPECT_EQ(root.GetChildGroupByID(7), g);
    EXPECT_EQ(root.GetChildGroupByID(0), rivers);
    EXPECT_EQ(root.GetChildGroupByID(8), nullptr);
    EXPECT_EQ(h->GetParentGroup(), g);
    EXPECT_EQ(root.GetAt(2)->pParent, &root);
}

TEST(KrGroup, MergingAChildGroupMovesItsEntriesToTheTail)
{
    KrGroup root;
    root.Add(item("a"), 0);
    KrGroup* g = root.CreateChildGroup("g", 0);
    root.Add(item("b"), 0);
    g->Add(item("z"), 0);
    g->Add(item("w"), 0);
    KrGroup* h = g->CreateChildGroup("h", 0);
    EXPECT_EQ(root.RemoveItem(1, 1), 1);
    EXPECT_EQ(layout(root), "abzw[h:]");
    for (int i = 2; i < 5; ++i) EXPECT_EQ(root.GetAt(i)->pParent, &root) << i;
    EXPECT_EQ(h->GetParentGroup(), &root);
}

TEST(KrGroup, MergingAnItemMovesItToTheParent)
{
    KrGroup root;
    root.Add(item("r"), 0);
    KrGroup* g = root.CreateChildGroup("g", 0);
    g->Add(item("a"), 0);
    g->Add(item("b"), 0);
    EXPECT_EQ(root.RemoveItem(0, 1), 0);  // no parent to merge into
    EXPECT_EQ(g->RemoveItem(1, 1), 1);
    EXPECT_EQ(layout(root), "r[g:a]b");
    EXPECT_EQ(root.GetAt(2)->pParent, &root);
    // Entry 0 is not unlinked: it ends up listed in both groups, owned by the parent.
    EXPECT_EQ(g->RemoveItem(0, 1), 1);
    EXPECT_EQ(layout(root), "r[g:a]ba");
    EXPECT_EQ(g->GetAt(0), root.GetAt(3));
    g->RemoveAll();
}

TEST(KrGroup, RemovingWithoutMergeHandsTheEntryToDeleteItem)
{
    RecordingGroup group;
    Item* a = item("a");
    Item* b = item("b");
    group.Add(a, 0);
    group.Add(b, 0);
    EXPECT_EQ(group.RemoveItem(1, 0), 1);
    EXPECT_EQ(group.RemoveItem(0, 0), 1);  // DeleteItem runs, but entry 0 stays listed
    EXPECT_EQ(group.deleted, "ba");
    EXPECT_EQ(layout(group), "a");
    group.Add(b, 1);
    group.clear();
    EXPECT_EQ(group.deleted, "baba");
    EXPECT_EQ(group.GetCount(), 0);
    delete a;
    delete b;
}

TEST(KrGroup, MovesBetweenGroups)
{
    KrGroup root;
    KrGroup* a = root.CreateChildGroup("A", 0);
    KrGroup* b = root.CreateChildGroup("B", 0);
    a->Add(item("1"), 0);
    a->Add(item("2"), 0);
    b->Add(item("3"), 0);
    EXPECT_EQ(KrGroup::MoveTo(1, a, 0, b), 1);
    EXPECT_EQ(layout(root), "[A:1][B:23]");
    EXPECT_EQ(b->GetAt(0)->pParent, b);
    // Entry 0 is appended to the target without leaving the source.
    EXPECT_EQ(KrGroup::MoveTo(0, a, 9, b), 1);
    EXPECT_EQ(layout(root), "[A:1][B:231]");
    EXPECT_EQ(a->GetAt(0)->pParent, b);
    a->RemoveAll();
    // A group moves with its subtree and learns its new parent.
    EXPECT_EQ(KrGroup::MoveTo(1, &root, 0, a), 1);
    EXPECT_EQ(layout(root), "[A:[B:231]]");
    EXPECT_EQ(b->GetParentGroup(), a);
    EXPECT_EQ(root.GetItemCount(), 3);
}

TEST(KrGroup, MovesThatWouldMakeACycleAreRefused)
{
    KrGroup root;
    root.Add(item("x"), 0);
    KrGroup* a = root.CreateChildGroup("A", 0);
    KrGroup* b = a->CreateChildGroup("B", 0);
    b->Add(item("y"), 0);
    const std::string before = layout(root);
    // A into itself, A into its child, B into itself.
    const std::tuple<int, KrGroup*, KrGroup*> cases[] = {{1, &root, a}, {1, &root, b}, {0, a, b}};
    for (const auto& [index, source, target] : cases)
    {
        EXPECT_EQ(KrGroup::MoveTo(index, source, 0, target), 0);
        EXPECT_EQ(layout(root), before);
        EXPECT_EQ(a->GetParentGroup(), &root);
        EXPECT_EQ(b->GetParentGroup(), a);
        EXPECT_EQ(root.GetItemCount(), 2);
    }
}

// A child group that counts its destructions, to see that every order of moves, merges and
// destructions frees each group exactly once (the sanitizer build catches a double free or a
// read of a freed entry; its leak check catches a group never freed).
class CountedGroup : public KrGroup
{
public:
    explicit CountedGroup(int& destroyed) : m_destroyed(destroyed) {}
    ~CountedGroup() override { ++m_destroyed; }

private:
    int& m_destroyed;
};

TEST(KrGroup, EntriesListedTwiceAreFreedOnceWhateverTheOrder)
{
    // Each scenario builds entries listed by two lists, then destroys the groups in some order.
    const struct
    {
        const char* name;
        void (*run)(int& destroyed);
    } scenarios[] = {
        {"group entry moved onto its own group",
         [](int& destroyed)
         {
             KrGroup root;
             root.Add(new Item{new CountedGroup(destroyed), 1, nullptr}, 0);
             EXPECT_EQ(KrGroup::MoveTo(0, &root, 0, &root), 1);
             EXPECT_EQ(root.GetCount(), 2);
         }},
        {"item moved onto its own group",
         [](int&)
         {
             KrGroup root;
             root.Add(item("x"), 0);
             EXPECT_EQ(KrGroup::MoveTo(0, &root, 0, &root), 1);
         }},
        {"merged item also kept by its group",
         [](int& destroyed)
         {
             KrGroup root;
             auto* g = new CountedGroup(destroyed);
             root.Add(new Item{g, 1, nullptr}, 0);
             g->SetParentGroup(&root);
             g->Add(item("x"), 0);
             EXPECT_EQ(g->RemoveItem(0, 1), 1);
             EXPECT_EQ(layout(root), "[:x]x");
         }},
        {"moved to a target destroyed first",
         [](int& destroyed)
         {
             auto* source = new KrGroup;
             auto* target = new KrGroup;
             source->Add(new Item{new CountedGroup(destroyed), 1, nullptr}, 0);
             EXPECT_EQ(KrGroup::MoveTo(0, source, 0, target), 1);
             delete target;
             delete source;
         }},
        {"moved to a target destroyed last",
         [](int& destroyed)
         {
             auto* source = new KrGroup;
             auto* target = new KrGroup;
             source->Add(new Item{new CountedGroup(destroyed), 1, nullptr}, 0);
             EXPECT_EQ(KrGroup::MoveTo(0, source, 0, target), 1);
             delete source;
             delete target;
         }},
        {"listed twice, then merged away once",
         [](int& destroyed)
         {
             KrGroup root;
             auto* g = new CountedGroup(destroyed);
             root.Add(new Item{g, 1, nullptr}, 0);
             g->Add(item("x"), 0);
             EXPECT_EQ(KrGroup::MoveTo(0, &root, 0, &root), 1);
             EXPECT_EQ(root.RemoveItem(0, 1), 1);  // g stays, empty, for the other listing
             EXPECT_EQ(layout(root), "[:]x");
         }},
        {"listed twice, unlinked from one list",
         [](int& destroyed)
         {
             KrGroup a;
             KrGroup b;
             a.Add(new Item{new CountedGroup(destroyed), 1, nullptr}, 0);
             a.Add(item("y"), 0);
             EXPECT_EQ(KrGroup::MoveTo(0, &a, 0, &b), 1);
             EXPECT_EQ(KrGroup::MoveTo(1, &a, 0, &b), 1);  // a: [g], b: [y, g]
             b.RemoveAt(1);                                // b lets go; a still holds g
         }},
    };
    for (const auto& scenario : scenarios)
    {
        SCOPED_TRACE(scenario.name);
        int destroyed = 0;
        scenario.run(destroyed);
        EXPECT_EQ(destroyed, std::string(scenario.name).find("item moved") == 0 ? 0 : 1);
    }
}

TEST(KrGroup, MillionDeepTreeIsBuiltWalkedAndDestroyedWithoutRecursion)
{
    constexpr int kDepth = 1000000;
    auto* root = new KrGroup;
    KrGroup* deepest = root;
    for (int i = 0; i < kDepth; ++i) deepest = deepest->CreateChildGroup("n", 0);
    deepest->Add(item("leaf"), 0);
    deepest->SetGroupID(7);
    root->Add(item("top"), 0);
    EXPECT_EQ(root->GetItemCount(), 2);
    EXPECT_STREQ(static_cast<const char*>(root->FindItemAt(0)->pItem), "leaf");
    EXPECT_STREQ(static_cast<const char*>(root->FindItemAt(1)->pItem), "top");
    EXPECT_EQ(root->FindItemAt(2), nullptr);
    EXPECT_EQ(deepest->GetParentGroup()->GetChildGroupByID(7), deepest);
    // Moving a group below one of its million descendants is refused, as any cycle is.
    EXPECT_EQ(KrGroup::MoveTo(0, root, 0, deepest), 0);
    delete root;
}

}  // namespace
