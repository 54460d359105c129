// The request for one size or property, chosen by a selector.

#include "remote/calls/probinfo.h"
#include "remote/calls/solver.h"
#include "remote/handler/asynccall.h"
#include "remote/handler/queries.h"

namespace vnt {

struct probinfo_answer {
    int32_t status;
    int64_t info;
    const char *missing; // a function that the solver lacks
};

static probinfo_answer size(size_queries q, call_query query)
{
    q.sizes.asked = query_bit(query);
    queries_ask(&q);
    return {q.status, q.sizes.answers[query], q.missing};
}

static probinfo_answer count(const size_queries &q, const char *name,
                             int (*function)(VNTENVptr env, VNTLPptr lp))
{
    if (function == nullptr) return {0, 0, name};
    return {0, function(q.env, q.lp), nullptr};
}

static probinfo_answer terminator_width(size_queries q)
{
    queries_ask_width(&q);
    return {q.status, q.status == 0 ? q.width : -1, q.missing};
}

static probinfo_answer encoded_parameter(VNTENVptr env, int64_t parameter)
{
    const auto encodedstrparam = SOLVER(VNTLEencodedstrparam);
    if (encodedstrparam == nullptr) return {0, 0, "VNTLEencodedstrparam"};
    int encoded = 0;
    const int status = encodedstrparam(env, static_cast<int>(parameter), &encoded);
    return {status, encoded, nullptr};
}

static probinfo_answer version(VNTENVptr env)
{
    const auto versionnumber = SOLVER(VNTLversionnumber);
    if (versionnumber == nullptr) return {0, 0, "VNTLversionnumber"};
    int number = 0;
    const int status = versionnumber(env, &number);
    return {status, number, nullptr};
}

static probinfo_answer switch_channels(handler *h, int64_t argument)
{
    if (argument != CHANNELS_ON && argument != CHANNELS_OFF) return {0, 0, nullptr};
    h->info.forwarding = argument == CHANNELS_ON;
    return {0, argument, nullptr};
}

static probinfo_answer answer(handler *h, const size_queries &q, int32_t selector, int64_t argument)
{
    switch (selector) {
#define SIZE_QUERY(name, selector)                                                                 \
    case PROBINFO_##name:                                                                          \
        return size(q, QUERY_##name);
#define COUNT_QUERY(name, function, selector)                                                      \
    case PROBINFO_##name:                                                                          \
        return count(q, #function, SOLVER(function));
#include "remote/calls/queries.def"
    case PROBINFO_NULBYTES: return terminator_width(q);
    case PROBINFO_ENCODED: return encoded_parameter(q.env, argument);
    case PROBINFO_VERSION: return version(q.env);
    case PROBINFO_CHANNELS: return switch_channels(h, argument);
    default: return {VNTERR_BAD_ARGUMENT, 0, nullptr};
    }
}

// False for a malformed object.
static bool take_objects(size_queries *q, const vntmsg_PROBINFO_REQ *request)
{
    void *env = nullptr;
    void *lp = nullptr;
    void *net = nullptr;
    if (handle_take(&request->env, &env) != 0) return false;
    if (handle_take(&request->lp, &lp) != 0) return false;
    if (handle_take(&request->net, &net) != 0) return false;
    q->env = static_cast<VNTENVptr>(env);
    q->lp = static_cast<VNTLPptr>(lp);
    q->net = static_cast<VNTNETptr>(net);
    return true;
}

int vnthandler_VNTMESSAGEID_PROBINFO_REQ_run(handler_frame *frame)
{
    const auto *request = static_cast<const vntmsg_PROBINFO_REQ *>(frame->request);
    size_queries query = {};
    if (!take_objects(&query, request)) return frame_reject(frame, -1);
    if ((request->flags & FLAG_ASYNCHRONOUS) != 0) {
        frame_reject(frame, -1);
        return 0;
    }
    if ((request->flags & FLAG_USEDEFAULTS) != 0) queries_use_defaults(&query, frame->owner);
    const probinfo_answer found = answer(frame->owner, query, request->whatinfo, request->intarg);
    if (found.missing != nullptr) return frame_lacking(frame, found.missing);
    const vntmsg_PROBINFO_RES response = {nullptr, VNTMESSAGEID_PROBINFO_RES, found.status,
                                          found.info};
    return frame_respond(frame, &response);
}

} // namespace vnt
