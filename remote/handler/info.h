// info.h: what flows back to the caller ahead of a response: the solver's channels and values
// that code in the worker sends.
//
// A message is sent at once where it cannot overtake anything; else it is queued and leaves, in
// order, at the next flush.  Every run function flushes before it responds.  While the caller is
// away (hold) everything is queued.
//
// Ownership: the queue owns deep copies of what is sent later.
//
// Threads: any.  The info lock guards the queue and is held while queued messages are sent, so
// that nothing overtakes them and nothing leaves behind the answer to a disconnect.
//
// Errors: the exported functions return 0, a solver status, or -1 when no handler has opened the
// environment.

#pragma once

#include "remote/handler/handler.h"

namespace vnt {

// Sends or queues a CHANNEL or an INFO message.  Returns 0, the transport's code, a solver status,
// or -1 for any other message.
int enqueueinfo(handler *h, const void *message);

// Sends what is queued, unless the caller is away.  Failures to send are ignored.  Returns 0.
int flushinfo(handler *h, bool locked);

// Frees what is queued without sending it.
void discardinfo(handler *h);

// What the solver calls with the text of a channel; `channel` is a handler_channel.
void channelcallback(void *channel, const char *text);

} // namespace vnt
