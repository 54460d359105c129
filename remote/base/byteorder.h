// byteorder.h: converts numbers between host order and wire order, which is big-endian.
//
// Threads: any.

#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace vnt {

static_assert(std::endian::native == std::endian::little);

// The unsigned integer as wide as a number.
template <class number> using word = std::conditional_t<
    sizeof(number) == 8, uint64_t,
    std::conditional_t<sizeof(number) == 4, uint32_t,
                       std::conditional_t<sizeof(number) == 2, uint16_t, uint8_t>>>;

// Reverses the bytes of an unsigned integer.
template <class integer> integer byteswapped(integer w)
{
    if constexpr (sizeof w == 8) return __builtin_bswap64(w);
    if constexpr (sizeof w == 4) return __builtin_bswap32(w);
    if constexpr (sizeof w == 2) return __builtin_bswap16(w);
    return w;
}

// Stores a number in wire order.
template <class number> void wire_put(unsigned char *to, number v)
{
    const auto w = byteswapped(std::bit_cast<word<number>>(v));
    memcpy(to, &w, sizeof w);
}

// Reads a number in wire order.
template <class number> number wire_get(const unsigned char *from)
{
    word<number> w;
    memcpy(&w, from, sizeof w);
    return std::bit_cast<number>(byteswapped(w));
}

// Reads numbers in wire order from a block of bytes.  Beyond its end they are 0.
struct byte_reader {
    const unsigned char *at;
    const unsigned char *end;

    byte_reader(const void *bytes, size_t n)
        : at(static_cast<const unsigned char *>(bytes)), end(at + n)
    {
    }
    template <class number> number take(void)
    {
        if (left() < sizeof(number)) return 0;
        at += sizeof(number);
        return wire_get<number>(at - sizeof(number));
    }
    size_t left(void) const { return static_cast<size_t>(end - at); }
};

// Copies `count` elements of 1, 2, 4 or 8 bytes and reverses the bytes of each.  `to` and `from`
// are the same block or do not overlap.
void byteorder_swap(void *to, const void *from, size_t count, size_t width);

} // namespace vnt
