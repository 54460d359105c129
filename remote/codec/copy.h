// copy.h: deep copies of message records.
//
// A request that runs asynchronously outlives the record that was received; the run function works
// on a copy.
//
// Ownership: a copy is one block and owns its strings, arrays and files.  The arrays that carry
// solver objects share their bytes with the source and dangle once that is gone: read their values
// before.
//
// Threads: any; a record is one thread's at a time.

#pragma once

namespace vnt {

// Null for null, when memory is out, and for ids outside the solver's codec.
void *vntmsg_copy(const void *record);

// Frees a copy, which must not be null.
void uncopy(void *copy);

// Takes the copy out of the slot and frees it.  The slot must hold one; a null slot is ignored.
void vntmsg_uncopy(void **slot);

} // namespace vnt
