// messages.h: the messages that a worker sends without a request: channel texts and info.
//
// Threads: one at a time uses an environment.  The handlers run on the thread that receives.

#pragma once

#include "client/environment.h"

namespace vnt {

// The handlers with which the calling thread's environments are made.
extern thread_local client_handlers client_default_handlers;

// Passes a channel text or info to its handler.
void client_dispatch(client_env *e, const void *message);

// Sends a text of the library itself to the solver's error channel.
void client_complain(client_env *e, const char *text);

// Makes the worker send channel texts, unless it does already.
int client_channels_enable(client_env *e);

} // namespace vnt
