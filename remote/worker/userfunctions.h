// userfunctions.h: loading the user functions that a worker's arguments name.
//
// Ownership: the table's libraries are the caller's to close.
// Threads: one.

#pragma once

#include "remote/handler/handler.h"
#include "remote/worker/library.h"

namespace vnt {

// Where libraries are looked for, after the places that the loader knows.
struct search_path {
    const char *const *directories;
    int count;
};

// Calls the registration function of each "-userfunction=LIBRARY=FUNCTION" among the arguments.
// LIBRARY may hold "=" and may be missing: then, and when no library of the name has the function,
// it is taken from what the process has loaded already.  `table` has one slot for each argument.
// Returns 0, or NOUSERFUNCTION at the first function that is found nowhere.  A library name that is
// no path name at all ends the process.
int loaduserfunctions(library **table, int argc, char *const *argv, const search_path &path,
                      handler *h);

} // namespace vnt
