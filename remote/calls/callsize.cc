#include "remote/calls/callsize.h"

#include <algorithm>

namespace vnt {

bool size_known(const call_size &size, const size_answers &answers)
{
    if (size.unsized) return false;
    for (const call_term &term : size.terms)
        if (term.kind == call_term::QUERY && !(answers.asked & query_bit(term.at))) return false;
    return true;
}

static int64_t term_value(const call_term &term, const void *request, const size_answers &answers)
{
    switch (term.kind) {
    case call_term::INTFIELD: return term.sign * int64_t{field_at<int32_t>(request, term.at)};
    case call_term::LONGFIELD: return term.sign * field_at<int64_t>(request, term.at);
    case call_term::QUERY: return term.sign * answers.answers[term.at];
    default: return 0;
    }
}

int64_t entries_of(const call_size &size, const void *request)
{
    return term_value(size.entries, request, {});
}

int matrix_begins(const solver_call *call, int i)
{
    while (call->args[i - 1].size.unsized)
        i--;
    return i - 2;
}

int64_t matrix_reach(const int64_t *begins, const int32_t *counts, int64_t columns)
{
    int64_t reach = 0;
    for (int64_t j = 0; j < columns; j++) {
        if (counts[j] <= 0) continue;
        int64_t end;
        if (begins[j] < 0 || __builtin_add_overflow(begins[j], counts[j], &end)) return -1;
        reach = std::max(reach, end);
    }
    return reach;
}

bool starts_within(const int64_t *starts, int64_t count, int64_t entries)
{
    for (int64_t i = 0; i < count; i++)
        if (starts[i] < 0 || starts[i] > entries) return false;
    return true;
}

int64_t size_of(const call_size &size, const void *request, const size_answers &answers)
{
    int64_t sum = size.constant;
    for (const call_term &term : size.terms)
        if (__builtin_add_overflow(sum, term_value(term, request, answers), &sum)) return INT64_MAX;
    return sum > 0 ? sum : 0;
}

} // namespace vnt
