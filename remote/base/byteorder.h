// byteorder.h: between host order and the wire's, which is big-endian.
//
// Threads: any.

#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace vnt {

// The unsigned integer of a number of bytes.
template <size_t width> struct word_of;
template <> struct word_of<1> {
    typedef uint8_t type;
};
template <> struct word_of<2> {
    typedef uint16_t type;
};
template <> struct word_of<4> {
    typedef uint32_t type;
};
template <> struct word_of<8> {
    typedef uint64_t type;
};
template <class value> using word = typename word_of<sizeof(value)>::type;

inline uint8_t byteswapped(uint8_t w)
{
    return w;
}
inline uint16_t byteswapped(uint16_t w)
{
    return __builtin_bswap16(w);
}
inline uint32_t byteswapped(uint32_t w)
{
    return __builtin_bswap32(w);
}
inline uint64_t byteswapped(uint64_t w)
{
    return __builtin_bswap64(w);
}

// A number's bits as they stand on the wire, and back.
template <class value> word<value> to_wire(value v)
{
    static_assert(std::endian::native == std::endian::little);
    return byteswapped(std::bit_cast<word<value>>(v));
}
template <class value> value from_wire(word<value> w)
{
    return std::bit_cast<value>(byteswapped(w));
}

// Stores `v` at `to` in the order of the wire.
template <class value> void wire_put(unsigned char *to, value v)
{
    word<value> w = to_wire(v);
    memcpy(to, &w, sizeof w);
}

// Reads what stands at `from` in the order of the wire.
template <class value> value wire_get(const unsigned char *from)
{
    word<value> w;
    memcpy(&w, from, sizeof w);
    return from_wire<value>(w);
}

// Takes numbers in the order of the wire off a block of bytes.  Past its end they are 0.
struct byte_reader {
    const unsigned char *at;
    const unsigned char *end;

    byte_reader(const void *bytes, size_t n)
        : at(static_cast<const unsigned char *>(bytes)), end(at + n)
    {
    }
    template <class value> value take(void)
    {
        if (left() < sizeof(value)) return 0;
        at += sizeof(value);
        return wire_get<value>(at - sizeof(value));
    }
    size_t left(void) const { return static_cast<size_t>(end - at); }
};

// Copies `count` elements of 1, 2, 4 or 8 bytes with the order of their bytes reversed.  `to` and
// `from` are the same block or do not overlap.
void byteorder_swap(void *to, const void *from, size_t count, size_t width);

} // namespace vnt
