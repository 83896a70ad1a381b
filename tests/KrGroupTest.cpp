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
const auto letter = [](const Item* entry) { return *static_cast<const char*>(entry->pItem); };

// The child groups made by build() count themselves, so that a test sees every order of moves,
// merges, unlinks and destructions free each group exactly once (the sanitizer build also
// catches a double free or a read of a freed entry, and its leak check a group never freed).
int g_groupsAlive = 0;
struct CountedGroup : KrGroup
{
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
// child group's GetParentGroup) is not the group listing it is marked with '^'. Collects the
// entries listed when asked.
std::string layout(KrGroup& group, std::set<Item*>* listed = nullptr)
{
    std::string text;
    for (auto pos = group.GetHeadPosition(); !group.IsEOF(pos);)
    {
        Item* entry = group.GetNext(pos);
        auto* child =
            entry->nType == KrGroup::GroupEntry ? static_cast<KrGroup*>(entry->pItem) : nullptr;
        if (listed != nullptr) listed->insert(entry);
        text += child ? "[" + std::string(child->GetGroupName().Cstr()) + ":" +
                            layout(*child, listed) + "]"
                      : std::string(1, letter(entry));
        if (entry->pParent != &group || (child && child->GetParentGroup() != &group)) text += '^';
    }
    return text;
}

// A root that records the items handed to DeleteItem, and frees nothing.
std::string g_deleted;
struct RecordingGroup : KrGroup
{
    void DeleteItem(KrGroupItem* pItem) override { g_deleted += letter(pItem); }
};

// A forest (the roots' entries, separated by '|'), a script of steps (see runScript), what the
// steps returned (one digit each), and the forest before the first root is destroyed, followed
// by "/" and the items handed to DeleteItem, if any.
struct Case
{
    const char *forest, *script, *results, *after;
};

// Runs the steps of a script on a forest, then destroys the roots: first those the script
// names with X (its last steps), in its order, then the others. A step is an operation letter,
// the path of its group (the root's index, then the index of a child group per level) and its
// arguments: MoveTo(i, j) T, MoveUp U, MoveDown D, MoveTop P, MoveBottom B, RemoveAt R,
// RemoveItem(i, j) I, the cross-group MoveTo(i, group, j, target) M, RemoveAll A, clear L,
// GetItemCount C. "M0,1,9,01" moves entry 1 of root 0 to the tail of the child group at index 1
// of root 0.
void runScript(const Case& c)
{
    SCOPED_TRACE(std::string(c.forest) + " / " + c.script);
    std::vector<KrGroup*> roots;
    std::vector<Item*> made;
    for (const char* text = c.forest; roots.empty() || *text++ != '\0';)
    {
        roots.push_back(new RecordingGroup);
        text = build(*roots.back(), text, &made);
    }
    auto at = [&](const char* path)
    {
        KrGroup* group = roots[*path - '0'];
        while (*++path != '\0') group = group->GetChildGroup(*path - '0');
        return group;
    };
    std::string results, destroyOrder;
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
            case 'L': g.clear(); break;
            case 'C': results += std::to_string(g.GetItemCount()); break;
            case 'X': destroyOrder += path; break;
        }
        // clang-format on
    }
    EXPECT_EQ(results, c.results);
    // The items no list holds any more belong to the test.
    std::set<Item*> listed;
    std::string after;
    for (KrGroup* root : roots) after += layout(*root, &listed) + "|";
    for (Item* entry : made)
        if (listed.count(entry) == 0) delete entry;
    after.pop_back();
    EXPECT_EQ(g_deleted.empty() ? after : after + "/" + std::exchange(g_deleted, ""), c.after);
    for (char root : destroyOrder + "0123")
        if (root - '0' < static_cast<int>(roots.size()))
            delete std::exchange(roots[root - '0'], nullptr);
    EXPECT_EQ(std::exchange(g_groupsAlive, 0), 0);
}

