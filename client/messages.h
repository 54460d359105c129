// messages.h: what a worker sends unasked: texts of the message channels, and info.
//
// Threads: one at a time uses an environment.  The handlers run on the thread that receives.

#pragma once

#include "client/environment.h"

namespace vnt {

// The handlers with which the calling thread's environments are made.
extern thread_local client_handlers client_default_handlers;

// Hands a message on that arrived before the awaited one, when it is info or a channel text.
// Returns whether it was one to be passed over.
bool client_dispatch(client_env *e, const void *message);

// Sends a text of the library's own where the errors of the solver go.
void client_complain(client_env *e, const char *text);

// Makes the worker send channel texts, unless it does already.
int client_channels_enable(client_env *e);

} // namespace vnt
