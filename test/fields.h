// fields.h: containers for tests, from values.

#pragma once

#include "message/containers.h"

#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

inline message_string borrowed(const char *text)
{
    return {1, static_cast<uint32_t>(strlen(text)), const_cast<char *>(text), 0};
}

// An array in one chunk or several, over values that it owns.
template <class value> struct array_of {
    std::vector<std::vector<value>> chunks;
    std::vector<message_chunk> table;
    message_array a = {};

    array_of(uint32_t type, std::initializer_list<std::vector<value>> parts) : chunks(parts)
    {
        for (std::vector<value> &c : chunks) {
            table.push_back({static_cast<uint32_t>(c.size()), c.data()});
            a.total += static_cast<int64_t>(c.size());
        }
        a.type = type;
        a.nchunks = static_cast<uint32_t>(table.size());
        a.chunks = table.data();
    }
    array_of(const array_of &) = delete;
    array_of &operator=(const array_of &) = delete;
    operator const message_array *() const { return &a; }
};

// Whether two containers hold the same, chunk for chunk.
inline bool same(const message_string &a, const message_string &b)
{
    return a.present == b.present && a.length == b.length &&
           (a.length == 0 || memcmp(a.data, b.data, a.length) == 0);
}

inline bool samechunk(const message_chunk &a, const message_chunk &b, uint32_t type)
{
    if (a.count != b.count) return false;
    if (type != TYPE_STRING)
        return a.count == 0 || memcmp(a.data, b.data, a.count * message_elementsize(type)) == 0;
    for (uint32_t i = 0; i < a.count; i++)
        if (!same(static_cast<message_string *>(a.data)[i],
                  static_cast<message_string *>(b.data)[i]))
            return false;
    return true;
}

inline bool same(const message_array &a, const message_array &b)
{
    if (a.total != b.total || a.type != b.type || a.nchunks != b.nchunks) return false;
    for (uint32_t i = 0; i < a.nchunks; i++)
        if (!samechunk(a.chunks[i], b.chunks[i], a.type)) return false;
    return true;
}

inline bool same(const message_file &a, const message_file &b)
{
    return same(a.name, b.name) && same(a.contents, b.contents);
}
