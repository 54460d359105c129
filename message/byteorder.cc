#include "message/byteorder.h"

// One plain loop for each width: compilers make vector code of it.  The copies through memcpy
// allow for blocks that are not aligned.
template <class element> static void swap(void *to, const void *from, size_t count)
{
    auto out = static_cast<unsigned char *>(to);
    auto in = static_cast<const unsigned char *>(from);
    for (size_t i = 0; i < count; i++) {
        element w;
        memcpy(&w, in + i * sizeof w, sizeof w);
        w = byteswapped(w);
        memcpy(out + i * sizeof w, &w, sizeof w);
    }
}

void byteorder_swap(void *to, const void *from, size_t count, size_t width)
{
    switch (width) {
    case 1:
        if (to != from) memcpy(to, from, count);
        break;
    case 2: swap<uint16_t>(to, from, count); break;
    case 4: swap<uint32_t>(to, from, count); break;
    case 8: swap<uint64_t>(to, from, count); break;
    }
}
