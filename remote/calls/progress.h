// progress.h: packs the progress of a running solve into the bytes of a message.
//
// The bytes are the record's numbers, then the count of a solution's values, -1 for no solution,
// and the values.
//
// Threads: any.

#pragma once

#include "remote/message/serializer.h"
#include "vanto.h"

#include <cstddef>

namespace vnt {

// "No limit" and "no value" on the wire.
constexpr double WIRE_INFINITE = 1e75;

// Packs the record, with at most `room` of its values.  The serializer is the caller's to release,
// also after an error.
// Errors: VNTERR_NO_MEMORY.
int progress_pack(serializer *s, const vntmipprogress &p, int64_t room);

// Unpacks it, with at most `room` values at p->sol, which may be null.  Missing bytes read as 0.
void progress_unpack(vntmipprogress *p, int64_t room, const void *bytes, size_t size);

} // namespace vnt
