#include "KrWildcard.h"

#include <algorithm>

namespace KRN::Detail
{

namespace
{
const unsigned int kFileName = 1;
const unsigned int kNoEscape = 2;
const unsigned int kPeriod = 4;
const unsigned int kLeadingDir = 8;
const unsigned int kCaseFold = 16;

// Table columns: one per byte, then a "." at a leading position, then the end of the name.
const int kLeadingDotColumn = 256;
const int kEndColumn = 257;
const int kColumns = 258;
// Beyond this many cached states, or states holding this many positions in all, the cache
// starts again, which bounds its memory.
const size_t kMaxStates = 512;
const size_t kMaxKernelItems = size_t(1) << 18;
// Names at least this long are run through the cached states.
const size_t kCachedFromLength = 64;

bool isSeparator(unsigned char c)
{
    return c == '/' || c == '\\';
}
unsigned char lower(unsigned char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<unsigned char>(c + 32) : c;
}

// Reads the class whose "[" is just before `at`, handing each range to onRange(lo, hi), both
// ends folded under case folding, and setting `negate`. Returns the index after its "]", or 0
// for a class without "]", which matches nothing and takes the rest of the pattern.
template <class OnRange>
size_t readClass(const char* pattern, size_t length, size_t at, unsigned int flags, bool& negate,
                 OnRange onRange)
{
    const bool escaping = (flags & kNoEscape) == 0;
    const bool fold = (flags & kCaseFold) != 0;
    auto fetch = [&](unsigned char& c)
    {
        if (at >= length) return false;
        c = static_cast<unsigned char>(pattern[at++]);
        if (c != '\\' || !escaping) return true;
        if (at >= length) return false;
        c = static_cast<unsigned char>(pattern[at++]);
        return true;
    };
    negate = at < length && (pattern[at] == '!' || pattern[at] == '^');
    if (negate) ++at;
    while (at < length)
    {
        if (pattern[at] == ']') return at + 1;
        unsigned char first = 0;
        if (!fetch(first)) break;
        unsigned char last = first;
        if (at + 1 < length && pattern[at] == '-' && pattern[at + 1] != ']')
        {
            ++at;
            if (!fetch(last)) break;
        }
        onRange(fold ? lower(first) : first, fold ? lower(last) : last);
    }
    return 0;
}
}  // namespace

WildcardMatcher::WildcardMatcher(const char* pattern, size_t length, unsigned int flags)
    : m_nFlags(flags)
{
    compile(pattern, length);
    m_marks.assign(m_nodes.size() * 2, 0);
}

// ---------------------------------------------------------------- compiling

void WildcardMatcher::compile(const char* pattern, size_t length)
{
    const bool escaping = (m_nFlags & kNoEscape) == 0;
    const bool fold = (m_nFlags & kCaseFold) != 0;
    // Open groups, innermost last. The whole pattern is group 0, so that "|" outside
    // parentheses separates alternatives of the whole pattern.
    std::vector<OpenGroup> groups{{0, -1}};
    m_nodes.reserve(length + 2);
    m_nodes.push_back(Node{Kind::Open, 0, -1, 0});

    auto literal = [&](unsigned char c) {
        m_nodes.push_back(Node{Kind::Literal, fold ? lower(c) : c, -1, 0});
    };

    size_t i = 0;
    while (i < length)
    {
        const unsigned char c = static_cast<unsigned char>(pattern[i]);
        switch (c)
        {
            case '*':
                while (i < length && pattern[i] == '*') ++i;
                m_nodes.push_back(Node{Kind::Star, 0, -1, 0});
                continue;
            case '?':
                m_nodes.push_back(Node{Kind::Any, 0, -1, 0});
                break;
            case '[':
                i = compileClass(pattern, length, i + 1);
                continue;
            case '(':
            case '|':
            case ',':
            case ')':
                compileGroupMark(c, groups);
                break;
            case '\\':
                if (escaping && i + 1 < length)
                {
                    literal(static_cast<unsigned char>(pattern[++i]));
                    break;
                }
                literal(c);
                break;
            default:
                literal(c);
                break;
        }
        ++i;
    }
    const int end = static_cast<int>(m_nodes.size());
    m_nodes.push_back(Node{Kind::End, 0, -1, 0});
    // Groups left open, and the whole pattern, end with the pattern.
    for (const OpenGroup& group : groups) closeGroup(group, end);
}

void WildcardMatcher::compileGroupMark(unsigned char c, std::vector<OpenGroup>& groups)
{
    if (c == '(')
    {
        groups.push_back(OpenGroup{static_cast<int>(m_nodes.size()), -1});
        m_nodes.push_back(Node{Kind::Open, 0, -1, 0});
    }
    else if (c == ')')
    {
        // A stray ")" is skipped; otherwise the group's alternatives continue after it.
        if (groups.size() > 1)
        {
            closeGroup(groups.back(), static_cast<int>(m_nodes.size()));
            groups.pop_back();
        }
    }
    else
    {
        OpenGroup& group = groups.back();
        const int alt = static_cast<int>(m_nodes.size());
        m_nodes.push_back(Node{Kind::Alt, 0, -1, 0});
        (group.lastAlt < 0 ? m_nodes[group.open].link : m_nodes[group.lastAlt].link) = alt;
        group.lastAlt = alt;
    }
}

void WildcardMatcher::closeGroup(const OpenGroup& group, int exit)
{
    for (int alt = m_nodes[group.open].link; alt >= 0; alt = m_nodes[alt].link)
        m_nodes[alt].exit = exit;
}

// Compiles the class whose "[" is just before `at`; returns the index after its "]", or the
// pattern length for a class without "]".
size_t WildcardMatcher::compileClass(const char* pattern, size_t length, size_t at)
{
    const bool fold = (m_nFlags & kCaseFold) != 0;
    std::bitset<256> members;
    auto addRange = [&](unsigned char lo, unsigned char hi)
    {
        for (int t = 0; t < 256; ++t)
        {
            const auto c = static_cast<unsigned char>(t);
            const unsigned char v = fold ? lower(c) : c;
            if (lo <= v && v <= hi) members.set(static_cast<size_t>(t));
        }
    };
    bool negate = false;
    const size_t end = readClass(pattern, length, at, m_nFlags, negate, addRange);
    if (end == 0)
        members.reset();
    else if (negate)
        members.flip();
    m_nodes.push_back(Node{Kind::Class, 0, static_cast<int>(m_classes.size()), 0});
    m_classes.push_back(members);
    return end == 0 ? length : end;
}

// ---------------------------------------------------------------- one match without groups

namespace
{
// Whether c belongs to the class whose "[" is just before `at`; sets `end` after its "]". A
// class without "]" matches nothing and takes the rest of the pattern.
bool inClass(const char* pattern, size_t length, size_t at, unsigned char c, unsigned int flags,
             size_t& end)
{
    const unsigned char v = (flags & kCaseFold) != 0 ? lower(c) : c;
    bool member = false;
    auto testRange = [&](unsigned char lo, unsigned char hi) { member |= lo <= v && v <= hi; };
    bool negate = false;
    const size_t after = readClass(pattern, length, at, flags, negate, testRange);
    end = after == 0 ? length : after;
    return after != 0 && member != negate;
}

// One match of a pattern without groups, going back only to the last "*" when a byte fails.
class FlatMatch
{
public:
    FlatMatch(const char* pattern, size_t patternLength, const char* name, size_t length,
              unsigned int flags)
        : m_pattern(pattern),
          m_patternLength(patternLength),
          m_name(name),
          m_length(length),
          m_flags(flags),
          m_fileName((flags & kFileName) != 0),
          m_escaping((flags & kNoEscape) == 0),
          m_fold((flags & kCaseFold) != 0),
          m_periodRule((flags & kPeriod) != 0)
    {
    }

