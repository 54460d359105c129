#include "remote/message/serializer.h"

#include "remote/base/byteorder.h"
#include "vanto.h"

#include <cstdlib>

namespace vnt {

static constexpr int OUT_OF_MEMORY = VNTERR_NO_MEMORY;
static constexpr uint64_t FIRST_CAPACITY = 1024;

static int resize(serializer *s, uint64_t capacity)
{
    void *grown = realloc(s->buffer, capacity);
    if (grown == nullptr) return OUT_OF_MEMORY;
    s->buffer = static_cast<unsigned char *>(grown);
    s->capacity = capacity;
    return 0;
}

static int make_room(serializer *s, uint64_t n)
{
    if (s->capacity - s->used >= n) return 0;
    uint64_t capacity = s->capacity == 0 ? FIRST_CAPACITY : 2 * s->capacity;
    return resize(s, capacity - s->used >= n ? capacity : s->used + n);
}

template <class value> static int add_all(serializer *s, int64_t count, const value *values)
{
    if (count < 1) return 0;
    uint64_t n;
    if (__builtin_mul_overflow(static_cast<uint64_t>(count), sizeof(value), &n))
        return OUT_OF_MEMORY;
    int rc = make_room(s, n);
    if (rc != 0) return rc;
    byteorder_swap(s->buffer + s->used, values, static_cast<size_t>(count), sizeof(value));
    s->used += n;
    return 0;
}

template <class value> static int add(serializer *s, value v)
{
    return add_all(s, 1, &v);
}

static constexpr serializer_operations serializer_ops = {
    .serializeraddbyte = add<int8_t>,
    .serializeraddshort = add<int16_t>,
    .serializeraddint = add<int32_t>,
    .serializeraddlong = add<int64_t>,
    .serializeraddfloat = add<float>,
    .serializeradddouble = add<double>,
    .serializeraddbytes = add_all<int8_t>,
    .serializeraddshorts = add_all<int16_t>,
    .serializeraddints = add_all<int32_t>,
    .serializeraddlongs = add_all<int64_t>,
    .serializeraddfloats = add_all<float>,
    .serializeradddoubles = add_all<double>,
};

int serializer_init(serializer *s, uint64_t room)
{
    *s = {};
    s->ops = serializer_ops;
    return room > 0 ? resize(s, room) : 0;
}

void serializer_release(serializer *s)
{
    free(s->buffer);
    *s = {};
}

} // namespace vnt
