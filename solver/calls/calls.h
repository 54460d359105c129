// calls.h: the wrappers of the entry points.
//
// Each entry point passes its work to one of these functions, which checks the handles, holds the
// environment's lock, and turns exceptions into a status: none leaves the library.  A failure with
// a text also becomes a line of the error channel.
//
// Threads: any may call; what is passed here runs one at a time.
//
//     int VNTLgetobjsen(VNTENVptr env, VNTLPptr lp)
//     {
//         return count_of(env, lp, [&](vntlp &p) { return p.sense; });
//     }

#pragma once

#include "solver/calls/environment.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace vnt {

// Says on the error channel why the call failed.  Never throws.
void calls_complain(vntenv *env, const char *call, const std::string &text) noexcept;

// The status of the exception in flight, said on the error channel where it has a text.
int calls_failed(vntenv *env, const char *call) noexcept;

// Does `work` in the environment.  Returns its status, 0 when it ends without a failure.
template <class body>
int with_environment(VNTENVptr env, const body &work, const char *call = __builtin_FUNCTION())
{
    std::shared_ptr<vntenv> open;
    try {
        open = environment_find(env);
        if (open == nullptr) return VNTERR_NO_ENVIRONMENT;
        std::lock_guard hold(open->lock);
        if (open->solving) return VNTERR_SOLVING;
        try {
            work(*open);
            return 0;
        } catch (...) {
            return calls_failed(open.get(), call);
        }
    } catch (...) {
        return calls_failed(nullptr, call);
    }
}

// The object at that address, of an environment's problems or networks.
template <class table> auto &object_of(table &objects, typename table::key_type object)
{
    auto found = objects.find(object);
    require(found != objects.end(), VNTERR_NO_PROBLEM);
    return *found->second;
}

inline vntlp &problem_of(vntenv &env, VNTLPptr lp)
{
    return object_of(env.problems, lp);
}

// Does `work` with the problem.
template <class body> int with_problem(VNTENVptr env, VNTLPptr lp, const body &work,
                                       const char *call = __builtin_FUNCTION())
{
    return with_environment(
        env, [&](vntenv &e) { work(problem_of(e, lp)); }, call);
}

// What `count` returns for the object, 0 without one.
template <class table, class body> auto count_of_object(VNTENVptr env, table vntenv::*objects,
                                                        typename table::key_type object,
                                                        const body &count)
{
    decltype(count(*std::declval<typename table::mapped_type>())) result{};
    int rc = with_environment(env, [&](vntenv &e) {
        auto found = (e.*objects).find(object);
        if (found != (e.*objects).end()) result = count(*found->second);
    });
    return rc == 0 ? result : decltype(result){};
}

template <class body> auto count_of(VNTENVptr env, VNTLPptr lp, const body &count)
{
    return count_of_object(env, &vntenv::problems, lp, count);
}

// How many of `wanted` elements go into the space offered.  The surplus is what is left of the
// space, negative when it does not suffice, which fails the call.
template <class size> void require_space(int64_t wanted, size space, size *surplus_p)
{
    put(surplus_p, static_cast<size>(space - wanted));
    require(wanted <= space, VNTERR_SPACE_TOO_SMALL);
}

template <class type, class size>
void put_list(const std::vector<type> &list, type *where, size space, size *surplus_p)
{
    require_space(static_cast<int64_t>(list.size()), space, surplus_p);
    if (where != nullptr) std::copy(list.begin(), list.end(), where);
}

// A text with its terminator.
inline void put_text(const std::string &text, char *where, int64_t space, int64_t *surplus_p)
{
    int64_t wanted = static_cast<int64_t>(text.size()) + 1;
    require_space(wanted, space, surplus_p);
    if (where != nullptr) memcpy(where, text.c_str(), wanted);
}

// The number of elements from begin to end, both inclusive, all of which must be below `limit`.
// An end before the beginning asks for none.
inline int range_count(int begin, int end, int limit)
{
    if (end < begin) return 0;
    require(begin >= 0 && end < limit, VNTERR_INDEX_RANGE);
    return end - begin + 1;
}

// Elements begin to end of a list.
template <class list, class type> void put_range(const list &from, type *where, int begin, int end)
{
    int count = range_count(begin, end, static_cast<int>(from.size()));
    if (where != nullptr) std::copy_n(from.begin() + begin, count, where);
}

