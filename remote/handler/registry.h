// registry.h: finds the handler that owns an environment.
//
// Code that runs inside a worker knows only its environment; the exported functions find the
// handler by it.
//
// Ownership: the registry owns neither environments nor handlers.
//
// Threads: any, under the registry's lock, which exists as long as a handler does.

#pragma once

#include "vanto.h"

namespace vnt {

struct handler;

// Count the handlers of the process: the first creates the registry's lock, the last destroys it.
// Errors: LOCK.
int env2handler_hold(void);
void env2handler_release(void);

// Errors: NOMEMORY.
int env2handler_add(VNTENVptr env, handler *h);

// Unknown environments are ignored.
void env2handler_remove(VNTENVptr env);

// Removes all entries of `h`.
void env2handler_forget(const handler *h);

// Null when no handler has opened the environment.
handler *env2handler_find(VNTENVptr env);

} // namespace vnt
