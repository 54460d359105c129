#include "remote/handler/serve.h"

#include "remote/base/log.h"

namespace vnt {

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

} // namespace vnt