// Lines begin to end of a matrix, their entries one after the other.
inline void put_lines(const matrix_view &from, int limit, int64_t *nzcnt_p, int64_t *matbeg,
                      int *matind, double *matval, int64_t space, int64_t *surplus_p, int begin,
                      int end)
{
    int count = range_count(begin, end, limit);
    int64_t first = count > 0 ? from.begin[begin] : 0;
    int64_t wanted = count > 0 ? from.begin[end + 1] - first : 0;
    put(nzcnt_p, std::min(wanted, std::max<int64_t>(space, 0)));
    require_space(wanted, space, surplus_p);
    for (int k = 0; k < count && matbeg != nullptr; k++)
        matbeg[k] = from.begin[begin + k] - first;
    if (matind != nullptr) std::copy_n(from.index + first, wanted, matind);
    if (matval != nullptr) std::copy_n(from.value + first, wanted, matval);
}

// Fails unless all indices are below `limit`.
inline void require_indices(int64_t count, const int *indices, int limit)
{
    require(count >= 0, VNTERR_BAD_ARGUMENT);
    require_there(indices, count > 0);
    for (int64_t k = 0; k < count; k++) {
        require(indices[k] >= 0 && indices[k] < limit, VNTERR_INDEX_RANGE);
    }
}

// The names of elements begin to end: one after the other in the store, with a pointer to each.
template <class name_of> void put_names(const name_of &at, int limit, char **name, char *store,
                                        int64_t space, int64_t *surplus_p, int begin, int end)
{
    int count = range_count(begin, end, limit);
    int64_t wanted = 0;
    for (int k = 0; k < count; k++)
        wanted += static_cast<int64_t>(at(begin + k).size()) + 1;
    require_there(store, count > 0 && name != nullptr && space >= wanted);
    require_space(wanted, space, surplus_p);
    for (int k = 0; k < count && store != nullptr; k++) {
        std::string text = at(begin + k);
        memcpy(store, text.c_str(), text.size() + 1);
        if (name != nullptr) name[k] = store;
        store += text.size() + 1;
    }
}

// Turns marks into new places: 1 goes and becomes -1, anything else stays.  Returns how many stay.
inline int places_of(int *delstat, int count)
{
    int left = 0;
    for (int i = 0; i < count; i++)
        delstat[i] = delstat[i] == 1 ? -1 : left++;
    return left;
}

// The places of those that stay when begin to end go.
inline std::vector<int> places_without(int begin, int end, int count)
{
    std::vector<int> place(count, 0);
    int going = range_count(begin, end, count);
    std::fill_n(place.begin() + (going > 0 ? begin : 0), going, 1);
    places_of(place.data(), count);
    return place;
}

// The place of a name.
inline void put_place(const name_list &names, const char *name, int *index_p)
{
    require_there(name);
    int i = names.find(name);
    require(i >= 0, VNTERR_NAME_NOT_FOUND);
    put(index_p, i);
}

// Lists of records that have a name each.

template <class record>
void put_place(const std::vector<record> &list, const char *name, int *index_p)
{
    require_there(name);
    auto found =
        std::find_if(list.begin(), list.end(), [&](const record &r) { return r.name == name; });
    require(found != list.end(), VNTERR_NAME_NOT_FOUND);
    put(index_p, static_cast<int>(found - list.begin()));
}

template <class record> void erase_range(std::vector<record> &list, int begin, int end)
{
    int count = range_count(begin, end, static_cast<int>(list.size()));
    if (count > 0) list.erase(list.begin() + begin, list.begin() + begin + count);
}

template <class record> void erase_marked(std::vector<record> &list, int *delstat)
{
    int count = static_cast<int>(list.size());
    require_there(delstat, count > 0);
    int left = places_of(delstat, count);
    for (int k = 0; k < count; k++) {
        if (delstat[k] >= 0 && delstat[k] != k) list[delstat[k]] = std::move(list[k]);
    }
    list.resize(left);
}

// Copies a basis from the caller after checking that its statuses are valid.
std::vector<int> basis_copy(const int *from, int count);
void basis_check(const std::vector<int> &cols, const std::vector<int> &rows);

// The gap between a solution and the bound, relative to the solution.
double relative_gap(double incumbent, double bound);

// The tableau of the last solve's basis, which must be optimal.
const tableau &optimal_tableau(vntlp &p);

// The point to look at: the caller's, or the solution where there is none.
inline const double *point_of(const vntlp &p, const double *x)
{
    if (x != nullptr) return x;
    require(p.last.has_solution() || p.m.numcols() == 0, VNTERR_NO_SOLUTION);
    return p.last.x.data();
}

} // namespace vnt
