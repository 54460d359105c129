// The worker's user function: storing it, and the request that calls it.

#include "remote/base/entry.h"
#include "remote/calls/flatten.h"
#include "remote/codec/copy.h"
#include "remote/handler/asynccall.h"
#include "vanto_remote.h"

#include <cstdlib>

namespace vnt {

// Each under the solver's three families of names.
#define SETUSERFUNCTION(name)                                                                      \
    VNT_ENTRY int name(void *owner, VNTUSERFUNCTION function, void *data)                          \
    {                                                                                              \
        static_cast<handler *>(owner)->userfunction = function;                                    \
        static_cast<handler *>(owner)->userdata = data;                                            \
        return 0;                                                                                  \
    }
SETUSERFUNCTION(VNTsetuserfunction)
SETUSERFUNCTION(VNTSsetuserfunction)
SETUSERFUNCTION(VNTLsetuserfunction)

#define GETUSERFUNCTION(name)                                                                      \
    VNT_ENTRY int name(void *owner, VNTUSERFUNCTION *function, void **data)                        \
    {                                                                                              \
        *function = static_cast<handler *>(owner)->userfunction;                                   \
        *data = static_cast<handler *>(owner)->userdata;                                           \
        return 0;                                                                                  \
    }
GETUSERFUNCTION(VNTgetuserfunction)
GETUSERFUNCTION(VNTSgetuserfunction)
GETUSERFUNCTION(VNTLgetuserfunction)

namespace {

// A call of the user function under way.  It frees what it holds.
struct user_call {
    const vntmsg_USERFUNCTION_REQ *request; // the copy, when the call is asynchronous
    void *copy;
    VNTENVptr env;
    flat_array input;
    int64_t maxout;
    void *output; // at least a byte, so that the function always has a place to point at
    int64_t outputlen;

    user_call() : request(), copy(), env(), input(), maxout(), output(), outputlen() {}
    ~user_call();
    user_call(const user_call &) = delete;
    user_call &operator=(const user_call &) = delete;
};

user_call::~user_call()
{
    free(output);
    if (input.owned) free(input.data);
    if (copy != nullptr) vntmsg_uncopy(&copy);
}

} // namespace

static bool is_asynchronous(const user_call *call)
{
    return (call->request->flags & FLAG_ASYNCHRONOUS) != 0;
}

// The request itself is freed when the next one arrives, which while an asynchronous call runs is
// soon.  An input in several chunks is joined first and left out of the copy, as a solver call's
// arrays are.
static int take_request(user_call *call, void *received)
{
    auto *request = static_cast<vntmsg_USERFUNCTION_REQ *>(received);
    call->request = request;
    if (!is_asynchronous(call)) return 0;
    const message_array input = request->input;
    if (input.nchunks > 1) {
        const int rc = flattenarray(&call->input, &input, TYPE_BYTE);
        if (rc != 0) return rc;
        request->input = {};
    }
    call->copy = vntmsg_copy(request);
    if (input.nchunks > 1) request->input = input;
    if (call->copy == nullptr) return msg2vnt(MESSAGE_NOMEMORY);
    call->request = static_cast<const vntmsg_USERFUNCTION_REQ *>(call->copy);
    return 0;
}

static int take_arguments(user_call *call, const handler *h)
{
    void *env = nullptr;
    if (handle_take(&call->request->env, &env) != 0) return -1;
    const int rc = call->input.data != nullptr // joined before the request was copied
                       ? 0
                       : flattenarray(&call->input, &call->request->input, TYPE_BYTE);
    if (rc != 0) return rc;
    if (is_asynchronous(call) && async_isasync()) return -1;
    call->env = static_cast<VNTENVptr>(env);
    if ((call->request->flags & FLAG_USEDEFAULTS) != 0 && env == nullptr) call->env = h->env;
    return 0;
}

static int make_output(user_call *call)
{
    call->maxout = call->request->maxout;
    const size_t room = call->maxout > 0 ? static_cast<size_t>(call->maxout) : 1;
    call->output = calloc(room, 1);
    return call->output != nullptr ? 0 : msg2vnt(MESSAGE_NOMEMORY);
}

// Returns 0, or the status of the NAK.
static int prepare(user_call *call, handler_frame *frame)
{
    int status = take_request(call, frame->request);
    if (status == 0) status = take_arguments(call, frame->owner);
    if (status == 0) status = make_output(call);
    if (status == 0 && is_asynchronous(call)) status = asynccall_begin(frame, call->env, nullptr);
    return status;
}

// The function may report more than there is room for.  That much is answered, with zeros where
// it cannot have written.
static bool fit_output(user_call *call)
{
    if (call->outputlen < 0) call->outputlen = 0;
    const int64_t room = call->maxout > 0 ? call->maxout : 1;
    if (call->outputlen <= room) return true;
    void *grown = realloc(call->output, static_cast<size_t>(call->outputlen));
    if (grown == nullptr) return false;
    call->output = grown;
    memset(static_cast<char *>(grown) + room, 0, static_cast<size_t>(call->outputlen - room));
    return true;
}

static int respond(handler_frame *frame, const user_call *call, int32_t status)
{
    vntmsg_USERFUNCTION_RES response = {nullptr, VNTMESSAGEID_USERFUNCTION_RES, status, {}};
    const int rc = message_set_bytearray(&response.output, call->outputlen, call->output);
    if (rc != 0) response.status = msg2vnt(rc);
    frame_respond(frame, &response);
    message_unset_array(&response.output);
    return 0;
}

int vnthandler_VNTMESSAGEID_USERFUNCTION_REQ_run(handler_frame *frame)
{
    handler *h = frame->owner;
    const VNTUSERFUNCTION function = h->userfunction;
    void *data = h->userdata;
    if (function == nullptr) return frame_reject(frame, VNTERR_BAD_ARGUMENT);
    user_call call;
    int32_t status = prepare(&call, frame);
    if (status != 0) return frame_reject(frame, status);
    const synccall sync(is_asynchronous(&call) ? nullptr : h);
    status = function(call.env, call.request->id, call.input.data, call.input.count, call.maxout,
                      &call.outputlen, call.output, data);
    if (is_asynchronous(&call)) asynccall_end(h, call.env);
    if (!fit_output(&call)) return frame_reject(frame, msg2vnt(MESSAGE_NOMEMORY));
    return respond(frame, &call, status);
}

} // namespace vnt
