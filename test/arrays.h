// arrays.h: the arrays and strings of solver calls for tests, from the values that they hold.

#pragma once

#include "test/fields.h"

template <class element> constexpr uint32_t element_type = TYPE_NONE;
template <> inline constexpr uint32_t element_type<char> = TYPE_BYTE;
template <> inline constexpr uint32_t element_type<int32_t> = TYPE_INT;
template <> inline constexpr uint32_t element_type<int64_t> = TYPE_LONG;
template <> inline constexpr uint32_t element_type<double> = TYPE_DOUBLE;
template <> inline constexpr uint32_t element_type<message_string> = TYPE_STRING;

// An array of one chunk for each list of elements, of the type that these have on the wire.
template <class element> struct chunked : array_of<element> {
    chunked(std::initializer_list<std::vector<element>> parts)
        : array_of<element>(element_type<element>, parts)
    {
    }
};

// A string of a message that borrows a literal; null is absent.
inline message_string text(const char *s)
{
    if (s == nullptr) return {};
    return {1, static_cast<uint32_t>(strlen(s) + 1), const_cast<char *>(s), 0};
}

// A solver object as it travels.
struct handle : chunked<char> {
    handle(uint64_t object) : chunked<char>{std::vector<char>(16)}
    {
        memcpy(chunks[0].data(), &object, sizeof object);
    }
};

template <class element> std::vector<element> elements(const message_array &array)
{
    std::vector<element> all;
    for (uint32_t i = 0; i < array.nchunks; i++) {
        const element *first = static_cast<const element *>(array.chunks[i].data);
        all.insert(all.end(), first, first + array.chunks[i].count);
    }
    return all;
}
