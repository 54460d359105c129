// records.h: for tests: message records with generated values, and comparing them.

#pragma once

#include "remote/codec/catalogue.h"
#include "test/arrays.h"

#include <cstdlib>
#include <memory>

namespace vnt {

// Runs an action on a field of a record, typed by the field's kind.
template <class Action> void with_field(void *record, const message_field &f, Action action)
{
    switch (f.kind) {
    case KIND_END: break;
    case KIND_INT: action(field_at<int32_t>(record, f.offset)); break;
    case KIND_LONG: action(field_at<int64_t>(record, f.offset)); break;
    case KIND_DOUBLE: action(field_at<double>(record, f.offset)); break;
    case KIND_STRING: action(field_at<message_string>(record, f.offset)); break;
    case KIND_ARRAY:
    case KIND_HANDLE: action(field_at<message_array>(record, f.offset)); break;
    case KIND_FILE: action(field_at<message_file>(record, f.offset)); break;
    }
}

template <class number> void generate(number &n, uint32_t seed)
{
    for (size_t i = 0; i < sizeof n; i++)
        reinterpret_cast<unsigned char *>(&n)[i] = static_cast<unsigned char>(seed * 31 + i * 7);
}
inline void generate(message_string &s, uint32_t seed)
{
    const message_string all[] = {{}, borrowed("name"), borrowed(""), borrowed("a longer text")};
    s = all[seed % std::size(all)];
}
// Of every type, in two chunks; absent; or empty.
inline void generate(message_array &a, uint32_t seed)
{
    static message_string texts[] = {borrowed("x1"), {}, borrowed("")};
    alignas(int64_t) static char numbers[] = "three elements up to 64 b";
    static message_chunk chunks[TYPE_LAST + 1][2];
    const uint32_t type = seed % (TYPE_LAST + 2);
    a = {0, type > TYPE_LAST ? TYPE_DOUBLE : TYPE_NONE, 0, nullptr, {}};
    if (type == TYPE_NONE || type > TYPE_LAST) return;
    char *data = type == TYPE_STRING ? reinterpret_cast<char *>(texts) : numbers;
    chunks[type][0] = {2, data};
    chunks[type][1] = {1, data + 2 * message_element_size(type)};
    a = {3, type, 2, chunks[type], {}};
}
inline void generate(message_file &f, uint32_t seed)
{
    generate(f.name, seed);
    generate(f.contents, 5 * seed);
}

// A record of the message whose values depend on its id and the seed.  Its strings and arrays are
// static and never freed.
typedef std::unique_ptr<void, void (*)(void *)> record_holder;
inline record_holder record_make(const message_layout *layout, uint32_t seed)
{
    record_holder record(calloc(1, layout->size), free);
    field_at<uint32_t>(record.get(), sizeof(void *)) = layout->id;
    seed += layout->id * 7;
    for (const message_field *f = layout->fields; f->kind != KIND_END; f++, seed++)
        with_field(record.get(), *f, [&](auto &field) { generate(field, seed); });
    return record;
}

// The name of the first field that differs, "id" for other messages, or null.
inline const char *record_difference(void *a, void *b)
{
    if (message_id(a) != message_id(b)) return "id";
    std::string images[2];
    for (const message_field *f = catalogue_find(message_id(a))->fields; f->kind != KIND_END; f++) {
        with_field(a, *f, [&](auto &field) { images[0] = image(field); });
        with_field(b, *f, [&](auto &field) { images[1] = image(field); });
        if (images[0] != images[1]) return f->name;
    }
    return nullptr;
}

} // namespace vnt
