// serve.h: one request, from its receipt to its answer.
//
// Threads: the one that receives on the transport.
//
// Errors: a broken connection is fatal: a level-1 log line, then abort().

#pragma once

#include "remote/handler/handler.h"

namespace vnt {

// Receives a message and has the handler serve it; calls `received`, unless null, in between.
// False for a terminate message, which no handler gets.
bool request_serve(transport *t, handler *h, void (*received)(uint32_t id));

} // namespace vnt
