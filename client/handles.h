// handles.h: the handles of environments, problems, networks and channels.
//
// A handle is not an address but a number with the type of a pointer: it contains a slot of a table
// and how often that slot was used.  So a freed handle stays invalid even after its slot is reused,
// and no address is a valid handle.
//
// Ownership: the table owns its slots; the opener of an environment owns its record.
//
// Threads: any.  The table has one lock, under which no other is taken.

#pragma once

#include "remote/message/containers.h"

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

// Copies the objects of an environment except its own handle, oldest first.  Returns how many there
// are; with less space it copies those in the lowest slots.
size_t client_handles_list(const client_env *env, client_object *objects, size_t space);

// Finds the environment's oldest object of a kind that is younger than `serial`.  Returns whether
// there is one.
bool client_handle_next(const client_env *env, client_kind kind, uint64_t serial,
                        client_object *object);

// The handle of an environment's object with this value; null if there is none.
void *client_handle_known(const client_env *env, client_kind kind, uint64_t remote);

// Puts a worker's value into a message: 16 bytes at `bytes`, or a null array for 0.
inline void client_value_put(message_array *a, char (&bytes)[16], uint64_t remote)
{
    handle_put(a, bytes, reinterpret_cast<const void *>(remote));
}

// Reads a worker's value from a message; 0 for a null array or anything that is not a handle.
inline uint64_t client_value_take(const message_array *a)
{
    void *object;
    return handle_take(a, &object) == 0 ? reinterpret_cast<uint64_t>(object) : 0;
}

} // namespace vnt
