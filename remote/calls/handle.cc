#include "remote/calls/handle.h"

#include <cstring>

namespace vnt {

int handle_take(const message_array *a, void **object)
{
    *object = nullptr;
    if (a->type == TYPE_NONE) return 0;
    if (a->type != TYPE_BYTE || a->total != 16 || a->nchunks != 1 || a->chunks[0].count != 16)
        return MESSAGE_INVALID;
    memcpy(object, a->chunks[0].data, sizeof *object);
    return 0;
}

void handle_put(message_array *a, char (&bytes)[16], const void *object)
{
    memset(bytes, 0, sizeof bytes);
    memcpy(bytes, &object, sizeof object);
    *a = {};
    if (object == nullptr) return;
    a->total = sizeof bytes;
    a->type = TYPE_BYTE;
    a->nchunks = 1;
    a->chunks = &a->inlinechunk;
    a->inlinechunk = {sizeof bytes, bytes};
}

} // namespace vnt
