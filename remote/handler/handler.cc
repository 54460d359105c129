#include "remote/handler/handler.h"

#include "remote/base/holders.h"
#include "remote/base/log.h"
#include "remote/handler/registry.h"

#include <cstdlib>
#include <iterator>
#include <new>

namespace vnt {

// The requests that are no call of the solver.
#define CONTROL_REQUESTS(ROW)                                                                      \
    ROW(GETRES)                                                                                    \
    ROW(ASYNCTEST_REQ)                                                                             \
    ROW(ASYNCKILL_REQ)                                                                             \
    ROW(PROBINFO_REQ)                                                                              \
    ROW(OPENVANTO_REQ)                                                                             \
    ROW(CLOSEVANTO_REQ)                                                                            \
    ROW(USERFUNCTION_REQ)                                                                          \
    ROW(DISCONNECT_REQ)                                                                            \
    ROW(RECONNECT_REQ)                                                                             \
    ROW(EASYNCLIMITS_REQ)                                                                          \
    ROW(EASYNCCONTINUE_REQ)                                                                        \
    ROW(EASYNCTERMINATE_REQ)                                                                       \
    ROW(EASYNCMIPPROGRESS_REQ)                                                                     \
    ROW(EASYNCMIPINJECT_REQ)

#define DECLARE(name) int vnthandler_VNTMESSAGEID_##name##_run(handler_frame *frame);
CONTROL_REQUESTS(DECLARE)
#undef DECLARE
#define SOLVER_CALL(name, ...) int vnthandler_VNTMESSAGEID_##name##_REQ_run(handler_frame *frame);
#include "remote/calls/solvercalls.def"

struct handler_action {
    uint32_t id;
    uint16_t flags_at; // offset of the request's flags, 0 for a request without
    int (*run)(handler_frame *frame);
};

template <class request> constexpr uint16_t flags_at()
{
    if constexpr (requires(request r) { r.flags; }) return offsetof(request, flags);
    return 0;
}

static handler_action vnthandler_actions[] = {
#define ROW(name)                                                                                  \
    {VNTMESSAGEID_##name, flags_at<vntmsg_##name>(), vnthandler_VNTMESSAGEID_##name##_run},
    CONTROL_REQUESTS(ROW)
#define SOLVER_CALL(name, ...) ROW(name##_REQ)
#include "remote/calls/solvercalls.def"
#undef ROW
};
static_assert(std::size(vnthandler_actions) == 444, "the number of requests has changed");

static int vnthandler_sort(const void *a, const void *b)
{
    return static_cast<int>(static_cast<const handler_action *>(a)->id -
                            static_cast<const handler_action *>(b)->id);
}

static void sort_actions(void)
{
    static pthread_mutex_t sort_lock = PTHREAD_MUTEX_INITIALIZER;
    static bool sorted;
    const mutex_holder hold(&sort_lock);
    if (!sorted)
        qsort(vnthandler_actions, std::size(vnthandler_actions), sizeof(handler_action),
              vnthandler_sort);
    sorted = true;
}

static const handler_action *find_action(uint32_t id)
{
    const handler_action key = {id, 0, nullptr};
    return static_cast<const handler_action *>(bsearch(&key, vnthandler_actions,
                                                       std::size(vnthandler_actions),
                                                       sizeof(handler_action), vnthandler_sort));
}

bool handler_serves(uint32_t id)
{
    sort_actions();
    return find_action(id) != nullptr;
}

static int vnthandler_handler(handler *h, void *request)
{
    const uint32_t id = message_id(request);
    const handler_action *action = find_action(id);
    if (action == nullptr) return MESSAGE_UNKNOWN;
    const int32_t message = static_cast<int32_t>(id);
    const int32_t flags = action->flags_at != 0 ? field_at<int32_t>(request, action->flags_at) : 0;
    handler_frame frame = {
        .owner = h,
        .request = request,
        .nak = {nullptr, VNTMESSAGEID_NAK, message, flags, 0},
        .ack = {nullptr, VNTMESSAGEID_ACK, message, flags, 0},
    };
    return action->run(&frame);
}

int frame_reject(handler_frame *frame, int32_t status)
{
    frame->nak.status = status;
    frame_respond(frame, &frame->nak);
    return status == -1 ? -1 : 0;
}

int frame_lacking(handler_frame *frame, const char *function)
{
    log_line(LOG_ERROR, "The solver has no function %s\n", function);
    return frame_reject(frame, msg2vnt(MESSAGE_UNKNOWN));
}

void answer_send(handler *h, const void *answer)
{
    int rc = info_queue_failure(&h->info);
    if (rc == 0) rc = h->io->ops.sendmsg(h->io, answer);
    if (rc != 0) log_fatal("Failed to send message: %d\n", rc);
}

int frame_respond(handler_frame *frame, const void *response)
{
    flushinfo(&frame->owner->info);
    answer_send(frame->owner, response);
    return 0;
}

static void send_unknown(transport *t, uint32_t id)
{
    const vntmsg_UNKNOWN unknown = {nullptr, VNTMESSAGEID_UNKNOWN, static_cast<int32_t>(id)};
    const int rc = t->ops.sendmsg(t, &unknown);
    if (rc != 0) log_fatal("Failed to send message: %d\n", rc);
}

bool request_serve(transport *t, handler *h, void (*received)(uint32_t id))
{
    void *message = nullptr;
    const int rc = t->ops.recvmsg(t, &message);
    // A limit of memory is the administrator's to raise, so it is named.
    if (rc == MESSAGE_NOMEMORY) log_line(LOG_ERROR, "Out of memory for a message\n");
    if (rc != 0) log_fatal("Failed to receive message: %d\n", rc);
    // Afterwards the message may be gone: the handler may have received others, or have woken the
    // thread that does.
    const uint32_t id = message_id(message);
    if (received != nullptr) received(id);
    if (id == VNTMESSAGEID_TERMINATE) return false;
    // It is meant that a rejected request is answered twice, by its NAK and here, and one that the
    // handler does not know not at all: callers rely on both.
    if (h->ops.handle(h, message) == -1) send_unknown(t, id);
    return true;
}

// The parts of a handler in the order of their creation.  They are destroyed in reverse order.
struct handler_part {
    int (*make)(handler *h); // 0 or an error code
    void (*unmake)(handler *h);
};

static const handler_part parts[] = {
    {[](handler *h) { return info_queue_create(&h->info, h->io, &h->poll); },
     [](handler *h) { info_queue_destroy(&h->info); }},
    {[](handler *h) { return solverpoll_create(&h->poll); },
     [](handler *h) { solverpoll_destroy(&h->poll); }},
    {[](handler *h) { return pausegate_create(&h->gate); },
     [](handler *h) { pausegate_destroy(&h->gate); }},
    {[](handler *h) { return mipprogress_create(&h->progress); },
     [](handler *h) { mipprogress_destroy(&h->progress); }},
};

static void unmake_parts(handler *h, size_t made)
{
    while (made > 0)
        parts[--made].unmake(h);
}

static int make_parts(handler *h)
{
    for (size_t made = 0; made < std::size(parts); made++) {
        const int rc = parts[made].make(h);
        if (rc == 0) continue;
        unmake_parts(h, made);
        return rc;
    }
    return 0;
}

// Does not close an open environment or send queued info: the process ends.
static void vnthandler_destroy(handler *h)
{
    env2handler_forget(h);
    env2handler_release();
    unmake_parts(h, std::size(parts));
    delete h;
}

static int vnthandler_create(handler **out, transport *io)
{
    *out = nullptr;
    sort_actions();
    int rc = env2handler_hold();
    if (rc != 0) return rc;
    auto *h = new (std::nothrow) handler{};
    if (h != nullptr) h->io = io;
    rc = h != nullptr ? make_parts(h) : MESSAGE_NOMEMORY;
    if (rc != 0) {
        delete h;
        env2handler_release();
        return rc;
    }
    h->ops = {.handle = vnthandler_handler, .destroy = vnthandler_destroy};
    *out = h;
    return 0;
}

static constexpr handler_factory VNTHANDLER_FACTORY = {.create = vnthandler_create, .reserved = {}};

const handler_factory *vntmsg_getfactory(void)
{
    sort_actions();
    return &VNTHANDLER_FACTORY;
}

} // namespace vnt
