#include "client/askfirst.h"

#include "client/connection.h"

#include <initializer_list>

namespace vnt {

// The size of what a range of the request asks for, null when the call has no such output.
static const call_size *range_of(const call_request *r)
{
    for (int i = 0; i < r->call->nargs; i++) {
        const call_argument &arg = r->call->args[i];
        bool output = arg.word == CALL_OUT || arg.word == CALL_OUTNAMES;
        if (output && arg.size.terms[1].sign < 0) return &arg.size;
    }
    return nullptr;
}

static int64_t index_in(const call_request *r, const call_term &end)
{
    if (end.kind == call_term::LONGFIELD) return field_at<int64_t>(r->record, end.at);
    return field_at<int32_t>(r->record, end.at);
}

static void put_index(call_request *r, const call_term &end, int64_t index)
{
    if (end.kind == call_term::LONGFIELD)
        field_at<int64_t>(r->record, end.at) = index;
    else
        field_at<int32_t>(r->record, end.at) = static_cast<int32_t>(index);
}

// Carries out the call for one element of its range.
static int ask_element(call_request *r, const call_size &range, int64_t index,
                       const void **response)
{
    const int64_t last = index_in(r, range.terms[0]), first = index_in(r, range.terms[1]);
    put_index(r, range.terms[0], index);
    put_index(r, range.terms[1], index);
    int rc = client_exchange(r->env, r->record, r->call->response, response);
    put_index(r, range.terms[0], last);
    put_index(r, range.terms[1], first);
    return rc;
}

// A worker allocates and sends the whole range whatever its solver returns; two wrong numbers could
// make that gigabytes.  So the ends of a long range are requested first: the solver refuses the
// whole for the same reason as an end, except for a lack of space.
static int ask_ends(call_request *r, call_return *c, bool *refused)
{
    static constexpr int64_t LONG_RANGE = 1 << 20;
    const call_size *range = range_of(r);
    if (range == nullptr || size_of(*range, r->record, r->sizes) < LONG_RANGE) return 0;
    for (const call_term &end : {range->terms[1], range->terms[0]}) {
        const void *response;
        int rc = ask_element(r, *range, index_in(r, end), &response);
        if (rc != 0) return rc;
        int status = field_at<int32_t>(response, r->call->result_at);
        if (status == 0 || status == VNTERR_SPACE_TOO_SMALL) continue;
        *refused = true;
        finish_call(r->env, response, c);
        return 0;
    }
    return 0;
}

// The argument that says how much space the caller has for arrays of the answer, with the surplus
// behind it; -1 when there is none, or more than one.
static int space_argument(const solver_call *call)
{
    int found = -1;
    for (int i = 0; i + 1 < call->nargs; i++) {
        const call_argument &arg = call->args[i], &next = call->args[i + 1];
        if (arg.word != CALL_VALUE || next.word != CALL_OUTVALUE || arg.type != next.type) continue;
        for (int k = 0; k < call->nargs; k++) {
            const call_argument &array = call->args[k];
            bool sized = array.word == CALL_OUT && array.size.terms[0].kind != call_term::QUERY &&
                         array.size.terms[0].at == arg.request_at;
            if (!sized) continue;
            if (found >= 0 && found != i) return -1;
            found = i;
        }
    }
    return found;
}

static void add_to(void *number, uint8_t type, int64_t more)
{
    if (number == nullptr) return;
    if (type == TYPE_LONG)
        *static_cast<int64_t *>(number) += more;
    else
        *static_cast<int32_t *>(number) += static_cast<int32_t>(more);
}

static int64_t surplus_in(const void *response, const call_argument &surplus)
{
    if (surplus.type == TYPE_LONG) return field_at<int64_t>(response, surplus.response_at);
    return field_at<int32_t>(response, surplus.response_at);
}

// A worker sends as many elements as it was offered space for.  A caller that fetches rows one by
// one into space for the whole matrix would receive the matrix's size each time.  So a large space
// is replaced by a small one at first, then by what the surplus says is needed.  If that does not
// bring the answer, the call is carried out unchanged.
static int ask_for_little(call_request *r, call_return *c, bool *answered)
{
    static constexpr int64_t LITTLE = 512;
    const int at = space_argument(r->call);
    if (at < 0) return 0;
    const call_argument &arg = r->call->args[at], &surplus = r->call->args[at + 1];
    const call_term space = {arg.type == TYPE_LONG ? call_term::LONGFIELD : call_term::INTFIELD, 1,
                             arg.request_at};
    const int64_t offered = index_in(r, space);
    int rc = 0;
    for (int64_t wanted = LITTLE; offered >= ASK_FIRST_SPACE && wanted > 0 && !*answered;) {
        const void *response;
        put_index(r, space, wanted);
        rc = client_exchange(r->env, r->record, r->call->response, &response);
        if (rc != 0) break;
        const int status = field_at<int32_t>(response, r->call->result_at);
        const int64_t lacking = -surplus_in(response, surplus);
        *answered = status == 0 || (status != VNTERR_SPACE_TOO_SMALL && lacking <= 0);
        if (*answered) finish_call(r->env, response, c);
        if (status == 0) add_to(r->args[at + 1].p, surplus.type, offered - wanted);
        bool enough = wanted == LITTLE && lacking > 0 && lacking <= offered - wanted;
        wanted = enough ? wanted + lacking : 0;
    }
    put_index(r, space, offered);
    return rc;
}

int ask_first(call_request *r, call_return *c, bool *done)
{
    *done = false;
    if (r->env->armed || r->env->groupcall) return 0;
    int rc = ask_ends(r, c, done);
    return rc == 0 && !*done ? ask_for_little(r, c, done) : rc;
}

} // namespace vnt
