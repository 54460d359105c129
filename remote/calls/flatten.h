// flatten.h: request arrays in the shape that the solver takes, and strings measured the way it
// ends them.
//
// An array of a message lies in chunks; the solver wants one block.  One chunk is used where it
// lies, several are copied together.
//
// Ownership: what a function here marks as owned is freed by the caller, and only that.  All else
// points into the message.
//
// Threads: any.
//
// Errors: 0; -1 for an array that is not what the call takes: of another element type, or with a
// total that its chunks do not make; VNTERR_NO_MEMORY.

#pragma once

#include "remote/message/containers.h"

namespace vnt {

// The elements of an array in one block; null for an absent array, not null for an empty one.
// Copies, bytes of TYPE_BYTE above all, are followed by MESSAGE_SPARE zero bytes.
struct flat_array {
    void *data;
    int64_t count;
    bool owned;
};

int flattenarray(flat_array *out, const message_array *a, uint32_t type);

// The same for bytes.
int alloccopychararray(char **buffer, bool *owned, const message_array *a);

// The strings of an array of strings, null for those absent.  The table alone is owned; an array
// without elements gives none.
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
// the strings lie in.  A string that lies elsewhere is as long as its terminator says.
struct encoded_strings {
    message_strlen base;
    int32_t width;
    const char *store;
    int64_t space; // bytes at store
};

uint32_t encoded_strlen(const message_strlen *self, const char *text);

} // namespace vnt
