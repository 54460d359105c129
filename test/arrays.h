// arrays.h: message containers for tests, from the values that they hold.
//
// Ownership: each of these owns its elements, in the chunks that it was given; hand out `array`
// while it lives.

#pragma once

#include "message/containers.h"

#include <cstring>
#include <string>
#include <vector>

template <class element> constexpr uint32_t element_type = TYPE_NONE;
template <> inline constexpr uint32_t element_type<char> = TYPE_BYTE;
template <> inline constexpr uint32_t element_type<int32_t> = TYPE_INT;
template <> inline constexpr uint32_t element_type<int64_t> = TYPE_LONG;
template <> inline constexpr uint32_t element_type<double> = TYPE_DOUBLE;
template <> inline constexpr uint32_t element_type<message_string> = TYPE_STRING;

// An array of one chunk for each list of elements.
template <class element> struct chunked {
    std::vector<std::vector<element>> parts;
    std::vector<message_chunk> chunks;
    message_array array{};

    chunked(std::initializer_list<std::vector<element>> p) : parts(p)
    {
        array.type = element_type<element>;
        for (std::vector<element> &part : parts) {
            chunks.push_back({static_cast<uint32_t>(part.size()), part.data()});
            array.total += static_cast<int64_t>(part.size());
        }
        array.nchunks = static_cast<uint32_t>(chunks.size());
        array.chunks = chunks.data();
    }
    chunked(const chunked &) = delete;
    chunked &operator=(const chunked &) = delete;
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
        memcpy(parts[0].data(), &object, sizeof object);
    }
};

template <class element> std::vector<element> elements(const message_array &a)
{
    std::vector<element> all;
    for (uint32_t i = 0; i < a.nchunks; i++) {
        const element *first = static_cast<const element *>(a.chunks[i].data);
        all.insert(all.end(), first, first + a.chunks[i].count);
    }
    return all;
}
