#include "remote/calls/callsize.h"

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

int64_t size_of(const call_size &size, const void *request, const size_answers &answers)
{
    int64_t sum = size.constant;
    for (const call_term &term : size.terms)
        if (__builtin_add_overflow(sum, term_value(term, request, answers), &sum)) return INT64_MAX;
    return sum > 0 ? sum : 0;
}

} // namespace vnt
