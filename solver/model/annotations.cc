#include "solver/model/annotations.h"

#include <numeric>

namespace vnt {

template <class number> static void keep_values(std::vector<annotation<number>> &list, int kind,
                                                const std::vector<int> &place)
{
    for (annotation<number> &a : list) {
        std::map<int, number> kept;
        for (auto [i, value] : a.values[kind]) {
            if (i < static_cast<int>(place.size()) && place[i] >= 0) kept[place[i]] = value;
        }
        a.values[kind] = std::move(kept);
    }
}

void annotations::keep(int kind, const std::vector<int> &place)
{
    keep_values(longs, kind, place);
    keep_values(doubles, kind, place);
}

int annotated_count(const model &m, int kind)
{
    switch (kind) {
    case VNT_ANNOTATION_OBJECTIVE: return 1;
    case VNT_ANNOTATION_COLUMN: return m.numcols();
    case VNT_ANNOTATION_ROW: return m.numrows();
    case VNT_ANNOTATION_SET: return static_cast<int>(m.sets.size());
    case VNT_ANNOTATION_INDICATOR: return static_cast<int>(m.indicators.size());
    default: throw failure{VNTERR_BAD_ARGUMENT, printed("%d is no kind of object", kind)};
    }
}

namespace {

// The blocks of connected columns, as disjoint sets.
class blocks {
  public:
    explicit blocks(const model &m) : m(m), up(m.numcols()) { std::iota(up.begin(), up.end(), 0); }

    template <class iterator> void join(iterator begin, iterator end)
    {
        int first = -1;
        for (; begin != end; ++begin) {
            if (master(*begin)) continue;
            if (first < 0) first = top(*begin);
            up[top(*begin)] = first;
        }
    }
    bool master(int j) const { return m.discrete() && m.ctype[j] != 'C'; }
    int top(int j)
    {
        while (up[j] != j)
            j = up[j] = up[up[j]];
        return j;
    }

  private:
    const model &m;
    std::vector<int> up; // the parent of each column, towards the representative of its block
};

} // namespace

annotation<int64_t> decomposition_of(const model &m)
{
    blocks b(m);
    matrix_view rows = m.a.by_row();
    for (int i = 0; i < m.numrows(); i++)
        b.join(rows.index + rows.begin[i], rows.index + rows.begin[i + 1]);
    for (const special_set &s : m.sets)
        b.join(s.index.begin(), s.index.end());
    for (const indicator &c : m.indicators)
        b.join(c.index.begin(), c.index.end());
    annotation<int64_t> out = {"benders", 0};
    std::map<int, int64_t> numbers;
    for (int j = 0; j < m.numcols(); j++) {
        if (b.master(j)) continue;
        auto [at, fresh] = numbers.try_emplace(b.top(j), static_cast<int64_t>(numbers.size()) + 1);
        out.set(VNT_ANNOTATION_COLUMN, j, at->second);
    }
    return out;
}

} // namespace vnt
