// catalogue.h: message ids, message records and field tables, made from catalogue.def.
//
// A record is what a codec fills and a handler reads: the link word, the message id, then the
// fields in wire order, laid out as a C struct of them would be.  A record is one malloc block;
// the containers in it own further blocks.
//
// Threads: the tables are constant.

#pragma once

#include "remote/message/containers.h"

#include <cstring>

namespace vnt {

enum : uint32_t {
#define MESSAGE(number, name, ...) VNTMESSAGEID_##name = number,
#include "remote/codec/catalogue.def"
};

// How many fields each message has.
enum : int {
#define FIELD(kind, type, field) +1
#define MESSAGE(number, name, ...) FIELDS_##name = 0 __VA_ARGS__,
#include "remote/codec/catalogue.def"
};

#define FIELD(kind, type, field) type field;
#define MESSAGE(number, name, ...)                                                                 \
    struct vntmsg_##name {                                                                         \
        void *messagelink;                                                                         \
        uint32_t messageid;                                                                        \
        __VA_ARGS__                                                                                \
    };
#include "remote/codec/catalogue.def"

enum message_kind : uint8_t {
    KIND_END,
    KIND_INT,
    KIND_LONG,
    KIND_DOUBLE,
    KIND_STRING,
    KIND_ARRAY,
    KIND_HANDLE,
    KIND_FILE
};

struct message_field {
    const char *name;
    uint16_t offset; // in the record
    message_kind kind;
};

struct message_layout {
    uint32_t id;
    uint32_t size;  // of the record, in bytes
    uint32_t least; // bytes that the fields take on the wire at least
    const char *name;
    const message_field *fields; // ended by KIND_END
};

// All messages, ascending by id.
extern const message_layout *const catalogue_begin;
extern const message_layout *const catalogue_end;

// Null when no message has the id.
const message_layout *catalogue_find(uint32_t id);

// Reads the id of a record of any kind.
inline uint32_t message_id(const void *record)
{
    uint32_t id;
    memcpy(&id, static_cast<const char *>(record) + sizeof(void *), sizeof id);
    return id;
}

template <class type> const type &field_at(const void *record, size_t offset)
{
    return *reinterpret_cast<const type *>(static_cast<const char *>(record) + offset);
}
template <class type> type &field_at(void *record, size_t offset)
{
    return *reinterpret_cast<type *>(static_cast<char *>(record) + offset);
}

} // namespace vnt
