// handles.h: what the calling side hands out as environments, problems, networks and channels.
//
// A handle is a number in the shape of a pointer, never an address: it names a slot of one table
// and how often that slot had been used before.  So a freed handle stays unknown for good, also
// when its slot serves again, and the address of anything else is no handle.
//
// Ownership: the table owns its slots; an environment's record is its opener's.
//
// Threads: any.  The table has one lock, a leaf, held for a look-up.

#pragma once

#include "remote/calls/handle.h"

namespace vnt {

struct client_env;

enum client_kind : uint8_t {
    CLIENT_NONE,
    CLIENT_ENV,
    CLIENT_LP,
    CLIENT_NET,
    CLIENT_CHANNEL // remote is its number, 0 to 3
};

// An object of a worker.
struct client_object {
    client_kind kind;
    client_env *env; // the environment it belongs to
    uint64_t remote; // its value in the worker
    uint64_t serial; // rises with every object made
    void *handle;
};

// Makes a handle.  Null when memory fails.
void *client_handle_add(client_kind kind, client_env *env, uint64_t remote);

// Finds the live object behind a handle.  Returns whether there is one of that kind.
bool client_handle_find(const void *handle, client_kind kind, client_object *object);

void client_handle_forget(const void *handle);
void client_handles_forget(const client_env *env);

// Copies the objects of an environment, its own handle left out, oldest first.  Returns how many
// there are; with less space the first so many places of the table are listed.
size_t client_handles_list(const client_env *env, client_object *objects, size_t space);

// Finds the environment's oldest object of a kind that is younger than `serial`.  Returns whether
// there is one.
bool client_handle_next(const client_env *env, client_kind kind, uint64_t serial,
                        client_object *object);

// The handle under which an environment's object is known, null when it is not.
void *client_handle_known(const client_env *env, client_kind kind, uint64_t remote);

// Lends a worker's value to a message: 16 bytes at `bytes`, or a null array for 0.
inline void client_value_put(message_array *a, char (&bytes)[16], uint64_t remote)
{
    handle_put(a, bytes, reinterpret_cast<const void *>(remote));
}

// Reads a worker's value out of a message.  0 for a null array or anything that is not a handle.
inline uint64_t client_value_take(const message_array *a)
{
    void *object;
    return handle_take(a, &object) == 0 ? reinterpret_cast<uint64_t>(object) : 0;
}

} // namespace vnt
