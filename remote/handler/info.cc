#include "remote/handler/info.h"

#include "remote/base/entry.h"
#include "remote/handler/registry.h"
#include "vanto_remote.h"

#include <cstdlib>

namespace vnt {

// A queued message, with its own copy of the text or the array.
struct handler_info {
    handler_info *next;
    union {
        vntmsg_CHANNEL channel;
        vntmsg_INFO info;
    } message;
};

static void info_destroy(handler_info *queued)
{
    if (message_id(&queued->message) == VNTMESSAGEID_CHANNEL)
        message_uncopy_string(&queued->message.channel.message);
    else
        message_uncopy_array(&queued->message.info.data);
    free(queued);
}

static int copy_channel(handler_info *to, const vntmsg_CHANNEL *from)
{
    to->message.channel = *from;
    return message_copy_string(&to->message.channel.message, &from->message);
}

static int copy_info(handler_info *to, const vntmsg_INFO *from)
{
    to->message.info = *from;
    return message_copy_array(&to->message.info.data, &from->data);
}

// Errors: a solver status.
static int info_create(handler_info **out, const void *message)
{
    *out = nullptr;
    auto *queued = static_cast<handler_info *>(calloc(1, sizeof(handler_info)));
    if (queued == nullptr) return msg2vnt(MESSAGE_NOMEMORY);
    int rc;
    if (message_id(message) == VNTMESSAGEID_CHANNEL)
        rc = copy_channel(queued, static_cast<const vntmsg_CHANNEL *>(message));
    else
        rc = copy_info(queued, static_cast<const vntmsg_INFO *>(message));
    if (rc != 0) {
        free(queued);
        return msg2vnt(rc);
    }
    *out = queued;
    return 0;
}

static handler_info *detach(handler *h)
{
    handler_info *first = h->infohead;
    h->infohead = h->infotail = nullptr;
    return first;
}

static void append(handler *h, handler_info *queued)
{
    if (h->infotail != nullptr)
        h->infotail->next = queued;
    else
        h->infohead = queued;
    h->infotail = queued;
}

// With the info lock held.
static void send_queue(handler *h)
{
    if (h->hold != 0) return;
    for (handler_info *queued = detach(h); queued != nullptr;) {
        handler_info *next = queued->next;
        h->io->ops.sendmsg(h->io, &queued->message);
        info_destroy(queued);
        queued = next;
    }
}

int flushinfo(handler *h, bool locked)
{
    if (!locked) pthread_mutex_lock(&h->infolock);
    send_queue(h);
    if (!locked) pthread_mutex_unlock(&h->infolock);
    return 0;
}

void discardinfo(handler *h)
{
    for (handler_info *queued = detach(h); queued != nullptr;) {
        handler_info *next = queued->next;
        info_destroy(queued);
        queued = next;
    }
}

// Whether the calling thread may write to the transport now: nobody waits for a result, and where
// the solver polls, the thread is the one that does.
static bool may_send(handler *h)
{
    if (h->pending != 0) return false;
    return cell_get(h->ownercheck) == 0 ||
           pthread_equal(cell_get(h->ownerthread), pthread_self()) != 0;
}

// With the info lock held.
static int send_or_queue(handler *h, const void *message)
{
    const bool may = may_send(h);
    if (may && h->hold == 0 && h->infohead == nullptr) return h->io->ops.sendmsg(h->io, message);
    handler_info *queued;
    const int status = info_create(&queued, message);
    if (status != 0) return status;
    append(h, queued);
    if (may) send_queue(h);
    return 0;
}

int enqueueinfo(handler *h, const void *message)
{
    const uint32_t id = message_id(message);
    if (id != VNTMESSAGEID_CHANNEL && id != VNTMESSAGEID_INFO) return -1;
    pthread_mutex_lock(&h->infolock);
    const int status = send_or_queue(h, message);
    pthread_mutex_unlock(&h->infolock);
    return status;
}

void channelcallback(void *channel, const char *text)
{
    const auto *from = static_cast<const handler_channel *>(channel);
    if (cell_get(from->owner->channelsenabled) == 0) return;
    vntmsg_CHANNEL message = {nullptr, VNTMESSAGEID_CHANNEL, from->number, {}};
    if (text != nullptr)
        message.message = {.present = 1,
                           .length = static_cast<uint32_t>(strlen(text) + 1), // with its zero
                           .data = const_cast<char *>(text),
                           .reserved = 0};
    enqueueinfo(from->owner, &message);
}

static int send_info(VNTENVptr env, int32_t tag, int64_t count, uint32_t type, const void *data)
{
    vntmsg_INFO message = {nullptr, VNTMESSAGEID_INFO, 0, tag, {}};
    const int rc = message_set_anyarray(&message.data, count, type, data, nullptr);
    if (rc != 0) return msg2vnt(rc);
    handler *owner = env2handler_find(env);
    const int status = owner != nullptr ? enqueueinfo(owner, &message) : -1;
    message_unset_array(&message.data);
    return status;
}

// Each kind of element has an entry point under each of the solver's three families of names.
#define SENDINFO(function, element, type)                                                          \
    VNT_ENTRY int function(VNTENVptr env, int32_t tag, int64_t count, const element *data)         \
    {                                                                                              \
        return send_info(env, tag, count, type, data);                                             \
    }
#define SENDINFO_FAMILIES(suffix, element, type)                                                   \
    SENDINFO(VNTsendinfo##suffix, element, type)                                                   \
    SENDINFO(VNTSsendinfo##suffix, element, type)                                                  \
    SENDINFO(VNTLsendinfo##suffix, element, type)
SENDINFO_FAMILIES(byte, int8_t, TYPE_BYTE)
SENDINFO_FAMILIES(short, int16_t, TYPE_SHORT)
SENDINFO_FAMILIES(int, int32_t, TYPE_INT)
SENDINFO_FAMILIES(long, int64_t, TYPE_LONG)
SENDINFO_FAMILIES(double, double, TYPE_DOUBLE)

} // namespace vnt