    int Run()
    {
        for (;;)
        {
            if (m_p < m_patternLength && m_pattern[m_p] == '*')
            {
                if (!enterStar()) return 0;
                continue;
            }
            if (m_n < m_length && m_p < m_patternLength)
            {
                if (takeOne()) continue;
            }
            else if (m_n == m_length && m_p == m_patternLength)
                return 1;
            if (!retryLastStar()) return 0;
        }
    }

private:
    unsigned char nameAt(size_t n) const { return static_cast<unsigned char>(m_name[n]); }
    unsigned char folded(unsigned char c) const { return m_fold ? lower(c) : c; }

    bool leadingDot(size_t n) const
    {
        return m_name[n] == '.' && (n == 0 || (m_fileName && isSeparator(nameAt(n - 1))));
    }

    bool enterStar()
    {
        // The period rule holds until the first "*", and is off for the rest of the pattern.
        // Not even an empty "*" starts on a leading "." under it.
        if (m_periodRule && m_n < m_length && leadingDot(m_n)) return false;
        while (m_p < m_patternLength && m_pattern[m_p] == '*') ++m_p;
        m_periodRule = false;
        m_starSeen = true;
        m_starP = m_p;
        m_starN = m_n;
        if (!advanceStar()) return false;
        m_n = m_starN;
        return true;
    }

