// serve.h: serves one request, from its receipt to its answer.
//
// Threads: the one that receives on the transport.
//
// Errors: a broken connection is fatal: a level-1 log line, then abort().

#pragma once

#include "remote/handler/handler.h"

namespace vnt {

// Receives a message, calls `received` unless that is null, and has the handler serve the message.
// Returns false for a terminate message, which does not go to the handler.
bool request_serve(transport *t, handler *h, void (*received)(uint32_t id));

} // namespace vnt
