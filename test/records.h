// records.h: for tests: message records with generated values, and comparing them.

#pragma once

#include "codec/catalogue.h"
#include "test/fields.h"

#include <cstdlib>
#include <memory>

// Frees a record whose containers own their memory, handles included.
inline void record_free(void *record)
{
    const message_layout *layout = catalogue_find(message_id(record));
    for (const message_field *f = layout->fields; f->kind != KIND_END; f++) {
        if (f->kind == KIND_STRING)
            message_uncopy_string(&field_at<message_string>(record, f->offset));
        if (f->kind == KIND_ARRAY || f->kind == KIND_HANDLE)
            message_uncopy_array(&field_at<message_array>(record, f->offset));
        if (f->kind == KIND_FILE) message_uncopy_file(&field_at<message_file>(record, f->offset));
    }
    free(record);
}
typedef std::unique_ptr<void, void (*)(void *)> record_holder;

// One of a dozen arrays: of every type, absent, empty, in two chunks.
inline void array_make(message_array *a, uint32_t seed)
{
    static const array_of<int8_t> handle(TYPE_BYTE, {std::vector<int8_t>(16, 7)});
    static const array_of<int16_t> shorts(TYPE_SHORT, {{-1, 2}, {3}});
    static const array_of<int32_t> ints(TYPE_INT, {{1, 2, 3}});
    static const array_of<int64_t> longs(TYPE_LONG, {{INT64_MIN, 5}, {6}});
    static const array_of<uint8_t> ubytes(TYPE_UBYTE, {{255}, {0, 1}});
    static const array_of<uint16_t> ushorts(TYPE_USHORT, {{65535}});
    static const array_of<uint32_t> uints(TYPE_UINT, {{4000000000u}});
    static const array_of<uint64_t> ulongs(TYPE_ULONG, {{UINT64_MAX}});
    static const array_of<float> floats(TYPE_FLOAT, {{0.5f, -1e30f}});
    static const array_of<double> doubles(TYPE_DOUBLE, {{1.0 / 3}, {-0.0, 1e300}});
    static const array_of<message_string> strings(
        TYPE_STRING, {{borrowed("x1"), message_string{}}, {borrowed("")}});
    static const message_array none = {}, empty = {0, TYPE_DOUBLE, 0, nullptr, {}};
    const message_array *const all[] = {&none, handle, shorts, ints,    longs,   ubytes, ushorts,
                                        uints, ulongs, floats, doubles, strings, &empty};
    message_copy_array(a, all[seed % std::size(all)]);
}

inline void string_make(message_string *s, uint32_t seed)
{
    const message_string all[] = {{}, borrowed("name"), borrowed(""), borrowed("a longer text")};
    message_copy_string(s, &all[seed % std::size(all)]);
}

// A record of the message whose values depend on its id and the seed.
inline record_holder record_make(const message_layout *layout, uint32_t seed)
{
    record_holder made(calloc(1, layout->size), record_free);
    void *record = made.get();
    field_at<uint32_t>(record, sizeof(void *)) = layout->id;
    uint32_t value = layout->id * 7 + seed;
    for (const message_field *f = layout->fields; f->kind != KIND_END; f++, value++) {
        if (f->kind == KIND_INT)
            field_at<int32_t>(record, f->offset) = int32_t(value * 2654435761u);
        if (f->kind == KIND_LONG) field_at<int64_t>(record, f->offset) = -int64_t(value) << 33;
        if (f->kind == KIND_DOUBLE) field_at<double>(record, f->offset) = value / 7.0;
        if (f->kind == KIND_STRING)
            string_make(&field_at<message_string>(record, f->offset), value);
        if (f->kind == KIND_ARRAY || f->kind == KIND_HANDLE)
            array_make(&field_at<message_array>(record, f->offset), value);
        if (f->kind == KIND_FILE) {
            string_make(&field_at<message_file>(record, f->offset).name, value);
            array_make(&field_at<message_file>(record, f->offset).contents, 5 * value);
        }
    }
    return made;
}

inline bool samefield(const void *a, const void *b, const message_field *f)
{
    size_t at = f->offset;
    switch (f->kind) {
    case KIND_END: return true;
    case KIND_INT: return field_at<int32_t>(a, at) == field_at<int32_t>(b, at);
    case KIND_LONG: return field_at<int64_t>(a, at) == field_at<int64_t>(b, at);
    case KIND_DOUBLE: return field_at<double>(a, at) == field_at<double>(b, at);
    case KIND_STRING: return same(field_at<message_string>(a, at), field_at<message_string>(b, at));
    case KIND_ARRAY:
    case KIND_HANDLE: return same(field_at<message_array>(a, at), field_at<message_array>(b, at));
    case KIND_FILE: return same(field_at<message_file>(a, at), field_at<message_file>(b, at));
    }
    return false;
}

// The name of the first field that differs, "id" for other messages, or null.
inline const char *record_difference(const void *a, const void *b)
{
    if (message_id(a) != message_id(b)) return "id";
    for (const message_field *f = catalogue_find(message_id(a))->fields; f->kind != KIND_END; f++)
        if (!samefield(a, b, f)) return f->name;
    return nullptr;
}
