// The request for one size or property, chosen by a selector.

#include "remote/calls/probinfo.h"
#include "remote/calls/solver.h"
#include "remote/handler/asynccall.h"

namespace vnt {

struct probinfo_query {
    VNTENVptr env;
    VNTLPptr lp;
    VNTNETptr net;
    int32_t selector;
    int64_t argument;
};

struct probinfo_answer {
    int32_t status;
    int64_t info;
    const char *lacking; // the function that the solver does not have
};

template <class object> struct counter {
    const char *name;
    int (*count)(VNTENVptr env, object *of);
};
template <class object>
static probinfo_answer count_with(const counter<object> &c, VNTENVptr env, object *of)
{
    if (c.count == nullptr) return {0, 0, c.name};
    return {0, c.count(env, of), nullptr};
}

// Null for a selector of another kind.
static counter<vntlp> problem_counter(int32_t wanted)
{
#define PROBLEM_QUERY(name, function, selector)                                                    \
    if (wanted == PROBINFO_##name) return {#function, SOLVER(function)};
#define COUNT_QUERY PROBLEM_QUERY
#define NETWORK_QUERY(name, function, selector)
#define OTHER_QUERY(name, selector)
#include "remote/calls/queries.def"
    return {};
}

static counter<vntnet> network_counter(int32_t wanted)
{
#define NETWORK_QUERY(name, function, selector)                                                    \
    if (wanted == PROBINFO_##name) return {#function, SOLVER(function)};
#define PROBLEM_QUERY(name, function, selector)
#define OTHER_QUERY(name, selector)
#include "remote/calls/queries.def"
    return {};
}

static probinfo_answer presolved_count(const probinfo_query &q)
{
    const auto getredlp = SOLVER(VNTLgetredlp);
    if (getredlp == nullptr) return {0, 0, "VNTLgetredlp"};
    VNTLPptr reduced = nullptr;
    const int status = getredlp(q.env, q.lp, &reduced);
    if (status != 0) return {status, 0, nullptr};
    const bool rows = q.selector == PROBINFO_REDNUMROWS;
    return count_with(problem_counter(rows ? PROBINFO_NUMROWS : PROBINFO_NUMCOLS), q.env, reduced);
}

static probinfo_answer network_count(const probinfo_query &q)
{
    return count_with(network_counter(q.selector), q.env, q.net);
}

static probinfo_answer conflict_count(const probinfo_query &q)
{
    const auto getconflict = SOLVER(VNTLgetconflict);
    if (getconflict == nullptr) return {0, 0, "VNTLgetconflict"};
    int confstat = 0;
    int rows = 0;
    int columns = 0;
    const int status =
        getconflict(q.env, q.lp, &confstat, nullptr, nullptr, &rows, nullptr, nullptr, &columns);
    return {status, q.selector == PROBINFO_CONFNUMROWS ? rows : columns, nullptr};
}

// These queries must not change the parameter that switches the solver's messages.
static probinfo_answer with_messages_kept(const probinfo_query &q,
                                          probinfo_answer (*ask)(const probinfo_query &q))
{
    const auto getintparam = SOLVER(VNTLgetintparam);
    const auto setintparam = SOLVER(VNTLsetintparam);
    int kept = 0;
    const bool known = getintparam != nullptr && getintparam(q.env, VNT_PARAM_MESSAGES, &kept) == 0;
    const probinfo_answer answer = ask(q);
    if (known && setintparam != nullptr) setintparam(q.env, VNT_PARAM_MESSAGES, kept);
    return answer;
}

static probinfo_answer terminator_width(const probinfo_query &q)
{
    const auto getnulbytes = SOLVER(VNTLEgetnulbytes);
    if (getnulbytes == nullptr) return {0, 0, "VNTLEgetnulbytes"};
    int bytes = 0;
    const int status = getnulbytes(q.env, &bytes);
    if (status != 0) return {status, -1, nullptr};
    return {0, bytes == 2 ? 1 : bytes == 4 ? 2 : 0, nullptr};
}

static probinfo_answer encoded_parameter(const probinfo_query &q)
{
    const auto encodedstrparam = SOLVER(VNTLEencodedstrparam);
    if (encodedstrparam == nullptr) return {0, 0, "VNTLEencodedstrparam"};
    int encoded = 0;
    const int status = encodedstrparam(q.env, static_cast<int>(q.argument), &encoded);
    return {status, encoded, nullptr};
}

static probinfo_answer version(const probinfo_query &q)
{
    const auto versionnumber = SOLVER(VNTLversionnumber);
    if (versionnumber == nullptr) return {0, 0, "VNTLversionnumber"};
    int number = 0;
    const int status = versionnumber(q.env, &number);
    return {status, number, nullptr};
}

static probinfo_answer switch_channels(handler *h, int64_t argument)
{
    if (argument != CHANNELS_ON && argument != CHANNELS_OFF) return {0, 0, nullptr};
    h->info.forwarding = argument == CHANNELS_ON;
    return {0, argument, nullptr};
}

static probinfo_answer answer(handler *h, const probinfo_query &q)
{
    switch (q.selector) {
    case PROBINFO_REDNUMROWS:
    case PROBINFO_REDNUMCOLS: return with_messages_kept(q, presolved_count);
    case PROBINFO_NUMARCS:
    case PROBINFO_NUMNODES: return with_messages_kept(q, network_count);
    case PROBINFO_NULBYTES: return terminator_width(q);
    case PROBINFO_ENCODED: return encoded_parameter(q);
    case PROBINFO_CONFNUMROWS:
    case PROBINFO_CONFNUMCOLS: return with_messages_kept(q, conflict_count);
    case PROBINFO_VERSION: return version(q);
    case PROBINFO_CHANNELS: return switch_channels(h, q.argument);
    default:
        const counter<vntlp> found = problem_counter(q.selector);
        if (found.name == nullptr) return {VNTERR_BAD_ARGUMENT, 0, nullptr};
        return count_with(found, q.env, q.lp);
    }
}

// False for a malformed object.
static bool take_query(probinfo_query *q, const vntmsg_PROBINFO_REQ *request)
{
    void *env = nullptr;
    void *lp = nullptr;
    void *net = nullptr;
    if (handle_take(&request->env, &env) != 0) return false;
    if (handle_take(&request->lp, &lp) != 0) return false;
    if (handle_take(&request->net, &net) != 0) return false;
    *q = {static_cast<VNTENVptr>(env), static_cast<VNTLPptr>(lp), static_cast<VNTNETptr>(net),
          request->whatinfo, request->intarg};
    return true;
}

static void use_defaults(probinfo_query *q, const handler *h)
{
    if (q->env == nullptr) q->env = h->env;
    if (q->lp == nullptr) q->lp = h->lp;
    if (q->net == nullptr) q->net = h->net;
}

int vnthandler_VNTMESSAGEID_PROBINFO_REQ_run(handler_frame *frame)
{
    const auto *request = static_cast<const vntmsg_PROBINFO_REQ *>(frame->request);
    probinfo_query query;
    if (!take_query(&query, request)) return frame_reject(frame, -1);
    if ((request->flags & FLAG_ASYNCHRONOUS) != 0) {
        frame_reject(frame, -1);
        return 0;
    }
    if ((request->flags & FLAG_USEDEFAULTS) != 0) use_defaults(&query, frame->owner);
    const probinfo_answer found = answer(frame->owner, query);
    if (found.lacking != nullptr) return frame_lacking(frame, found.lacking);
    const vntmsg_PROBINFO_RES response = {nullptr, VNTMESSAGEID_PROBINFO_RES, found.status,
                                          found.info};
    return frame_respond(frame, &response);
}

} // namespace vnt
