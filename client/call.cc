#include "client/call.h"

#include "client/askfirst.h"
#include "client/callrecords.h"
#include "client/connection.h"

#include <algorithm>
#include <cstdlib>

namespace vnt {

static bool lends_array(call_word word)
{
    return word == CALL_IN || word == CALL_INOUT || word == CALL_NAMES;
}

call_request::call_request(const solver_call *c, const call_value *a)
    : call(c), args(a), env(), lp(), net(), sizes(), handles(), file(), record()
{
    field_at<uint32_t>(record, sizeof(void *)) = c->request;
}

call_request::~call_request()
{
    for (int i = 0; i < call->nargs; i++) {
        if (lends_array(call->args[i].word))
            message_unset_array(&field_at<message_array>(record, call->args[i].request_at));
        if (call->args[i].word == CALL_INFILE) client_infile_unset(&file);
    }
}

// Putting: what the sizes of arrays may depend on.

static int put_object(call_request *r, int i)
{
    const call_argument &arg = r->call->args[i];
    const bool by_address = arg.word == CALL_LP_BY_ADDRESS || arg.word == CALL_NET_BY_ADDRESS;
    const bool net = arg.word == CALL_NET || arg.word == CALL_NET_BY_ADDRESS;
    void *object = r->args[i].p;
    if (by_address && object == nullptr) return VNTERR_NULL_POINTER;
    if (by_address) object = *static_cast<void **>(object);
    uint64_t remote = 0; // for null, which the solver is to refuse
    int rc = 0;
    if (arg.word == CALL_ENV) {
        rc = client_env_find(static_cast<VNTENVptr>(object), &r->env);
        if (rc == 0) remote = r->env->remote;
    } else if (object != nullptr) {
        rc = client_object_find(r->env, object, net ? CLIENT_NET : CLIENT_LP, &remote);
        (net ? r->net : r->lp) = remote;
    }
    if (rc != 0) return rc;
    handle_put(&field_at<message_array>(r->record, arg.request_at), r->handles[i],
               reinterpret_cast<void *>(remote));
    return 0;
}

static void put_scalar(call_request *r, const call_argument &arg, const call_value &value)
{
    if (arg.type == TYPE_DOUBLE)
        field_at<double>(r->record, arg.request_at) = value.d;
    else if (arg.type == TYPE_LONG)
        field_at<int64_t>(r->record, arg.request_at) = value.l;
    else
        field_at<int32_t>(r->record, arg.request_at) = value.i;
}

static void put_string(message_string *s, void *text)
{
    if (text == nullptr) return;
    char *data = static_cast<char *>(text);
    *s = {1, static_cast<uint32_t>(strlen(data) + 1), data, 0};
}

static int put(call_request *r, int i)
{
    const call_argument &arg = r->call->args[i];
    switch (arg.word) {
    case CALL_ENV:
    case CALL_LP:
    case CALL_NET:
    case CALL_LP_BY_ADDRESS:
    case CALL_NET_BY_ADDRESS: return put_object(r, i);
    case CALL_VALUE:
    case CALL_INDEX: put_scalar(r, arg, r->args[i]); return 0;
    case CALL_OUTFILE:
        if (r->args[i].p == nullptr) return VNTERR_NULL_POINTER;
        [[fallthrough]];
    case CALL_STRING:
        put_string(&field_at<message_string>(r->record, arg.request_at), r->args[i].p);
        return 0;
    default: return 0;
    }
}

// Lending: arrays, after the scalars that count them.

static int ask_sizes(call_request *r, const call_size &size)
{
    for (const call_term &term : size.terms) {
        if (term.kind != call_term::QUERY || (r->sizes.asked & query_bit(term.at))) continue;
        int rc = client_query(r->env, r->lp, r->net, static_cast<call_query>(term.at),
                              &r->sizes.answers[term.at]);
        if (rc != 0) return rc;
        r->sizes.asked |= query_bit(term.at);
    }
    return 0;
}

// A matrix's arrays of entries have no length of their own.
static int64_t unsized_length(const call_request *r, int i)
{
    const int at = matrix_begins(r->call, i);
    const auto *begins = static_cast<const int64_t *>(r->args[at].p);
    const auto *counts = static_cast<const int32_t *>(r->args[at + 1].p);
    if (begins == nullptr || counts == nullptr) return 0;
    const int64_t columns = size_of(r->call->args[at].size, r->record, r->sizes);
    // The worker refuses what the arrays cannot hold.
    return std::max<int64_t>(matrix_reach(begins, counts, columns), 0);
}

static uint32_t terminated_length(const message_strlen *, const char *text)
{
    return static_cast<uint32_t>(strlen(text) + 1);
}
static constexpr message_strlen terminated = {terminated_length};

static int lend_array(call_request *r, int i)
{
    const call_argument &arg = r->call->args[i];
    if (r->args[i].p == nullptr) return 0;
    int rc = ask_sizes(r, arg.size);
    if (rc != 0) return rc;
    int64_t count =
        arg.size.unsized ? unsized_length(r, i) : size_of(arg.size, r->record, r->sizes);
    return msg2vnt(message_set_anyarray(&field_at<message_array>(r->record, arg.request_at), count,
                                        arg.type, r->args[i].p, &terminated));
}

static int lend_file(call_request *r, int i)
{
    const call_value *a = r->args + i;
    int rc = client_infile_set(&r->file, static_cast<const char *>(a[0].p),
                               static_cast<const char *>(a[1].p), a[2].l);
    message_file *field = &field_at<message_file>(r->record, r->call->args[i].request_at);
    *field = r->file.file;
    // A copied array must not point at the chunk of its source.
    if (field->contents.chunks == &r->file.file.contents.inlinechunk)
        field->contents.chunks = &field->contents.inlinechunk;
    return rc;
}

static int fill_request(call_request *r)
{
    int rc = 0;
    for (int i = 0; i < r->call->nargs && rc == 0; i++)
        rc = put(r, i);
    for (int i = 0; i < r->call->nargs && rc == 0; i++) {
        if (lends_array(r->call->args[i].word)) rc = lend_array(r, i);
        if (r->call->args[i].word == CALL_INFILE) rc = lend_file(r, i);
    }
    return rc;
}

// Fetching: from the response to the caller's memory.

static void fetch_scalar(const void *response, const call_argument &arg, void *to)
{
    if (arg.type == TYPE_DOUBLE)
        *static_cast<double *>(to) = field_at<double>(response, arg.response_at);
    else if (arg.type == TYPE_LONG)
        *static_cast<int64_t *>(to) = field_at<int64_t>(response, arg.response_at);
    else if (arg.type == TYPE_BYTE)
        *static_cast<char *>(to) = static_cast<char>(field_at<int32_t>(response, arg.response_at));
    else
        *static_cast<int32_t *>(to) = field_at<int32_t>(response, arg.response_at);
}

static int fetch_array(const message_array *a, uint32_t type, void *to, int64_t space)
{
    if (a->type == TYPE_NONE) return 0;
    if (a->type != type) return VNTERR_REMOTE;
    size_t size = message_element_size(type);
    char *end = static_cast<char *>(to);
    for (uint32_t i = 0; i < a->nchunks && space > 0; i++) {
        int64_t count = a->chunks[i].count < space ? a->chunks[i].count : space;
        const bool landed = a->chunks[i].data == nullptr; // is there already
        if (count > 0 && !landed) memcpy(end, a->chunks[i].data, static_cast<size_t>(count) * size);
        end += static_cast<size_t>(count) * size;
        space -= count;
    }
    return 0;
}

// Texts arrive with their terminator.  One that is cut gets another.
static void fetch_string(const message_string *s, char *to, int64_t space)
{
    if (!s->present || space == 0) return;
    int64_t length = s->length < space ? s->length : space;
    if (length > 0) memcpy(to, s->data, static_cast<size_t>(length));
    if (length > 0 && to[length - 1] == '\0') return;
    to[length < space ? length : space - 1] = '\0';
}

// Puts the names one behind the other into the caller's store; null for one that is absent or too
// long.  The store may be filled without pointers, but not the other way round.
static int fetch_names(const message_array *a, char **names, int64_t count, char *store,
                       int64_t space)
{
    if (a->type == TYPE_NONE) return 0;
    if (a->type != TYPE_STRING) return VNTERR_REMOTE;
    if (store == nullptr) return names != nullptr && a->total > 0 ? VNTERR_NULL_POINTER : 0;
    int64_t n = 0, used = 0;
    for (uint32_t i = 0; i < a->nchunks; i++) {
        const message_string *strings = static_cast<const message_string *>(a->chunks[i].data);
        for (uint32_t j = 0; j < a->chunks[i].count && n < count; j++, n++) {
            bool fits = strings[j].present && strings[j].length <= space - used;
            if (names != nullptr) names[n] = fits ? store + used : nullptr;
            if (!fits) continue;
            fetch_string(&strings[j], store + used, strings[j].length);
            used += strings[j].length;
        }
    }
    return 0;
}

static int fetch_file(const call_return *c, const void *response, int i)
{
    const message_file *f = &field_at<message_file>(response, c->call->args[i].response_at);
    return client_outfile_store(c->path, f);
}

// Whether the solver left a scalar at 0, as the worker had initialised it.
static bool unwritten(const void *response, const call_argument &arg)
{
    static const char zeros[sizeof(int64_t)] = {};
    bool wide = arg.type == TYPE_LONG || arg.type == TYPE_DOUBLE;
    return memcmp(&field_at<char>(response, arg.response_at), zeros, wide ? 8 : 4) == 0;
}

static bool unwritten_text(const message_string &s)
{
    return std::all_of(s.data, s.data + s.length, [](char c) { return c == '\0'; });
}

// A worker sends all outputs whatever the status.  A call that failed leaves the caller's arrays
// alone, as a local call would: their size may have been the error.  A scalar or a text that the
// solver has written, such as a surplus, is stored.
static bool stays_out(const call_argument &arg, const void *response)
{
    switch (arg.word) {
    case CALL_OUT:
    case CALL_INOUT:
    case CALL_OUTNAMES:
    case CALL_OUTFILE:
    case CALL_LP_BY_ADDRESS:
    case CALL_NET_BY_ADDRESS: return true;
    case CALL_OUTVALUE:
    case CALL_OUTCHAR: return unwritten(response, arg);
    case CALL_OUTSTRING:
    case CALL_PLAINSTRING:
        return unwritten_text(field_at<message_string>(response, arg.response_at));
    default: return false;
    }
}

static void forget_freed(void **object)
{
    client_handle_forget(*object);
    *object = nullptr;
}

static int fetch(const call_return *c, const void *response, int i)
{
    const call_argument &arg = c->call->args[i];
    void *to = c->args[i].p;
    const bool failed = c->call->result == RESULT_STATUS && c->result.i != 0;
    if (failed && stays_out(arg, response)) return 0;
    if (to == nullptr && arg.word != CALL_OUTNAMES) return 0;
    switch (arg.word) {
    case CALL_LP_BY_ADDRESS:
    case CALL_NET_BY_ADDRESS: forget_freed(static_cast<void **>(to)); return 0;
    case CALL_OUTVALUE:
    case CALL_OUTCHAR: fetch_scalar(response, arg, to); return 0;
    case CALL_OUT:
    case CALL_INOUT:
        return fetch_array(&field_at<message_array>(response, arg.response_at), arg.type, to,
                           c->space[i]);
    case CALL_OUTSTRING:
    case CALL_PLAINSTRING:
        fetch_string(&field_at<message_string>(response, arg.response_at), static_cast<char *>(to),
                     c->space[i]);
        return 0;
    case CALL_OUTNAMES:
        return fetch_names(&field_at<message_array>(response, arg.response_at),
                           static_cast<char **>(to), c->space[i],
                           static_cast<char *>(c->args[i + 1].p), c->space[i + 1]);
    case CALL_OUTFILE: return fetch_file(c, response, i);
    default: return 0;
    }
}

// The pointer at which a creating call stores its status.
static int *status_pointer(const solver_call *call, const call_value *args)
{
    for (int i = 0; i < call->nargs; i++)
        if (call->args[i].word == CALL_OUTVALUE) return static_cast<int *>(args[i].p);
    return nullptr;
}

// The handle of the object that the worker has created.
static int fetch_object(client_env *e, call_return *c, const void *response)
{
    void *remote = nullptr;
    if (handle_take(&field_at<message_array>(response, c->call->result_at), &remote) != 0)
        return VNTERR_REMOTE;
    if (remote == nullptr) return 0;
    uint64_t value = reinterpret_cast<uint64_t>(remote);
    if (c->call->result == RESULT_LP)
        c->result.p = client_lp_add(e, value);
    else
        c->result.p = client_net_add(e, value);
    return c->result.p != nullptr ? 0 : VNTERR_NO_MEMORY;
}

static int fetch_result(client_env *e, call_return *c, const void *response)
{
    uint16_t at = c->call->result_at;
    switch (c->call->result) {
    case RESULT_LP:
    case RESULT_NET: return fetch_object(e, c, response);
    case RESULT_LONG: c->result.l = field_at<int64_t>(response, at); return 0;
    case RESULT_DOUBLE: c->result.d = field_at<double>(response, at); return 0;
    default: c->result.i = field_at<int32_t>(response, at); return 0;
    }
}

// Sets the result of a call that was not carried out.
static void fail(const solver_call *call, const call_value *args, int status, call_value *result)
{
    *result = {};
    bool unknown = status == VNTERR_NO_ENVIRONMENT || status == VNTERR_NO_PROBLEM;
    if (call->result == RESULT_STATUS)
        result->i = call->gives_value && unknown ? call->nothing : status;
    if (call->result != RESULT_LP && call->result != RESULT_NET) return;
    int *status_p = status_pointer(call, args);
    result->p = nullptr;
    if (status_p != nullptr) *status_p = status;
}

// The status that the solver gave; 0 where it gave a value or an object.
static int solver_status(const call_return *c)
{
    if (c->call->result == RESULT_STATUS) return c->call->gives_value ? 0 : c->result.i;
    if (c->call->result != RESULT_LP && c->call->result != RESULT_NET) return 0;
    const int *status = status_pointer(c->call, c->args);
    return status != nullptr && c->result.p == nullptr ? *status : 0;
}

int finish_call(client_env *e, const void *response, void *memory)
{
    call_return *c = static_cast<call_return *>(memory);
    int rc = fetch_result(e, c, response);
    for (int i = 0; i < c->call->nargs && rc == 0; i++)
        rc = fetch(c, response, i);
    if (rc != 0) {
        client_text_complete(rc);
        fail(c->call, c->args, rc, &c->result);
    } else if (int status = solver_status(c)) {
        client_fail_solver(e, status);
    }
    return c->call->result == RESULT_STATUS ? c->result.i : rc;
}

// Notes where each output goes and how much of it the caller has room for.  Where the worker asks
// the solver for the size, the caller had to make room for all that comes.
static int note_outputs(const call_request *r, call_return *c)
{
    for (int i = 0; i < r->call->nargs; i++) {
        const call_argument &arg = r->call->args[i];
        bool known = size_known(arg.size, r->sizes);
        c->space[i] = known ? size_of(arg.size, r->record, r->sizes) : INT64_MAX;
        c->large = c->large || c->space[i] >= ASK_FIRST_SPACE;
        c->args[i] = r->args[i];
        if (arg.word != CALL_OUTFILE) continue;
        const char *path = static_cast<const char *>(r->args[i].p);
        if (strlen(path) >= sizeof c->path) return VNTERR_FILE_CREATE;
        strcpy(c->path, path);
    }
    return 0;
}

// Where the arrays of the response are wanted.
static codec_landing landing_of(const call_return *c)
{
    codec_landing landing = {c->call->response, c->call->result_at, 0, {}};
    for (int i = 0; i < c->call->nargs && landing.n < codec_landing::MOST; i++) {
        const call_argument &arg = c->call->args[i];
        if (arg.word == CALL_OUT && c->space[i] != INT64_MAX)
            landing.places[landing.n++] = {arg.response_at, {c->args[i].p, arg.type, c->space[i]}};
    }
    return landing;
}

// Offers the places to the connection; null when the answer has come.
static void offer_landing(const client_env *e, const codec_landing *l)
{
    for (int64_t i = 0; e->io != nullptr && i < e->io->ncodecs; i++)
        e->io->codecs[i]->landing = l;
}

static int exchange(call_request *r, call_return *c)
{
    int rc = fill_request(r);
    if (rc == 0) rc = note_outputs(r, c);
    if (rc != 0) {
        if (r->env != nullptr) client_disarm(r->env);
        return rc;
    }
    client_env *e = r->env;
    e->complaint[0] = '\0'; // what was said before does not belong to this call
    bool done = false;
    if (c->large) rc = ask_first(r, c, &done);
    if (rc != 0 || done) return rc;
    if (r->call->result == RESULT_STATUS) {
        int result;
        const codec_landing landing = landing_of(c);
        if (!e->groupcall) offer_landing(e, &landing);
        rc = client_call(e, r->record, r->call->response, finish_call, c, sizeof *c, &result);
        offer_landing(e, nullptr);
        return rc;
    }
    // A call that creates or counts is never only started: its caller needs the result now.
    const void *response;
    rc = client_exchange(e, r->record, r->call->response, &response);
    if (rc == 0) finish_call(e, response, c);
    return rc;
}

void call_remote(const solver_call *call, const call_value *args, call_value *result)
{
    call_request request(call, args);
    call_return back; // the path needs no zeros
    back.call = call;
    back.result = {};
    back.large = false;
    client_text_begin();
    int rc = exchange(&request, &back);
    if (rc != 0) {
        client_text_complete(rc);
        fail(call, args, rc, result);
    } else {
        *result = back.result;
    }
}

} // namespace vnt
