// annotations.h: numbers that users attach to the objects of a model.
//
// A value follows its object when others are deleted; an object that has none has the default.

#pragma once

#include "solver/model/model.h"

#include <map>

namespace vnt {

static constexpr int annotated_kinds = 5; // VNT_ANNOTATION_*

template <class number> struct annotation {
    std::string name;
    number defval;
    std::map<int, number> values[annotated_kinds] = {}; // those other than the default

    void set(int kind, int i, number value)
    {
        if (value == defval)
            values[kind].erase(i);
        else
            values[kind][i] = value;
    }
    number get(int kind, int i) const
    {
        auto found = values[kind].find(i);
        return found == values[kind].end() ? defval : found->second;
    }
};

struct annotations {
    std::vector<annotation<int64_t>> longs;
    std::vector<annotation<double>> doubles;

    template <class number> std::vector<annotation<number>> &of();

    // Sets the objects' new indices; -1, or none, deletes an object's values.
    void keep(int kind, const std::vector<int> &place);
};
template <> inline std::vector<annotation<int64_t>> &annotations::of()
{
    return longs;
}
template <> inline std::vector<annotation<double>> &annotations::of()
{
    return doubles;
}

// How many objects of the kind a model has.
int annotated_count(const model &m, int kind);

// 0 for the discrete columns, and the number of its block, from 1, for any other: columns of
// different blocks share no row, set or indicator constraint.
annotation<int64_t> decomposition_of(const model &m);

} // namespace vnt
