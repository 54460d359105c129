// progress.h: what a running solve tells of itself, as bytes of a message.
//
// The bytes are the record's numbers in one order, then the count of a solution's values, -1 where
// there is none, and the values.
//
// Threads: any.

#pragma once

#include "remote/message/serializer.h"
#include "vanto.h"

#include <cstddef>

namespace vnt {

// "No limit", "no value": what the wire carries for it.
constexpr double WIRE_INFINITE = 1e75;

// Packs the record, with at most `room` of its values.  The serializer is the caller's to release,
// also after an error.
// Errors: VNTERR_NO_MEMORY.
int progress_pack(serializer *s, const vntmipprogress &p, int64_t room);

// Unpacks it, with at most `room` values at p->sol, which may be null.  Bytes that are missing
// read as zeros.
void progress_unpack(vntmipprogress *p, int64_t room, const void *bytes, size_t size);

} // namespace vnt
