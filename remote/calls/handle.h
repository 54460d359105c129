// handle.h: solver objects in messages: the worker's pointer in 16 bytes.
//
// The first 8 bytes are the pointer in the worker's byte order, the others zero.  The calling side
// keeps the bytes and sends them back.  An absent object is a null array.
//
// Threads: any.

#pragma once

#include "remote/message/containers.h"

namespace vnt {

// Reads a solver object from a message; null for an absent array.  INVALID for anything but an
// absent array or 16 bytes of TYPE_BYTE in one chunk.
int handle_take(const message_array *a, void **object);

// Points `a` at `bytes`, filled with the object's value; null gives a null array.
void handle_put(message_array *a, char (&bytes)[16], const void *object);

} // namespace vnt
