// The wildcard matcher behind KrFile::Match and KrFile::ListFiles. The pattern is compiled once
// into a small automaton of pattern positions; a name is then run through it one byte at a time
// with the set of live positions, so the cost is bounded by name length times pattern length
// however many stars the pattern holds. The sets met are cached as states of a lazily built
// deterministic automaton, so a matcher reused over many names (a directory listing) or a
// long name is usually one table look-up per byte.
#pragma once

#include <bitset>
#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

namespace KRN::Detail
{

// One match without building anything, for patterns of "*", "?", classes and literals only
// (no groups, no alternatives, no MATCH_LEADING_DIR; -1 for those): the usual single
// backtracking point at the last "*", so at most name length times pattern length steps.
int MatchWithoutGroups(const char* pattern, size_t patternLength, const char* name, size_t length,
                       unsigned int flags);

class WildcardMatcher
{
public:
    // flags are KrFile's MATCH_* bits.
    WildcardMatcher(const char* pattern, size_t length, unsigned int flags);
    bool Matches(const char* name, size_t length);

private:
    enum class Kind : uint8_t
    {
        Literal,  // one byte, folded when case folding is on
        Any,      // "?"
        Star,     // a run of "*"
        Class,    // "[...]", m_classes[link]
        Open,     // a group: its alternatives start at index + 1 and after each Alt in link's chain
        Alt,      // end of an alternative: continue at exit; link is the group's next Alt
        End
    };
    struct Node
    {
        Kind kind;
        unsigned char byte;
        int link;
        int exit;
    };
    using Kernel = std::vector<int>;  // live (node * 2 + period rule on) before closure

    // A group still open while compiling, with the last Alt of its chain (-1: none yet).
    struct OpenGroup
    {
        int open;
        int lastAlt;
    };

    void compile(const char* pattern, size_t length);
    // "(", "|" or ",", and ")": the structure of the groups.
    void compileGroupMark(unsigned char c, std::vector<OpenGroup>& groups);
    // Points every Alt of the group at exit, where its alternatives continue.
    void closeGroup(const OpenGroup& group, int exit);
    size_t compileClass(const char* pattern, size_t length, size_t at);
    bool consumes(const Node& node, bool periodRule, unsigned char c, bool leadingDot) const;
    // The live states of kernel at a position: those that consume a byte, or End. leadingDot
    // when the byte there is a "." at a leading position.
    void closure(const Kernel& kernel, bool leadingDot, std::vector<int>& states) const;
    int intern(Kernel&& kernel);
    // One byte (or the end, or a leading ".") from kernel: fills next, returns whether the
    // end of the pattern was live before it.
    bool step(const Kernel& kernel, int column, Kernel& next) const;
    int32_t transition(int state, int column);

    std::vector<Node> m_nodes;
    std::vector<std::bitset<256>> m_classes;
    unsigned int m_nFlags;

    // The lazily built automaton: per state one row of kColumns entries, each -1 (unknown) or
    // (next state << 1 | end reachable before the byte).
    std::map<Kernel, int> m_stateIds;
    std::vector<const Kernel*> m_kernels;  // keys of m_stateIds by state
    size_t m_nKernelItems = 0;
    std::vector<int32_t> m_table;
    unsigned int m_nGeneration = 0;      // counts restarts of the cache
    int m_nDeadState = -1;               // the state with no live position, once met
    Kernel m_current, m_next;            // scratch of Matches
    mutable std::vector<int> m_live;     // scratch of step
    mutable std::vector<int> m_pending;  // scratch of closure
    mutable std::vector<uint32_t> m_marks;
    mutable uint32_t m_nMark = 0;
};

}  // namespace KRN::Detail
