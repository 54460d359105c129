// flatten.h: turns arrays of a request into single blocks for the solver, and measures strings by
// the solver's terminator.
//
// An array of a message consists of chunks.  A single chunk is used in place, several are copied
// into one block.
//
// Ownership: the caller frees what is marked as owned.  Everything else points into the message.
//
// Threads: any.
//
// Errors: 0; -1 for an array of another element type or with a total that is not the sum of its
// chunks; VNTERR_NO_MEMORY.

#pragma once

#include "remote/message/containers.h"

namespace vnt {

// The elements of an array in one block; null for an absent array, not null for an empty one.
// A copied block is followed by MESSAGE_SPARE zero bytes.
struct flat_array {
    void *data;
    int64_t count;
    bool owned;
};

int flattenarray(flat_array *out, const message_array *a, uint32_t type);

// The same for bytes.
int alloccopychararray(char **buffer, bool *owned, const message_array *a);

// The strings of an array of strings; null for absent ones.  Only the table is owned; there is none
// for an array without elements.
struct string_table {
    char **pointers;
    int64_t count;
    bool owned;
};

int getargSTRINGARRAY(string_table *out, const message_array *a);

// A string's text, null for an absent string, never null for an empty one.
char *string_text(const message_string *s);

// Bytes that a string takes at `buffer`, its terminator counted, at most `length`.  `width` is the
// solver's code for its terminator: 0, 1 and 2 stand for 1, 2 and 4 zero bytes; any other
// gives 0.
int64_t vntstrleninbytes(int width, const char *buffer, int64_t length);

// For message_set_anyarray: measures each string by the width, up to the end of the store that
// holds the strings.  A string outside the store is measured by its terminator alone.
struct encoded_strings {
    message_strlen base;
    int32_t width;
    const char *store;
    int64_t space; // bytes at store
};

uint32_t encoded_strlen(const message_strlen *self, const char *text);

} // namespace vnt
