// containers.h: the strings, arrays, solver objects and files that messages carry.
//
// Ownership: a container filled by a message_set operation borrows the caller's memory and is
// released by the matching message_unset.  One filled by a stream or by a message_copy operation
// owns its memory and is released by the matching message_uncopy.  A container does not record
// which of the two it is: the code that filled it knows.
//
// The strings of a chunk that owns its memory share one block.  At its beginning lies the first
// string that has bytes.
//
// Threads: a container is one thread's at a time.
//
// Errors: 0 or a code of errors.h.  A failing operation leaves the container clear and nothing
// allocated.

#pragma once

#include "remote/message/errors.h"

#include <cstddef>
#include <cstdint>

namespace vnt {

struct message_string {
    uint32_t present; // nonzero when a string is there
    uint32_t length;  // bytes at data; counts the terminating zero where there is one
    char *data;
    uint64_t reserved; // always 0
};

struct message_chunk {
    uint32_t count; // elements
    void *data;     // in host order
};

struct message_array {
    int64_t total; // elements in all chunks
    uint32_t type; // message_type
    uint32_t nchunks;
    message_chunk *chunks;
    message_chunk inlinechunk; // where chunks points when one chunk is enough
};

// A read-only mapping that a file's contents point into.
struct message_mapping {
    int32_t fd;
    uint64_t length; // bytes
    void *address;
};

struct message_file {
    message_string name;
    message_array contents; // of TYPE_BYTE
    message_mapping *mapping;
};

// Element types.  The numbers travel on the wire.
enum message_type : uint32_t {
    TYPE_NONE = 0, // no array
    TYPE_BYTE = 1,
    TYPE_SHORT = 2,
    TYPE_INT = 3,
    TYPE_LONG = 4,
    TYPE_UBYTE = 5,
    TYPE_USHORT = 6,
    TYPE_UINT = 7,
    TYPE_ULONG = 8,
    TYPE_FLOAT = 9,
    TYPE_DOUBLE = 10,
    TYPE_STRING = 11,
    TYPE_LAST = TYPE_STRING
};

// A chunk's count is 32 bits wide: longer arrays are split.
constexpr int64_t MESSAGE_CHUNK_MAX = 4294967295;

// Zero bytes behind every owned string and byte block, so that text without a terminator is never
// read past its end.
constexpr size_t MESSAGE_SPARE = 4;

// Bytes of an element in memory; 0 for types that hold none.
size_t message_element_size(uint32_t type);

// Counts the bytes that a string takes in a message.  Callers derive from it to add their own data.
struct message_strlen {
    uint32_t (*length)(const message_strlen *self, const char *text);
};

// Points `a` at `count` elements of `type` at `data`.  For TYPE_STRING data is a table of pointers
// to strings, measured by `len`; null pointers become absent strings.  A negative count is 0; a
// null `data` gives a null array whatever the type.
// Errors: NOMEMORY, INVALID for a type outside 1 to 11.
int message_set_anyarray(message_array *a, int64_t count, uint32_t type, const void *data,
                         const message_strlen *len);
int message_set_bytearray(message_array *a, int64_t count, const void *data);
void message_unset_array(message_array *a);

// A solver object travels as an array of 16 bytes: the worker's pointer in its own byte order, then
// zeros.  The calling side keeps the bytes and sends them back.  An absent object is a null array.
// The first points `a` at `bytes`, which it fills; null gives a null array.  The second returns
// INVALID for anything but an absent array or 16 bytes of TYPE_BYTE in one chunk.
void handle_put(message_array *a, char (&bytes)[16], const void *object);
int handle_take(const message_array *a, void **object);

// Maps the file at `path` for reading.  The path is borrowed; null gives a file without a name.
// Errors: NOMEMORY, OPEN, IO when its size is unknown, NOCONNECTION when it cannot be mapped, as an
// empty file cannot, INVALID for too long a path.
int message_set_file(message_file *f, const char *path);
void message_unset_file(message_file *f);

// Deep copies.  Errors: NOMEMORY, INVALID for a null source.
int message_copy_string(message_string *to, const message_string *from);
int message_copy_array(message_array *to, const message_array *from);
int message_copy_file(message_file *to, const message_file *from);

// Release a copy, or what a stream has filled, and clear it.  Null is ignored.
void message_uncopy_string(message_string *s);
void message_uncopy_array(message_array *a);
void message_uncopy_file(message_file *f);

} // namespace vnt
