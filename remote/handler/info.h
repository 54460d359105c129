// info.h: messages to the caller ahead of a response: the solver's channel texts, and values that
// code in the worker sends.
//
// A message is sent at once if it cannot overtake another; else it is queued and sent, in order, at
// the next flush.  Every run function flushes before it responds.  While the caller is away
// everything is queued.
//
// Ownership: a part of the handler; the queue owns deep copies of what is sent later.
//
// Threads: any.  The info lock guards the queue and its counts.  It is held while queued messages
// are sent, so that nothing overtakes them or follows the answer to a disconnect; only the
// transport's own locks are taken under it.
//
// Errors: the exported functions return 0, a solver status, or -1 when no handler has opened the
// environment.

#pragma once

#include "remote/handler/solverpoll.h"

namespace vnt {

struct info_queue;
struct info_message; // a queued CHANNEL or INFO message

// What the solver gets as user data of one of its message channels.
struct info_channel {
    info_queue *queue;
    int32_t number; // 0 results, 1 warnings, 2 errors, 3 log
};

struct info_queue {
    pthread_mutex_t lock;
    info_message *head;
    info_message *tail;
    int32_t pending; // asynchronous results not fetched yet
    int32_t hold;    // nonzero while the caller is away
    int failure;     // the first code of the transport that was not 0
    transport *io;
    const solver_poll *poll;
    info_channel channels[4];
    std::atomic<bool> forwarding; // of the channels
};

// Both outlive the queue.  Errors: LOCK.
int info_queue_create(info_queue *q, transport *io, const solver_poll *poll);

// Frees what is queued without sending it.
void info_queue_destroy(info_queue *q);

// Sends or queues a CHANNEL or an INFO message.  Returns 0, the transport's code, a solver status,
// or -1 for any other message.
int enqueueinfo(info_queue *q, const void *message);

// Sends what is queued, unless the caller is away.  Failures to send are ignored.
void flushinfo(info_queue *q);

// The first failure to send, or 0.  After one, part of a message may have been sent.
int info_queue_failure(info_queue *q);

// Flush, and count the asynchronous results that are owed.  Info is queued until they are fetched.
void info_queue_owe(info_queue *q);
void info_queue_settle(info_queue *q);

// The caller leaves, which flushes the queue, or is back.  False if that was so before.
bool info_queue_hold(info_queue *q);
bool info_queue_release(info_queue *q);

// What the solver calls with the text of a channel; `channel` is an info_channel.
void channelcallback(void *channel, const char *text);

} // namespace vnt