// Entry 0 is never unlinked by a merge or a cross-group move: it stays listed in both groups,
// and every order of destroying them frees it once.
TEST(KrGroup, MovesMergesAndRemovalsKeepOrderParentsAndOwnership)
{
    // clang-format off
    const Case cases[] = {
        {"abc", "T0,2,0", "1", "cab"}, {"abc", "T0,0,2", "1", "bca"},
        {"abcd", "T0,3,1", "1", "adbc"}, {"abcd", "T0,1,1 T0,4,0 T0,-1,0", "000", "abcd"},
        {"abcd", "T0,2,-5", "1", "cabd"}, {"abcd", "T0,1,9", "1", "acdb"},
        // Already in place: MoveTop and MoveBottom refuse, MoveTo still says true.
        {"abcd", "T0,0,-1 T0,3,9", "11", "abcd"},
        {"abcd", "U0,0 U0,4 D0,3 D0,-1 P0,0 P0,4 B0,3 B0,-1", "00000000", "abcd"},
        {"abcd", "U0,1", "1", "bacd"}, {"abcd", "U0,3", "1", "abdc"}, {"abcd", "D0,0", "1", "bacd"},
        {"abcd", "P0,2", "1", "cabd"}, {"abcd", "B0,0", "1", "bcda"}, {"abcd", "B0,1", "1", "acdb"},
        {"abc", "R0,0 R0,3 R0,-1", "000", "abc"}, {"abc", "R0,1", "0", "ac"},
        {"", "T0,0,1 B0,0 I0,0,1", "000", ""}, {"ab", "I0,2,1 I0,-1,0", "00", "ab"},
        {"ab", "M0,-1,0,0 M0,-100,0,0 M0,2,0,0 M0,1000,0,0", "0000", "ab"},
        // Without merge DeleteItem has the entry, but entry 0 stays listed; clear hands over all.
        {"ab", "I0,1,0 I0,0,0", "11", "a/ba"}, {"abc", "T0,2,0 L0 C0", "10", "/cab"},
        // Merging a child group moves its entries to the tail; merging an item to the parent.
        {"a[g:zw[h:]]b", "I0,1,1", "1", "abzw[h:]"},
        {"r[g:ab]", "I0,0,1 I01,1,1 I01,0,1", "011", "r[g:a^]ba"},
        // A group moves with its subtree and learns its new parent.
        {"[A:ab][B:c]", "M00,1,0,01 M00,0,9,01 A00 M0,1,0,00 C0", "1113", "[A:[B:bca]]"},
        // Moves that would make a cycle: A into itself, into its child, B into itself.
        {"x[A:[B:y]]", "M0,1,0,01 M0,1,0,010 M01,0,0,010 C0", "0002", "x[A:[B:y]]"},
        // Entries listed twice, then merged, unlinked or destroyed in every order.
        {"[g:]", "M0,0,0,0", "1", "[g:][g:]"}, {"x", "M0,0,0,0", "1", "xx"},
        {"[g:x]", "I00,0,1", "1", "[g:x^]x"}, {"[g:x]", "M0,0,0,0 I0,0,1", "11", "[g:]x"},
        {"[g:]|", "M0,0,0,1 X1", "1", "[g:]^|[g:]"}, {"[g:]|", "M0,0,0,1 X0", "1", "[g:]^|[g:]"},
        {"[g:y]|", "M0,0,0,1 I1,0,1 X0", "11", "[g:]^|y"},
        {"[g:y]|", "M0,0,0,1 I1,0,1 X1", "11", "[g:]^|y"},
        {"[g:]y|", "M0,0,0,1 M0,1,0,1 R1,1", "110", "[g:]^|y"},
        {"[g:]y|", "M0,0,0,1 M0,1,0,1 R1,1 X1", "110", "[g:]^|y"},
        {"[g:]|[h:]", "M0,0,0,1 M1,0,0,0 X0", "11", "[g:][g:]|[g:]^[h:]"}};
    // clang-format on
    for (const Case& c : cases) runScript(c);
    EXPECT_EQ(KrGroup::MoveTo(0, nullptr, 0, nullptr), 0);
}

TEST(KrGroup, SubtreeItemsAreCountedAndIndexedInListOrderAndGroupsFoundByNameAndIDEvenAMillionDeep)
{
    KrGroup root;
    build(root, "x[Roads:zw[empty:]]y");
    KrGroup* roads = root.GetChildGroup(1);
    build(*roads->CreateChildGroup("h", 1), "q");  // at the head of Roads
    KrGroup* rivers = root.CreateChildGroup("Rivers", 1);
    EXPECT_EQ(layout(root), "[Rivers:]x[Roads:[h:q]zw[empty:]]y");
    EXPECT_EQ(std::make_pair(root.GetItemCount(), roads->GetItemCount()), std::make_pair(5, 3));
    std::string order;
    for (int i = 0; i < 5; ++i) order += letter(root.FindItemAt(i));
    EXPECT_EQ(order, "xqzwy");
    for (int index : {-1, -100, 4, 1000})
        EXPECT_TRUE(!root.GetAt(index) && !root.GetChildGroup(index) &&
                    !root.FindItemAt(index > 0 ? index + 1 : index))
            << index;
    roads->SetGroupID(7);
    // clang-format off
    const std::pair<KrGroup*, KrGroup*> found[] = {
        {root.GetChildGroup(KrString("rOADS")), roads},
        {root.GetChildGroup(KrString("Road")), nullptr}, {root.GetChildGroup(0), rivers},
        {root.GetChildGroup(1), nullptr} /* an ordinary item */, {root.GetChildGroupByID(7), roads},
        {root.GetChildGroupByID(0), rivers}, {root.GetChildGroupByID(8), nullptr}};
    // clang-format on
    for (const auto& [group, expected] : found) EXPECT_EQ(group, expected);

    // A million deep tree is built, walked and destroyed without recursion.
    KrGroup deep;
    KrGroup* deepest = &deep;
    for (int i = 0; i < 1000000; ++i) deepest = deepest->CreateChildGroup("n", 0);
    build(*deepest, "l");
    deepest->SetGroupID(7);
    build(deep, "t");
    EXPECT_TRUE(deep.GetItemCount() == 2 && letter(deep.FindItemAt(0)) == 'l' &&
                letter(deep.FindItemAt(1)) == 't' && deep.FindItemAt(2) == nullptr);
    EXPECT_EQ(deepest->GetParentGroup()->GetChildGroupByID(7), deepest);
    // Moving a group below one of its million descendants is refused, as any cycle is.
    EXPECT_EQ(KrGroup::MoveTo(0, &deep, 0, deepest), 0);
}

}  // namespace
