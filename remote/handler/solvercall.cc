#include "remote/calls/solvercall.h"

#include "remote/calls/flatten.h"
#include "remote/codec/copy.h"
#include "remote/handler/asynccall.h"
#include "remote/handler/outfile.h"
#include "remote/handler/queries.h"

#include <cstdlib>

namespace vnt {

namespace {

// One argument of a call.
struct passing {
    call_value value;  // what the solver gets
    call_value target; // what the solver writes to, where `value` is an address
    int64_t count;     // elements at value.p
    bool present;      // the request has the array, which may be empty
    void *owned;
    char bytes[16]; // of a new object
};

// A call being carried out.  It frees what it holds.
struct solver_run {
    handler_frame *frame;
    const solver_call *call;
    const void *request;
    void *copy; // of the request, when the call is asynchronous
    int32_t flags;
    size_queries queries;
    void *function;
    passing args[SOLVERCALL_MAXARGS];
    passing result;
    outfile file;
    int32_t failure; // nonzero: the status to answer without calling the solver

    solver_run(handler_frame *f, const solver_call *c);
    ~solver_run();
    solver_run(const solver_run &) = delete;
    solver_run &operator=(const solver_run &) = delete;
};

solver_run::solver_run(handler_frame *f, const solver_call *c)
    : frame(f), call(c), request(f->request), copy(), flags(f->ack.flags), queries(), function(),
      args(), result(), file(), failure()
{
}

solver_run::~solver_run()
{
    for (int i = 0; i < call->nargs; i++) {
        free(args[i].owned);
        if (call->args[i].word == CALL_OUTFILE) outfile_destroy(&file);
    }
    if (copy != nullptr) vntmsg_uncopy(&copy);
}

} // namespace

static solver_import imports[SOLVERCALL_COUNT] = {
#define SOLVER_CALL(name, function, ...) {#function, nullptr},
#include "remote/calls/solvercalls.def"
};

// Taking: out of the request, into the arguments.

static int take_object(solver_run *run, const call_argument &arg)
{
    void *object;
    if (handle_take(&field_at<message_array>(run->request, arg.request_at), &object) != 0)
        return -1;
    if (arg.word == CALL_ENV)
        run->queries.env = static_cast<VNTENVptr>(object);
    else if (arg.word == CALL_LP || arg.word == CALL_LP_BY_ADDRESS)
        run->queries.lp = static_cast<VNTLPptr>(object);
    else
        run->queries.net = static_cast<VNTNETptr>(object);
    return 0;
}

static void take_scalar(solver_run *run, const call_argument &arg, passing *p)
{
    if (arg.type == TYPE_DOUBLE)
        p->value.d = field_at<double>(run->request, arg.request_at);
    else if (arg.type == TYPE_LONG)
        p->value.l = field_at<int64_t>(run->request, arg.request_at);
    else
        p->value.i = field_at<int32_t>(run->request, arg.request_at);
}

static int take_array(const message_array *a, uint32_t type, passing *p)
{
    flat_array flat;
    int rc = flattenarray(&flat, a, type);
    p->value.p = flat.data;
    p->count = flat.count;
    p->present = a->type != TYPE_NONE;
    p->owned = flat.owned ? flat.data : nullptr;
    return rc;
}

static int take_names(const message_array *a, passing *p)
{
    string_table table;
    int rc = getargSTRINGARRAY(&table, a);
    p->value.p = p->owned = table.pointers;
    p->count = table.count;
    p->present = a->type != TYPE_NONE;
    return rc;
}

static int take(solver_run *run, const call_argument &arg, passing *p)
{
    const void *request = run->request;
    switch (arg.word) {
    case CALL_ENV:
    case CALL_LP:
    case CALL_NET:
    case CALL_LP_BY_ADDRESS:
    case CALL_NET_BY_ADDRESS: return take_object(run, arg);
    case CALL_VALUE:
    case CALL_INDEX: take_scalar(run, arg, p); return 0;
    case CALL_STRING:
    case CALL_OUTFILE:
        p->value.p = string_text(&field_at<message_string>(request, arg.request_at));
        return 0;
    case CALL_IN:
    case CALL_INOUT:
        return take_array(&field_at<message_array>(request, arg.request_at), arg.type, p);
    case CALL_NAMES: return take_names(&field_at<message_array>(request, arg.request_at), p);
    case CALL_INFILE:
        p->value.p = string_text(&field_at<message_file>(request, arg.request_at).name);
        return 0;
    case CALL_INFILE_CONTENTS:
        return take_array(&field_at<message_file>(request, arg.request_at).contents, arg.type, p);
    case CALL_INFILE_LENGTH: p->value.l = p[-1].count; return 0; // of the contents
    default: return 0;
    }
}

// An array of the received request that has to be joined for the solver, null for other arguments.
static message_array *array_to_join(const solver_run *run, const call_argument &arg)
{
    void *request = run->frame->request;
    message_array *a = nullptr;
    if (arg.word == CALL_IN || arg.word == CALL_INOUT)
        a = &field_at<message_array>(request, arg.request_at);
    if (arg.word == CALL_INFILE_CONTENTS)
        a = &field_at<message_file>(request, arg.request_at).contents;
    return a != nullptr && a->nchunks > 1 ? a : nullptr;
}

// The request belongs to the transport, which frees it when the next one arrives; while an
// asynchronous call runs, control requests arrive.  So the request is copied, but for its arrays of
// several chunks, which are joined: if they were copied with it and joined then, they would be in
// memory three times.
static int copy_request(solver_run *run)
{
    struct {
        message_array *place;
        message_array array;
    } joined[SOLVERCALL_MAXARGS];
    int njoined = 0;
    int rc = 0;
    for (int i = 0; rc == 0 && i < run->call->nargs; i++) {
        message_array *a = array_to_join(run, run->call->args[i]);
        if (a == nullptr) continue;
        rc = take(run, run->call->args[i], &run->args[i]);
        joined[njoined++] = {a, *a};
        *a = {};
    }
    if (rc == 0) run->copy = vntmsg_copy(run->frame->request);
    while (njoined-- > 0)
        *joined[njoined].place = joined[njoined].array;
    if (rc != 0) return rc;
    run->request = run->copy;
    return run->copy != nullptr ? 0 : VNTERR_NO_MEMORY;
}

static int take_all(solver_run *run)
{
    for (int i = 0; i < run->call->nargs; i++) {
        if (run->args[i].owned != nullptr) continue; // joined before the request was copied
        int rc = take(run, run->call->args[i], &run->args[i]);
        if (rc != 0) return rc;
    }
    return 0;
}

// A problem that is freed must not stay the default, nor be chosen as the default for this call.
static void forget_freed(solver_run *run)
{
    for (int i = 0; i < run->call->nargs; i++) {
        if (run->call->args[i].word == CALL_LP_BY_ADDRESS) run->frame->owner->lp = nullptr;
        if (run->call->args[i].word == CALL_NET_BY_ADDRESS) run->frame->owner->net = nullptr;
    }
}

// Finds the solver's function, and asks the solver for sizes.
static int ask_solver(solver_run *run)
{
    size_queries *q = &run->queries;
    run->function = solver_find(&imports[run->call - solvercalls]);
    if (run->function == nullptr) {
        q->missing = run->call->function;
    } else {
        q->sizes.asked = run->call->queries;
        if (run->call->gives_texts) queries_ask_width(q);
        if (q->sizes.asked != 0) queries_ask(q);
    }
    return q->missing == nullptr ? 0 : msg2vnt(MESSAGE_UNKNOWN);
}

// Whether the columns of a matrix stay within argument i, one of its two arrays of entries.
static bool matrix_fits(const solver_run *run, int i)
{
    const int at = matrix_begins(run->call, i);
    const passing &begins = run->args[at], &counts = run->args[at + 1];
    if (!begins.present || !counts.present) return true; // the solver reports the missing array
    // Where the solver alone knows the number of columns, they are those that came.
    const call_size &size = run->call->args[at].size;
    const bool known = size_known(size, run->queries.sizes);
    const int64_t columns = known ? size_of(size, run->request, run->queries.sizes) : begins.count;
    if (begins.count < columns || counts.count < columns) return false;
    const int64_t reach = matrix_reach(static_cast<const int64_t *>(begins.value.p),
                                       static_cast<const int32_t *>(counts.value.p), columns);
    return reach >= 0 && reach <= run->args[i].count;
}

// Whether an array that the solver reads is as long as the solver expects.
static bool reaches(const solver_run *run, int i)
{
    const call_argument &arg = run->call->args[i];
    const passing &p = run->args[i];
    if (!p.present) return true;
    if (arg.size.unsized) return matrix_fits(run, i);
    if (!size_known(arg.size, run->queries.sizes)) return true;
    const int64_t size = size_of(arg.size, run->request, run->queries.sizes);
    if (p.count < size) return false;
    return arg.size.entries.kind == call_term::NONE ||
           starts_within(static_cast<const int64_t *>(p.value.p), size,
                         entries_of(arg.size, run->request));
}

static int check_lengths(const solver_run *run)
{
    for (int i = 0; i < run->call->nargs; i++) {
        const call_word word = run->call->args[i].word;
        if ((word == CALL_IN || word == CALL_NAMES) && !reaches(run, i)) return -1;
    }
    return 0;
}

// Readying: what the solver gets for each argument, and room for what it writes.

// Allocates zeroed elements; a count of 0 leaves the pointer null.
static int make_block(passing *p, int64_t count, size_t size)
{
    p->count = count;
    p->value.p = nullptr;
    if (count == 0) return 0;
    size_t bytes;
    if (__builtin_mul_overflow(static_cast<uint64_t>(count), size, &bytes)) return VNTERR_NO_MEMORY;
    p->value.p = p->owned = calloc(1, bytes);
    return p->owned != nullptr ? 0 : VNTERR_NO_MEMORY;
}

// Copies an array that the solver changes, so that the request stays as it came.  The copy has the
// length that the solver expects, zeros behind what came.  An array that came is never passed as
// null, not even with a length of 0.
static int make_copy(passing *p, int64_t count, size_t size)
{
    passing taken = *p;
    if (taken.owned != nullptr && count > 0 && count <= taken.count) { // a copy already
        p->count = count;
        return 0;
    }
    p->owned = nullptr;
    int rc = taken.present ? make_block(p, count, size) : 0;
    if (rc == 0 && p->owned != nullptr) {
        int64_t common = taken.count < count ? taken.count : count;
        memcpy(p->owned, taken.value.p, static_cast<size_t>(common) * size);
    } else if (taken.present) {
        p->value.p = &p->target;
    }
    free(taken.owned);
    return rc;
}

static int ready(solver_run *run, const call_argument &arg, passing *p)
{
    size_queries *q = &run->queries;
    const size_t width =
        arg.word == CALL_OUTNAMES ? sizeof(char *) : message_element_size(arg.type);
    switch (arg.word) {
    case CALL_ENV: p->value.p = q->env; return 0;
    case CALL_LP: p->value.p = q->lp; return 0;
    case CALL_NET: p->value.p = q->net; return 0;
    case CALL_LP_BY_ADDRESS: p->value.p = &q->lp; return 0;
    case CALL_NET_BY_ADDRESS: p->value.p = &q->net; return 0;
    case CALL_OUTVALUE:
    case CALL_OUTCHAR: p->value.p = &p->target; return 0;
    case CALL_OUT:
    case CALL_OUTSTRING:
    case CALL_PLAINSTRING:
    case CALL_OUTNAMES:
    case CALL_STORE: return make_block(p, size_of(arg.size, run->request, q->sizes), width);
    case CALL_INOUT: return make_copy(p, size_of(arg.size, run->request, q->sizes), width);
    case CALL_OUTFILE:
        run->failure = outfile_create(&run->file, static_cast<const char *>(p->value.p));
        p->value.p = run->file.path;
        return run->failure == VNTERR_NO_MEMORY ? VNTERR_NO_MEMORY : 0;
    default: return 0;
    }
}

static int ready_all(solver_run *run)
{
    for (int i = 0; i < run->call->nargs; i++) {
        int rc = ready(run, run->call->args[i], &run->args[i]);
        if (rc != 0) return rc;
    }
    return 0;
}

// The call itself.

static void call_solver(solver_run *run)
{
    call_value values[SOLVERCALL_MAXARGS];
    for (int i = 0; i < run->call->nargs; i++)
        values[i] = run->args[i].value;
    run->call->invoke(run->function, values, &run->result.value);
}

// Giving: into the response.  Statuses are the message layer's.

static void give_scalar(void *response, uint16_t at, uint8_t type, const call_value &value)
{
    if (type == TYPE_DOUBLE)
        field_at<double>(response, at) = value.d;
    else if (type == TYPE_LONG)
        field_at<int64_t>(response, at) = value.l;
    else if (type == TYPE_BYTE) // in its first byte
        field_at<int32_t>(response, at) = *reinterpret_cast<const char *>(&value);
    else
        field_at<int32_t>(response, at) = value.i;
}

static void give_string(message_string *s, const passing &p, int32_t width)
{
    if (p.value.p == nullptr) return;
    char *text = static_cast<char *>(p.value.p);
    int64_t length = vntstrleninbytes(width, text, p.count);
    *s = {1, static_cast<uint32_t>(length < UINT32_MAX ? length : UINT32_MAX), text, 0};
}

static int give_names(message_array *a, const passing &names, const passing &store, int32_t width)
{
    encoded_strings measure = {
        {encoded_strlen}, width, static_cast<const char *>(store.value.p), store.count};
    return message_set_anyarray(a, names.count, TYPE_STRING, names.value.p, &measure.base);
}

static int give(const solver_run *run, const call_argument &arg, const passing &p, void *response)
{
    switch (arg.word) {
    case CALL_OUTVALUE:
    case CALL_OUTCHAR: give_scalar(response, arg.response_at, arg.type, p.target); return 0;
    case CALL_OUT:
    case CALL_INOUT:
        return message_set_anyarray(&field_at<message_array>(response, arg.response_at), p.count,
                                    arg.type, p.value.p, nullptr);
    case CALL_OUTSTRING:
        give_string(&field_at<message_string>(response, arg.response_at), p, run->queries.width);
        return 0;
    case CALL_PLAINSTRING:
        give_string(&field_at<message_string>(response, arg.response_at), p, 0);
        return 0;
    case CALL_OUTNAMES:
        return give_names(&field_at<message_array>(response, arg.response_at), p, (&p)[1],
                          run->queries.width);
    case CALL_OUTFILE:
        // A failed write may have left half a file; it is not sent.
        if (run->result.value.i != 0) return 0;
        return outfile_attach(&run->file, &field_at<message_file>(response, arg.response_at));
    default: return 0;
    }
}

static void give_result(solver_run *run, void *response)
{
    const solver_call *call = run->call;
    passing *r = &run->result;
    switch (call->result) {
    case RESULT_LP:
    case RESULT_NET:
        handle_put(&field_at<message_array>(response, call->result_at), r->bytes, r->value.p);
        break;
    case RESULT_LONG: give_scalar(response, call->result_at, TYPE_LONG, r->value); break;
    case RESULT_DOUBLE: give_scalar(response, call->result_at, TYPE_DOUBLE, r->value); break;
    default: give_scalar(response, call->result_at, TYPE_INT, r->value);
    }
}

static void unset_all(const solver_run *run, void *response)
{
    for (int i = 0; i < run->call->nargs; i++) {
        const call_argument &arg = run->call->args[i];
        if (arg.word == CALL_OUT || arg.word == CALL_INOUT || arg.word == CALL_OUTNAMES)
            message_unset_array(&field_at<message_array>(response, arg.response_at));
        if (arg.word == CALL_OUTFILE)
            message_unset_file(&field_at<message_file>(response, arg.response_at));
    }
}

static int respond(solver_run *run)
{
    const solver_call *call = run->call;
    alignas(max_align_t) char response[SOLVERCALL_MAXRECORD] = {};
    field_at<uint32_t>(response, sizeof(void *)) = call->response;
    give_result(run, response);
    for (int i = 0; i < call->nargs; i++) {
        int rc = give(run, call->args[i], run->args[i], response);
        if (rc != 0 && call->result == RESULT_STATUS)
            field_at<int32_t>(response, call->result_at) = msg2vnt(rc);
    }
    int rc = frame_respond(run->frame, response);
    unset_all(run, response);
    return rc;
}

// Prepares the call.  Returns 0, or the status to reject the request with.
static int prepare(solver_run *run)
{
    const bool asynchronous = run->flags & FLAG_ASYNCHRONOUS;
    int rc = asynchronous ? copy_request(run) : 0;
    if (rc == 0) rc = take_all(run);
    if (rc != 0) return rc;
    if (asynchronous && async_isasync()) return -1;
    if (run->flags & FLAG_USEDEFAULTS) queries_use_defaults(&run->queries, run->frame->owner);
    rc = ask_solver(run);
    if (rc == 0) rc = check_lengths(run);
    if (rc == 0) rc = ready_all(run);
    return rc;
}

int solvercall_run(handler_frame *frame, const solver_call *call)
{
    solver_run run(frame, call);
    const bool asynchronous = run.flags & FLAG_ASYNCHRONOUS;
    const synccall sync(asynchronous ? nullptr : frame->owner);
    forget_freed(&run);
    int rc = prepare(&run);
    const size_queries &q = run.queries;
    if (rc == 0 && asynchronous) rc = asynccall_begin(frame, q.env, q.lp);
    if (q.missing != nullptr && rc != 0) return frame_lacking(frame, q.missing);
    if (rc != 0) return frame_reject(frame, rc);
    run.result.value.i = run.failure;
    if (run.failure == 0) call_solver(&run);
    if (asynchronous) asynccall_end(frame->owner, q.env);
    return respond(&run);
}

#define SOLVER_CALL(name, function, ...)                                                           \
    int vnthandler_VNTMESSAGEID_##name##_REQ_run(handler_frame *frame)                             \
    {                                                                                              \
        return solvercall_run(frame, &solvercalls[SOLVERCALL_##name]);                             \
    }
#include "remote/calls/solvercalls.def"

} // namespace vnt
