#include "remote/handler/info.h"

#include "remote/base/entry.h"
#include "remote/base/holders.h"
#include "remote/handler/handler.h"
#include "remote/handler/registry.h"
#include "vanto_remote.h"

#include <cstdlib>

namespace vnt {

// A queued message, with its own copy of the text or the array.
struct info_message {
    info_message *next;
    union {
        vntmsg_CHANNEL channel;
        vntmsg_INFO info;
    } message;
};

static void info_destroy(info_message *queued)
{
    if (message_id(&queued->message) == VNTMESSAGEID_CHANNEL)
        message_uncopy_string(&queued->message.channel.message);
    else
        message_uncopy_array(&queued->message.info.data);
    free(queued);
}

static int copy_channel(info_message *to, const vntmsg_CHANNEL *from)
{
    to->message.channel = *from;
    return message_copy_string(&to->message.channel.message, &from->message);
}

static int copy_info(info_message *to, const vntmsg_INFO *from)
{
    to->message.info = *from;
    return message_copy_array(&to->message.info.data, &from->data);
}

// Errors: a solver status.
static int info_create(info_message **out, const void *message)
{
    *out = nullptr;
    auto *queued = static_cast<info_message *>(calloc(1, sizeof(info_message)));
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

int info_queue_create(info_queue *q, transport *io, const solver_poll *poll)
{
    if (pthread_mutex_init(&q->lock, nullptr) != 0) return MESSAGE_LOCK;
    q->io = io;
    q->poll = poll;
    for (int32_t i = 0; i < 4; i++)
        q->channels[i] = {q, i};
    return 0;
}

static info_message *pop(info_queue *q)
{
    info_message *first = q->head;
    q->head = first->next;
    if (q->head == nullptr) q->tail = nullptr;
    return first;
}

static void append(info_queue *q, info_message *queued)
{
    if (q->tail != nullptr)
        q->tail->next = queued;
    else
        q->head = queued;
    q->tail = queued;
}

void info_queue_destroy(info_queue *q)
{
    while (q->head != nullptr)
        info_destroy(pop(q));
    pthread_mutex_destroy(&q->lock);
}

// With the info lock held.
static int send(info_queue *q, const void *message)
{
    const int rc = q->io->ops.sendmsg(q->io, message);
    if (q->failure == 0) q->failure = rc;
    return rc;
}

// With the info lock held.
static void send_queue(info_queue *q)
{
    while (q->hold == 0 && q->head != nullptr) {
        info_message *first = pop(q);
        send(q, &first->message);
        info_destroy(first);
    }
}

void flushinfo(info_queue *q)
{
    const mutex_holder held(&q->lock);
    send_queue(q);
}

int info_queue_failure(info_queue *q)
{
    const mutex_holder held(&q->lock);
    return q->failure;
}

void info_queue_owe(info_queue *q)
{
    const mutex_holder held(&q->lock);
    send_queue(q);
    q->pending++;
}

void info_queue_settle(info_queue *q)
{
    const mutex_holder held(&q->lock);
    q->pending--;
    send_queue(q);
}

bool info_queue_hold(info_queue *q)
{
    const mutex_holder held(&q->lock);
    if (q->hold != 0) return false;
    send_queue(q);
    q->hold++;
    return true;
}

bool info_queue_release(info_queue *q)
{
    const mutex_holder held(&q->lock);
    if (q->hold == 0) return false;
    q->hold--;
    return true;
}

// With the info lock held.  While a result is owed the caller expects nothing else, and where the
// solver polls, its other threads must not write.
static bool may_send(const info_queue *q)
{
    return q->pending == 0 && !solverpoll_excludes(q->poll);
}

// With the info lock held.
static int send_or_queue(info_queue *q, const void *message)
{
    const bool may = may_send(q);
    if (may && q->hold == 0 && q->head == nullptr) return send(q, message);
    info_message *queued;
    const int status = info_create(&queued, message);
    if (status != 0) return status;
    append(q, queued);
    if (may) send_queue(q);
    return 0;
}

int enqueueinfo(info_queue *q, const void *message)
{
    const uint32_t id = message_id(message);
    if (id != VNTMESSAGEID_CHANNEL && id != VNTMESSAGEID_INFO) return -1;
    const mutex_holder held(&q->lock);
    return send_or_queue(q, message);
}

void channelcallback(void *channel, const char *text)
{
    const auto *from = static_cast<const info_channel *>(channel);
    if (!from->queue->forwarding) return;
    vntmsg_CHANNEL message = {nullptr, VNTMESSAGEID_CHANNEL, from->number, {}};
    if (text != nullptr)
        message.message = {.present = 1,
                           .length = static_cast<uint32_t>(strlen(text) + 1), // with its zero
                           .data = const_cast<char *>(text),
                           .reserved = 0};
    enqueueinfo(from->queue, &message);
}

static int send_info(VNTENVptr env, int32_t tag, int64_t count, uint32_t type, const void *data)
{
    vntmsg_INFO message = {nullptr, VNTMESSAGEID_INFO, 0, tag, {}};
    const int rc = message_set_anyarray(&message.data, count, type, data, nullptr);
    if (rc != 0) return msg2vnt(rc);
    handler *owner = env2handler_find(env);
    const int status = owner != nullptr ? enqueueinfo(&owner->info, &message) : -1;
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
