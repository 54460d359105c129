// serializer.h: appends values to one growing block of bytes, big-endian.
//
// Ownership: the serializer owns its buffer; serializer_release frees it.
//
// Threads: one at a time.
//
// Errors: 0, or VNTERR_NO_MEMORY, after which the buffer is as it was.

#pragma once

#include <cstdint>

namespace vnt {

struct serializer;

// In slot order.  A count below 1 adds nothing.
struct serializer_operations {
    int (*serializeraddbyte)(serializer *s, int8_t value);
    int (*serializeraddshort)(serializer *s, int16_t value);
    int (*serializeraddint)(serializer *s, int32_t value);
    int (*serializeraddlong)(serializer *s, int64_t value);
    int (*serializeraddfloat)(serializer *s, float value);
    int (*serializeradddouble)(serializer *s, double value);
    int (*serializeraddbytes)(serializer *s, int64_t count, const int8_t *values);
    int (*serializeraddshorts)(serializer *s, int64_t count, const int16_t *values);
    int (*serializeraddints)(serializer *s, int64_t count, const int32_t *values);
    int (*serializeraddlongs)(serializer *s, int64_t count, const int64_t *values);
    int (*serializeraddfloats)(serializer *s, int64_t count, const float *values);
    int (*serializeradddoubles)(serializer *s, int64_t count, const double *values);
};

struct serializer {
    serializer_operations ops;
    unsigned char *buffer; // null until something is added or room was asked for
    uint64_t used;         // bytes
    uint64_t capacity;     // bytes
};

// Makes an empty serializer with room for `room` bytes; 0 leaves the buffer to the first value.
int serializer_init(serializer *s, uint64_t room);
void serializer_release(serializer *s);

} // namespace vnt
