#include "remote/base/byteorder.h"

namespace vnt {

// One plain loop for each width; memcpy allows blocks that are not aligned.
template <class element>
[[gnu::always_inline]] static inline void swap(void *to, const void *from, size_t count)
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

[[gnu::always_inline]] static inline void swap_all(void *to, const void *from, size_t count,
                                                   size_t width)
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

// The same loops, compiled for newer processors.
[[gnu::target("avx2")]] static void swap_all_avx2(void *to, const void *from, size_t count,
                                                  size_t width)
{
    swap_all(to, from, count, width);
}

void byteorder_swap(void *to, const void *from, size_t count, size_t width)
{
    if (__builtin_cpu_supports("avx2"))
        swap_all_avx2(to, from, count, width);
    else
        swap_all(to, from, count, width);
}

} // namespace vnt
