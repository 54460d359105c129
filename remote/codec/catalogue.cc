#include "remote/codec/catalogue.h"

#include <algorithm>
#include <iterator>

namespace vnt {

#define FIELD(kind, type, field) {#field, offsetof(record, field), KIND_##kind},
#define MESSAGE(number, name, ...)                                                                 \
    namespace fields_##name                                                                        \
    {                                                                                              \
        using record = vntmsg_##name;                                                              \
        static constexpr message_field list[] = {__VA_ARGS__{nullptr, 0, KIND_END}};               \
    }
#include "remote/codec/catalogue.def"

// What a field takes on the wire if it is empty.
static constexpr uint32_t field_least(message_kind kind)
{
    constexpr uint32_t head = 4 + 4, empty_array = 8 + 4;
    switch (kind) {
    case KIND_END: return 0;
    case KIND_INT: return 4;
    case KIND_LONG:
    case KIND_DOUBLE: return 8;
    case KIND_STRING: return head;
    case KIND_ARRAY:
    case KIND_HANDLE: return empty_array;
    case KIND_FILE: return head + empty_array;
    }
    return 0;
}

static constexpr uint32_t fields_least(const message_field *f)
{
    uint32_t bytes = 0;
    for (; f->kind != KIND_END; f++)
        bytes += field_least(f->kind);
    return bytes;
}

static constexpr message_layout layouts[] = {
#define MESSAGE(number, name, ...)                                                                 \
    {number, sizeof(vntmsg_##name), fields_least(fields_##name::list), #name, fields_##name::list},
#include "remote/codec/catalogue.def"
};

// The first id that is not above the one before it, or 0.  Codecs search the table, so its order is
// checked at compile time.
static constexpr uint32_t misplaced(void)
{
    for (size_t i = 1; i < std::size(layouts); i++)
        if (layouts[i - 1].id >= layouts[i].id) return layouts[i].id;
    return 0;
}
static_assert(misplaced() == 0, "catalogue.def: this id is not above the one before it");
static_assert(offsetof(vntmsg_GETX_REQ, flags) == 12, "fields follow the id without a gap");

const message_layout *const catalogue_begin = layouts;
const message_layout *const catalogue_end = std::end(layouts);

const message_layout *catalogue_find(uint32_t id)
{
    const message_layout *at =
        std::ranges::lower_bound(catalogue_begin, catalogue_end, id, {}, &message_layout::id);
    return at != catalogue_end && at->id == id ? at : nullptr;
}

} // namespace vnt
