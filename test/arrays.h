// arrays.h: for tests: strings and arrays from the values that they hold, and back.

#pragma once

#include "remote/message/containers.h"

#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

namespace vnt {

template <class element> constexpr uint32_t element_type = TYPE_NONE;
template <> inline constexpr uint32_t element_type<char> = TYPE_BYTE;
template <> inline constexpr uint32_t element_type<int16_t> = TYPE_SHORT;
template <> inline constexpr uint32_t element_type<int32_t> = TYPE_INT;
template <> inline constexpr uint32_t element_type<int64_t> = TYPE_LONG;
template <> inline constexpr uint32_t element_type<float> = TYPE_FLOAT;
template <> inline constexpr uint32_t element_type<double> = TYPE_DOUBLE;
template <> inline constexpr uint32_t element_type<message_string> = TYPE_STRING;

// An array of one chunk for each list of elements, over values that it owns.
template <class element> struct chunked {
    std::vector<std::vector<element>> chunks;
    std::vector<message_chunk> table;
    message_array a = {};

    chunked(std::initializer_list<std::vector<element>> parts) : chunks(parts)
    {
        for (std::vector<element> &c : chunks) {
            table.push_back({static_cast<uint32_t>(c.size()), c.data()});
            a.total += static_cast<int64_t>(c.size());
        }
        a.type = element_type<element>;
        a.nchunks = static_cast<uint32_t>(table.size());
        a.chunks = table.data();
    }
    chunked(const chunked &) = delete;
    chunked &operator=(const chunked &) = delete;
};

// A solver object as it travels.
struct handle : chunked<char> {
    handle(uint64_t object) : chunked{std::vector<char>(16)}
    {
        memcpy(chunks[0].data(), &object, sizeof object);
    }
};

// Strings of a message that borrow a literal: with its terminator, null being absent, and without.
inline message_string text(const char *s)
{
    if (s == nullptr) return {};
    return {1, static_cast<uint32_t>(strlen(s) + 1), const_cast<char *>(s), 0};
}
inline message_string borrowed(const char *s)
{
    return {1, static_cast<uint32_t>(strlen(s)), const_cast<char *>(s), 0};
}

template <class element> std::vector<element> elements(const message_array &array)
{
    std::vector<element> all;
    for (uint32_t i = 0; i < array.nchunks; i++) {
        const element *first = static_cast<const element *>(array.chunks[i].data);
        all.insert(all.end(), first, first + array.chunks[i].count);
    }
    return all;
}

// All that a value consists of, chunk for chunk: equal values have equal images.
template <class value> std::string image(const value &v)
{
    return std::string(reinterpret_cast<const char *>(&v), sizeof v);
}
inline std::string image(const message_string &s)
{
    return image(s.present) + image(s.length) + std::string(s.data, s.data + s.length);
}
inline std::string image(const message_array &a)
{
    std::string all = image(a.total) + image(a.type) + image(a.nchunks);
    for (uint32_t i = 0; i < a.nchunks; i++) {
        const message_chunk &c = a.chunks[i];
        all += image(c.count);
        if (a.type != TYPE_STRING)
            all.append(static_cast<char *>(c.data), c.count * message_element_size(a.type));
        for (uint32_t k = 0; a.type == TYPE_STRING && k < c.count; k++)
            all += image(static_cast<message_string *>(c.data)[k]);
    }
    return all;
}
inline std::string image(const message_file &f)
{
    return image(f.name) + image(f.contents);
}

} // namespace vnt