    // Lets the last "*" take bytes up to the first place from m_starN where what follows it
    // can start: false when there is none. Only a literal after it, or its end, is looked ahead.
    bool advanceStar()
    {
        if (m_starP == m_patternLength)
        {
            if (m_fileName)
                for (size_t k = m_starN; k < m_length; ++k)
                    if (isSeparator(nameAt(k))) return false;
            m_starN = m_length;
            return true;
        }
        unsigned char t = static_cast<unsigned char>(m_pattern[m_starP]);
        if (t == '?' || t == '[') return true;
        if (t == '\\' && m_escaping && m_starP + 1 < m_patternLength)
            t = static_cast<unsigned char>(m_pattern[m_starP + 1]);
        const unsigned char want = folded(t);
        for (; m_starN < m_length; ++m_starN)
        {
            const unsigned char c = nameAt(m_starN);
            if (folded(c) == want) return true;
            if (m_fileName && isSeparator(c)) return false;
        }
        return false;
    }

    // Matches one name byte against the pattern element at m_p and moves past both.
    bool takeOne()
    {
        const unsigned char c = nameAt(m_n);
        const unsigned char t = static_cast<unsigned char>(m_pattern[m_p]);
        const bool wildcardMayTake =
            !(m_fileName && isSeparator(c)) && !(m_periodRule && leadingDot(m_n));
        size_t next = m_p + 1;
        bool taken;
        if (t == '?')
            taken = wildcardMayTake;
        else if (t == '[')
            taken =
                inClass(m_pattern, m_patternLength, m_p + 1, c, m_flags, next) && wildcardMayTake;
        else
        {
            unsigned char literal = t;
            if (t == '\\' && m_escaping && m_p + 1 < m_patternLength)
            {
                literal = static_cast<unsigned char>(m_pattern[m_p + 1]);
                next = m_p + 2;
            }
            taken = folded(c) == folded(literal);
        }
        if (!taken) return false;
        m_p = next;
        ++m_n;
        return true;
    }

    bool retryLastStar()
    {
        // A separator is matched only by a separator of the pattern, never by a "*" in
        // file-name mode: an earlier "*" cannot help either.
        if (!m_starSeen || m_starN == m_length || (m_fileName && isSeparator(nameAt(m_starN))))
            return false;
        ++m_starN;
        if (!advanceStar()) return false;
        m_p = m_starP;
        m_n = m_starN;
        return true;
    }

