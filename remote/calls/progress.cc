#include "remote/calls/progress.h"

#include "remote/base/byteorder.h"

#include <algorithm>

namespace vnt {

// The one list of what travels ahead of the solution, in order.
template <class record, class visitor> static void visit_numbers(record &p, visitor &visit)
{
    visit(p.nodes);
    visit(p.phase);
    visit(p.bound);
    visit(p.iterations);
    visit(p.incumbent);
    visit(p.gap);
    visit(p.solutions);
}

namespace {

struct packer {
    serializer *s;

    void operator()(int32_t value) { s->ops.serializeraddint(s, value); }
    void operator()(int64_t value) { s->ops.serializeraddlong(s, value); }
    void operator()(double value) { s->ops.serializeradddouble(s, value); }
};

struct unpacker {
    byte_reader from;

    template <class number> void operator()(number &value) { value = from.take<number>(); }
};

} // namespace

// What the numbers take, and each value of a solution.
static constexpr uint64_t NUMBERS_SIZE = 56;
static constexpr uint64_t VALUE_SIZE = sizeof(double);

int progress_pack(serializer *s, const vntmipprogress &p, int64_t room)
{
    const int64_t count = std::clamp<int64_t>(p.solcount, 0, room);
    const int status = serializer_init(s, NUMBERS_SIZE + VALUE_SIZE * static_cast<uint64_t>(count));
    if (status != 0) return status;
    packer pack = {s}; // there is room for all of it
    visit_numbers(p, pack);
    pack(p.sol != nullptr ? count : int64_t{-1});
    if (p.sol != nullptr) s->ops.serializeradddoubles(s, count, p.sol);
    return 0;
}

void progress_unpack(vntmipprogress *p, int64_t room, const void *bytes, size_t size)
{
    unpacker unpack = {{bytes, size}};
    visit_numbers(*p, unpack);
    int64_t count;
    unpack(count);
    if (p->sol == nullptr) room = 0;
    count = std::min({count, room, static_cast<int64_t>(unpack.from.left() / VALUE_SIZE)});
    p->solcount = std::max<int64_t>(count, 0);
    for (int64_t i = 0; i < p->solcount; i++)
        unpack(p->sol[i]);
}

} // namespace vnt
