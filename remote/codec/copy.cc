#include "remote/codec/copy.h"

#include "remote/codec/catalogue.h"

#include <cstdlib>
#include <cstring>

namespace vnt {

// Ids below it are the builtin codec's.
static constexpr uint32_t FIRST_COPIED = 1000;

static int copy_field(void *to, const void *from, const message_field *f)
{
    size_t at = f->offset;
    switch (f->kind) {
    case KIND_END: break;
    case KIND_INT: field_at<int32_t>(to, at) = field_at<int32_t>(from, at); break;
    case KIND_LONG: field_at<int64_t>(to, at) = field_at<int64_t>(from, at); break;
    case KIND_DOUBLE: field_at<double>(to, at) = field_at<double>(from, at); break;
    case KIND_HANDLE: field_at<message_array>(to, at) = field_at<message_array>(from, at); break;
    case KIND_STRING:
        return message_copy_string(&field_at<message_string>(to, at),
                                   &field_at<message_string>(from, at));
    case KIND_ARRAY:
        return message_copy_array(&field_at<message_array>(to, at),
                                  &field_at<message_array>(from, at));
    case KIND_FILE:
        return message_copy_file(&field_at<message_file>(to, at),
                                 &field_at<message_file>(from, at));
    }
    return 0;
}

static void uncopy_field(void *copy, const message_field *f)
{
    switch (f->kind) {
    case KIND_STRING: message_uncopy_string(&field_at<message_string>(copy, f->offset)); break;
    case KIND_ARRAY: message_uncopy_array(&field_at<message_array>(copy, f->offset)); break;
    case KIND_FILE: message_uncopy_file(&field_at<message_file>(copy, f->offset)); break;
    default: break; // numbers, and handles, which are not the copy's
    }
}

void *vntmsg_copy(const void *record)
{
    if (record == nullptr) return nullptr;
    uint32_t id = message_id(record);
    const message_layout *layout = catalogue_find(id);
    if (id < FIRST_COPIED || layout == nullptr) return nullptr;
    void *copy = calloc(1, layout->size);
    if (copy == nullptr) return nullptr;
    field_at<uint32_t>(copy, sizeof(void *)) = id;
    for (const message_field *f = layout->fields; f->kind != KIND_END; f++) {
        if (copy_field(copy, record, f) == 0) continue;
        uncopy(copy); // fields not reached are zero and own nothing
        return nullptr;
    }
    return copy;
}

void uncopy(void *copy)
{
    const message_layout *layout = catalogue_find(message_id(copy));
    for (const message_field *f = layout->fields; f->kind != KIND_END; f++)
        uncopy_field(copy, f);
    free(copy);
}

void vntmsg_uncopy(void **slot)
{
    if (slot == nullptr) return;
    void *copy = *slot;
    *slot = nullptr;
    uncopy(copy);
}

} // namespace vnt
