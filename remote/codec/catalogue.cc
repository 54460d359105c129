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

static constexpr message_layout layouts[] = {
#define MESSAGE(number, name, ...) {number, sizeof(vntmsg_##name), #name, fields_##name::list},
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

const message_layout *layout_find(const message_layout *begin, const message_layout *end,
                                  uint32_t id)
{
    const message_layout *at = std::ranges::lower_bound(begin, end, id, {}, &message_layout::id);
    return at != end && at->id == id ? at : nullptr;
}

const message_layout *catalogue_find(uint32_t id)
{
    return layout_find(catalogue_begin, catalogue_end, id);
}

} // namespace vnt
