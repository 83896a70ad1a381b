#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "Base/ZoBase.h"

using namespace KRN;

namespace
{

using Item = KrGroup::KrGroupItem;

// The child groups made by build() count themselves, so that a test sees every order of moves,
// merges, unlinks and destructions free each group exactly once (the sanitizer build also
// catches a double free or a read of a freed entry, and its leak check a group never freed).
int g_groupsAlive = 0;
class CountedGroup : public KrGroup
{
public:
    CountedGroup() { ++g_groupsAlive; }
    ~CountedGroup() override { --g_groupsAlive; }
};

// Adds the entries written in text to the group: a letter is an item, "[name:entries]" a child
// group. Returns where the entries end; keeps every item made when asked.
const char* build(KrGroup& group, const char* text, std::vector<Item*>* made = nullptr)
{
    static const char kLetters[] = "abcdefghijklmnopqrstuvwxyz";
    for (; *text != '\0' && *text != ']' && *text != '|'; ++text)
    {
        if (*text != '[')
        {
            group.Add(new Item{const_cast<char*>(kLetters + (*text - 'a')), 0, nullptr}, 0);
            if (made != nullptr) made->push_back(group.GetAt(group.GetCount() - 1));
            continue;
        }
        const char* colon = std::strchr(text, ':');
        auto* child = new CountedGroup;
        child->SetGroupName(KrString(text + 1, static_cast<int>(colon - text - 1)));
        child->SetParentGroup(&group);
        group.Add(new Item{child, KrGroup::GroupEntry, nullptr}, 0);
        text = build(*child, colon + 1, made);
    }
    return text;
}

// Entries in list order as build() writes them. An entry whose parent (an item's pParent, a
// child group's GetParentGroup) is not the group listing it is marked with '^'.
std::string layout(KrGroup& group)
{
    std::string text;
    for (auto pos = group.GetHeadPosition(); !group.IsEOF(pos);)
    {
        Item* entry = group.GetNext(pos);
        auto* child =
            entry->nType == KrGroup::GroupEntry ? static_cast<KrGroup*>(entry->pItem) : nullptr;
        text += child ? "[" + std::string(child->GetGroupName().Cstr()) + ":" + layout(*child) + "]"
                      : std::string(1, *static_cast<const char*>(entry->pItem));
        if (entry->pParent != &group || (child && child->GetParentGroup() != &group)) text += '^';
    }
    return text;
}

void collect(KrGroup& group, std::set<Item*>& listed)
{
    for (auto pos = group.GetHeadPosition(); !group.IsEOF(pos);)
    {
        Item* entry = group.GetNext(pos);
        listed.insert(entry);
        if (entry->nType == KrGroup::GroupEntry)
            collect(*static_cast<KrGroup*>(entry->pItem), listed);
    }
}

struct Case
{
    const char* forest;   // the roots' entries, separated by '|'
    const char* script;   // steps, see runScript
    const char* results;  // what the steps returned, one digit each
    const char* after;    // the forest before the first root is destroyed
};

// Runs the steps of a script on a forest, then destroys the roots: first those the script
// names with X, in its order, then the others. A step is an operation letter, the path of its
// group (the root's index, then the index of a child group per level) and its arguments:
// MoveTo(i, j) T, MoveUp U, MoveDown D, MoveTop P, MoveBottom B, RemoveAt R, RemoveItem(i, j) I,
// the cross-group MoveTo(i, group, j, target) M, RemoveAll A, GetItemCount C, destroy X.
// "M0,1,9,01" moves entry 1 of root 0 to the tail of the child group at index 1 of root 0.
void runScript(const Case& c)
{
    SCOPED_TRACE(std::string(c.forest) + " / " + c.script);
    std::vector<KrGroup*> roots;
    std::vector<Item*> made;
    for (const char* text = c.forest;; ++text)
    {
        roots.push_back(new KrGroup);
        if (*(text = build(*roots.back(), text, &made)) == '\0') break;
    }
    auto at = [&](const char* path)
    {
        KrGroup* group = roots[*path - '0'];
        while (*++path != '\0') group = group->GetChildGroup(*path - '0');
        return group;
    };
    // Before the first root goes: the forest is compared, and the items no list holds any more
    // are freed, as they belong to the test.
    bool settled = false;
    auto settle = [&]
    {
        if (std::exchange(settled, true)) return;
        std::set<Item*> listed;
        std::string after;
        for (KrGroup* root : roots) collect(*root, listed), after += layout(*root) + "|";
        for (Item* entry : made)
            if (listed.count(entry) == 0) delete entry;
        EXPECT_EQ(after.substr(0, after.size() - 1), c.after);
    };
    std::string results;
    std::istringstream steps(c.script);
    for (std::string step; steps >> step;)
    {
        char op = 0, path[8] = "", target[8] = "";
        int i = 0, j = 0;
        std::sscanf(step.c_str(), "%c%7[0-9],%d,%d,%7[0-9]", &op, path, &i, &j, target);
        KrGroup& g = *at(path);
        // clang-format off
        switch (op)
        {
            case 'T': results += '0' + g.MoveTo(i, j); break;
            case 'U': results += '0' + g.MoveUp(i); break;
            case 'D': results += '0' + g.MoveDown(i); break;
            case 'P': results += '0' + g.MoveTop(i); break;
            case 'B': results += '0' + g.MoveBottom(i); break;
            case 'R': results += '0' + g.RemoveAt(i); break;
            case 'I': results += '0' + g.RemoveItem(i, static_cast<unsigned char>(j)); break;
            case 'M': results += '0' + KrGroup::MoveTo(i, &g, j, at(target)); break;
            case 'A': g.RemoveAll(); break;
            case 'C': results += std::to_string(g.GetItemCount()); break;
            case 'X': settle(); delete &g; roots[*path - '0'] = nullptr; break;
        }
        // clang-format on
    }
    EXPECT_EQ(results, c.results);
    settle();
    for (KrGroup* root : roots) delete root;
    EXPECT_EQ(g_groupsAlive, 0);
    g_groupsAlive = 0;
}

TEST(KrGroup, MovesAndRemovalsByIndex)
{
    // clang-format off
    const Case cases[] = {
        {"abc", "T0,2,0", "1", "cab"}, {"abc", "T0,0,2", "1", "bca"}, {"abcd", "T0,3,1", "1", "adbc"},
        {"abcd", "T0,1,1", "0", "abcd"}, {"abcd", "T0,4,0", "0", "abcd"},
        {"abcd", "T0,-1,0", "0", "abcd"}, {"abcd", "T0,2,-5", "1", "cabd"},
        {"abcd", "T0,1,9", "1", "acdb"},
        // Already in place: MoveTop and MoveBottom refuse, MoveTo still says true.
        {"abcd", "T0,0,-1 T0,3,9", "11", "abcd"},
        {"abcd", "U0,0 U0,4 D0,3 D0,-1 P0,0 P0,4 B0,3 B0,-1", "00000000", "abcd"},
        {"abcd", "U0,1", "1", "bacd"}, {"abcd", "U0,3", "1", "abdc"}, {"abcd", "D0,0", "1", "bacd"},
        {"abcd", "P0,2", "1", "cabd"}, {"abcd", "B0,0", "1", "bcda"}, {"abcd", "B0,1", "1", "acdb"},
        {"abc", "R0,0 R0,3 R0,-1", "000", "abc"}, {"abc", "R0,1", "0", "ac"},
        {"", "T0,0,1 B0,0 I0,0,1", "000", ""}, {"ab", "I0,2,1 I0,-1,0", "00", "ab"},
        {"ab", "M0,-1,0,0 M0,-100,0,0 M0,2,0,0 M0,1000,0,0", "0000", "ab"}};
    // clang-format on
    for (const Case& c : cases) runScript(c);
}

// Entry 0 is never unlinked by a merge or a cross-group move: it stays listed in both groups,
// and every order of destroying them frees it once.
TEST(KrGroup, MergesAndMovesBetweenGroupsKeepParentsAndOwnership)
{
    // clang-format off
    const Case cases[] = {
        // Merging a child group moves its entries to the tail; merging an item to the parent.
        {"a[g:zw[h:]]b", "I0,1,1", "1", "abzw[h:]"},
        {"r[g:ab]", "I0,0,1 I01,1,1 I01,0,1", "011", "r[g:a^]ba"},
        // A group moves with its subtree and learns its new parent.
        {"[A:ab][B:c]", "M00,1,0,01 M00,0,9,01 A00 M0,1,0,00 C0", "1113", "[A:[B:bca]]"},
        // Moves that would make a cycle: A into itself, into its child, B into itself.
        {"x[A:[B:y]]", "M0,1,0,01 M0,1,0,010 M01,0,0,010 C0", "0002", "x[A:[B:y]]"},
        {"[g:]", "M0,0,0,0", "1", "[g:][g:]"},
        {"x", "M0,0,0,0", "1", "xx"},
        {"[g:x]", "I00,0,1", "1", "[g:x^]x"},
        {"[g:x]", "M0,0,0,0 I0,0,1", "11", "[g:]x"},
        {"[g:]|", "M0,0,0,1 X1", "1", "[g:]^|[g:]"},
        {"[g:]|", "M0,0,0,1 X0", "1", "[g:]^|[g:]"},
        {"[g:y]|", "M0,0,0,1 I1,0,1 X0", "11", "[g:]^|y"},
        {"[g:y]|", "M0,0,0,1 I1,0,1 X1", "11", "[g:]^|y"},
        {"[g:]y|", "M0,0,0,1 M0,1,0,1 R1,1", "110", "[g:]^|y"},
        {"[g:]y|", "M0,0,0,1 M0,1,0,1 R1,1 X1", "110", "[g:]^|y"},
        {"[g:]|[h:]", "M0,0,0,1 M1,0,0,0 X0", "11", "[g:][g:]|[g:]^[h:]"}};
    // clang-format on
    for (const Case& c : cases) runScript(c);
    EXPECT_EQ(KrGroup::MoveTo(0, nullptr, 0, nullptr), 0);
}

TEST(KrGroup, SubtreeItemsAreCountedAndIndexedInListOrderAndGroupsFoundByNameAndID)
{
    KrGroup root;
    build(root, "x");
    KrGroup* roads = root.CreateChildGroup("Roads", 0);
    build(root, "y");
    build(*roads, "zw");
    build(*roads->CreateChildGroup("h", 1), "q");  // at the head of Roads
    roads->CreateChildGroup("empty", 0);
    KrGroup* rivers = root.CreateChildGroup("Rivers", 1);
    EXPECT_EQ(layout(root), "[Rivers:]x[Roads:[h:q]zw[empty:]]y");
    EXPECT_EQ(std::make_pair(root.GetItemCount(), roads->GetItemCount()), std::make_pair(5, 3));
    std::string order;
    for (int i = 0; i < 5; ++i) order += *static_cast<const char*>(root.FindItemAt(i)->pItem);
    EXPECT_EQ(order, "xqzwy");
    for (int index : {-1, -100, 4, 1000})
        EXPECT_TRUE(!root.GetAt(index) && !root.GetChildGroup(index) &&
                    !root.FindItemAt(index > 0 ? index + 1 : index))
            << index;
    EXPECT_EQ(root.GetChildGroup(1), nullptr);  // an ordinary item

    roads->SetGroupID(7);
    EXPECT_EQ(root.GetChildGroup(KrString("rOADS")), roads);
    EXPECT_EQ(root.GetChildGroup(KrString("Road")), nullptr);
    EXPECT_EQ(root.GetChildGroup(0), rivers);
    EXPECT_EQ(root.GetChildGroupByID(7), roads);
    EXPECT_EQ(root.GetChildGroupByID(0), rivers);
    EXPECT_EQ(root.GetChildGroupByID(8), nullptr);
}

// Records the entries handed to DeleteItem, and frees nothing.
class RecordingGroup : public KrGroup
{
public:
    void DeleteItem(KrGroupItem* pItem) override { deleted += *static_cast<char*>(pItem->pItem); }
    std::string deleted;
};

TEST(KrGroup, RemovingWithoutMergeHandsTheEntryToDeleteItem)
{
    RecordingGroup group;
    std::vector<Item*> made;
    build(group, "ab", &made);
    EXPECT_EQ(group.RemoveItem(1, 0) + group.RemoveItem(0, 0), 2);  // entry 0 stays listed
    EXPECT_EQ(group.deleted, "ba");
    EXPECT_EQ(layout(group), "a");
    group.Add(made[1], 1);
    group.clear();
    EXPECT_EQ(group.deleted + std::to_string(group.GetCount()), "baba0");
    for (Item* entry : made) delete entry;
}

TEST(KrGroup, MillionDeepTreeIsBuiltWalkedAndDestroyedWithoutRecursion)
{
    auto* root = new KrGroup;
    KrGroup* deepest = root;
    for (int i = 0; i < 1000000; ++i) deepest = deepest->CreateChildGroup("n", 0);
    build(*deepest, "l");
    deepest->SetGroupID(7);
    build(*root, "t");
    EXPECT_EQ(root->GetItemCount(), 2);
    EXPECT_EQ(*static_cast<const char*>(root->FindItemAt(0)->pItem), 'l');
    EXPECT_EQ(*static_cast<const char*>(root->FindItemAt(1)->pItem), 't');
    EXPECT_EQ(root->FindItemAt(2), nullptr);
    EXPECT_EQ(deepest->GetParentGroup()->GetChildGroupByID(7), deepest);
    // Moving a group below one of its million descendants is refused, as any cycle is.
    EXPECT_EQ(KrGroup::MoveTo(0, root, 0, deepest), 0);
    delete root;
}

}  // namespace
