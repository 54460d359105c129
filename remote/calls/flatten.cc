#include "remote/calls/flatten.h"

#include "vanto.h"

#include <cstdlib>
#include <cstring>

namespace vnt {

// What an empty array points at: it is there, so it must not be null.
static char empty[sizeof(double)];

// Whether the chunks make up the total.
static bool array_whole(const message_array *a)
{
    int64_t sum = 0;
    for (uint32_t i = 0; i < a->nchunks; i++)
        sum += a->chunks[i].count;
    return sum == a->total;
}

static void *join_chunks(const message_array *a, size_t element_size)
{
    size_t size;
    if (__builtin_mul_overflow(static_cast<size_t>(a->total), element_size, &size) ||
        size > SIZE_MAX - MESSAGE_SPARE)
        return nullptr;
    char *block = static_cast<char *>(malloc(size + MESSAGE_SPARE));
    if (block == nullptr) return nullptr;
    char *end = block;
    for (uint32_t i = 0; i < a->nchunks; i++) {
        size_t bytes = a->chunks[i].count * element_size;
        if (bytes > 0) memcpy(end, a->chunks[i].data, bytes);
        end += bytes;
    }
    memset(end, 0, MESSAGE_SPARE);
    return block;
}

int flattenarray(flat_array *out, const message_array *a, uint32_t type)
{
    *out = {};
    if (a->type == TYPE_NONE) return 0;
    if (a->type != type || a->total < 0 || !array_whole(a)) return -1;
    out->count = a->total;
    if (a->total == 0) {
        out->data = empty;
    } else if (a->nchunks == 1) {
        out->data = a->chunks[0].data;
    } else {
        out->data = join_chunks(a, message_element_size(type));
        out->owned = true;
        if (out->data == nullptr) {
            *out = {};
            return VNTERR_NO_MEMORY;
        }
    }
    return 0;
}

int alloccopychararray(char **buffer, bool *owned, const message_array *a)
{
    flat_array flat;
    int rc = flattenarray(&flat, a, TYPE_BYTE);
    *buffer = static_cast<char *>(flat.data);
    *owned = flat.owned;
    return rc;
}

char *string_text(const message_string *s)
{
    if (!s->present) return nullptr;
    return s->data != nullptr ? s->data : empty;
}

int getargSTRINGARRAY(string_table *out, const message_array *a)
{
    *out = {};
    if (a->type == TYPE_NONE) return 0;
    if (a->type != TYPE_STRING) return -1;
    if (a->total < 1) return 0;
    if (!array_whole(a)) return -1;
    out->pointers = static_cast<char **>(calloc(static_cast<size_t>(a->total), sizeof(char *)));
    if (out->pointers == nullptr) return VNTERR_NO_MEMORY;
    out->owned = true;
    for (uint32_t i = 0; i < a->nchunks; i++) {
        const message_string *strings = static_cast<const message_string *>(a->chunks[i].data);
        for (uint32_t j = 0; j < a->chunks[i].count; j++)
            out->pointers[out->count++] = string_text(&strings[j]);
    }
    return 0;
}

// The offset behind the first run of `step` zero bytes at a multiple of `step`.
static int64_t wide_length(const char *buffer, int64_t length, int64_t step)
{
    for (int64_t at = 0; at + step <= length; at += step)
        if (memcmp(buffer + at, empty, static_cast<size_t>(step)) == 0) return at + step;
    return length;
}

int64_t vntstrleninbytes(int width, const char *buffer, int64_t length)
{
    switch (width) {
    case 0: {
        const void *end = length > 0 ? memchr(buffer, 0, static_cast<size_t>(length)) : nullptr;
        return end != nullptr ? static_cast<const char *>(end) - buffer + 1 : length;
    }
    case 1: return wide_length(buffer, length, 2);
    case 2: return wide_length(buffer, length, 4);
    default: return 0;
    }
}

uint32_t encoded_strlen(const message_strlen *self, const char *text)
{
    const encoded_strings *strings = reinterpret_cast<const encoded_strings *>(self);
    int64_t limit = UINT32_MAX;
    uintptr_t offset =
        reinterpret_cast<uintptr_t>(text) - reinterpret_cast<uintptr_t>(strings->store);
    if (strings->store != nullptr && offset < static_cast<uintptr_t>(strings->space))
        limit = strings->space - static_cast<int64_t>(offset);
    if (limit > UINT32_MAX) limit = UINT32_MAX;
    return static_cast<uint32_t>(vntstrleninbytes(strings->width, text, limit));
}

} // namespace vnt