    const char* const m_pattern;
    const size_t m_patternLength;
    const char* const m_name;
    const size_t m_length;
    const unsigned int m_flags;
    const bool m_fileName;
    const bool m_escaping;
    const bool m_fold;
    bool m_periodRule;
    size_t m_p = 0, m_n = 0;
    size_t m_starP = 0, m_starN = 0;  // where to go on after the last "*" takes one byte more
    bool m_starSeen = false;
};
}  // namespace

int MatchWithoutGroups(const char* pattern, size_t patternLength, const char* name, size_t length,
                       unsigned int flags)
{
    if ((flags & kLeadingDir) != 0) return -1;
    for (size_t i = 0; i < patternLength; ++i)
        if (pattern[i] == '(' || pattern[i] == ')' || pattern[i] == '|' || pattern[i] == ',')
            return -1;
    return FlatMatch(pattern, patternLength, name, length, flags).Run();
}

// ---------------------------------------------------------------- running

bool WildcardMatcher::consumes(const Node& node, bool periodRule, unsigned char c,
                               bool leadingDot) const
{
    const bool fileName = (m_nFlags & kFileName) != 0;
    switch (node.kind)
    {
        case Kind::Literal:
            return ((m_nFlags & kCaseFold) != 0 ? lower(c) : c) == node.byte;
        case Kind::Star:
            return !(fileName && isSeparator(c));
        case Kind::Any:
        case Kind::Class:
            if (fileName && isSeparator(c)) return false;
            if (periodRule && leadingDot) return false;
            return node.kind == Kind::Any || m_classes[static_cast<size_t>(node.link)].test(c);
        default:
            return false;
    }
}

void WildcardMatcher::closure(const Kernel& kernel, bool leadingDot, std::vector<int>& states) const
{
    states.clear();
    if (++m_nMark == 0)
    {
        std::fill(m_marks.begin(), m_marks.end(), 0);
        m_nMark = 1;
    }
    std::vector<int>& pending = m_pending;
    pending.clear();
    auto reach = [&](int node, int periodRule)
    {
        const int state = node * 2 + periodRule;
        if (m_marks[static_cast<size_t>(state)] == m_nMark) return;
        m_marks[static_cast<size_t>(state)] = m_nMark;
        pending.push_back(state);
    };
    for (auto it = kernel.rbegin(); it != kernel.rend(); ++it) reach(*it / 2, *it % 2);
    while (!pending.empty())
    {
        const int state = pending.back();
        pending.pop_back();
        const int index = state / 2;
        const int periodRule = state % 2;
        const Node& node = m_nodes[static_cast<size_t>(index)];
        switch (node.kind)
        {
            case Kind::Open:
                reach(index + 1, periodRule);
                for (int alt = node.link; alt >= 0; alt = m_nodes[static_cast<size_t>(alt)].link)
                    reach(alt + 1, periodRule);
                break;
            case Kind::Alt:
                reach(node.exit, periodRule);
                break;
            case Kind::Star:
                // A "*" cannot start on a leading "." under the period rule, not even empty; after
                // it the rule is off for the rest of the pattern.
                if (periodRule != 0 && leadingDot) break;
                states.push_back(state);
                reach(index + 1, 0);
                break;
            default:
                states.push_back(state);
                break;
        }
    }
}

int WildcardMatcher::intern(Kernel&& kernel)
{
    std::sort(kernel.begin(), kernel.end());
    kernel.erase(std::unique(kernel.begin(), kernel.end()), kernel.end());
    const auto found = m_stateIds.find(kernel);
    if (found != m_stateIds.end()) return found->second;
    if (m_kernels.size() >= kMaxStates || m_nKernelItems + kernel.size() > kMaxKernelItems)
    {
        m_nKernelItems = 0;
        m_nDeadState = -1;
        m_kernels.clear();
        m_stateIds.clear();
        m_table.clear();
        ++m_nGeneration;
    }
    const int id = static_cast<int>(m_kernels.size());
    m_nKernelItems += kernel.size();
    if (kernel.empty()) m_nDeadState = id;
    m_kernels.push_back(&m_stateIds.emplace(std::move(kernel), id).first->first);
    m_table.resize(m_table.size() + kColumns, -1);
    return id;
}

bool WildcardMatcher::step(const Kernel& kernel, int column, Kernel& next) const
{
    const bool leadingDot = column == kLeadingDotColumn;
    closure(kernel, leadingDot, m_live);
    const int end = static_cast<int>(m_nodes.size()) - 1;
    bool endReached = false;
    next.clear();
    const unsigned char c = leadingDot ? '.' : static_cast<unsigned char>(column);
    for (int s : m_live)
    {
        const Node& node = m_nodes[static_cast<size_t>(s / 2)];
        if (s / 2 == end) endReached = true;
        if (column == kEndColumn || !consumes(node, s % 2 != 0, c, leadingDot)) continue;
        next.push_back(node.kind == Kind::Star ? s - s % 2 : (s / 2 + 1) * 2 + s % 2);
    }
    return endReached;
}

int32_t WildcardMatcher::transition(int state, int column)
{
    const size_t slot = static_cast<size_t>(state) * kColumns + static_cast<size_t>(column);
    Kernel next;
    const bool endReached = step(*m_kernels[static_cast<size_t>(state)], column, next);
    if (column == kEndColumn) return m_table[slot] = endReached ? 1 : 0;
    const unsigned int generation = m_nGeneration;
    const int32_t entry = intern(std::move(next)) * 2 + (endReached ? 1 : 0);
    // When interning restarted the cache, this state's row is gone; the caller goes on from
    // the next state, which is in the new cache.
    if (generation == m_nGeneration) m_table[slot] = entry;
    return entry;
}

bool WildcardMatcher::Matches(const char* name, size_t length)
{
    const bool fileName = (m_nFlags & kFileName) != 0;
    const bool leadingDir = (m_nFlags & kLeadingDir) != 0;
    auto columnAt = [&](size_t n)
    {
        const unsigned char c = static_cast<unsigned char>(name[n]);
        const bool leading =
            n == 0 || (fileName && isSeparator(static_cast<unsigned char>(name[n - 1])));
        return c == '.' && leading ? kLeadingDotColumn : static_cast<int>(c);
    };
    const Kernel start{(m_nFlags & kPeriod) != 0 ? 1 : 0};

    // Short names run the position sets directly: building cached states would cost more.
    if (length < kCachedFromLength)
    {
        Kernel& kernel = m_current;
        Kernel& next = m_next;
        kernel.assign(start.begin(), start.end());
        for (size_t n = 0; n < length; ++n)
        {
            const bool endReached = step(kernel, columnAt(n), next);
            if (endReached && leadingDir && isSeparator(static_cast<unsigned char>(name[n])))
                return true;
            if (next.empty()) return false;
            kernel.swap(next);
        }
        return step(kernel, kEndColumn, next);
    }

    int state = intern(Kernel(start));
    for (size_t n = 0; n < length; ++n)
    {
        const int column = columnAt(n);
        int32_t entry =
            m_table[static_cast<size_t>(state) * kColumns + static_cast<size_t>(column)];
        if (entry < 0) entry = transition(state, column);
        if ((entry & 1) != 0 && leadingDir && isSeparator(static_cast<unsigned char>(name[n])))
            return true;
        state = entry >> 1;
        if (state == m_nDeadState) return false;
    }
    const int32_t entry = m_table[static_cast<size_t>(state) * kColumns + kEndColumn];
    return (entry < 0 ? transition(state, kEndColumn) : entry) != 0;
}

}  // namespace KRN::Detail
