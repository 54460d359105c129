// userfunctions.h: loads the user functions that a worker's arguments name.
//
// Ownership: the table's libraries are the caller's to close.
// Threads: one.

#pragma once

#include "remote/handler/handler.h"
#include "remote/worker/library.h"

namespace vnt {

// Where to look for libraries after the loader's own places.
struct search_path {
    const char *const *directories;
    int count;
};

// Calls the registration function of each "-userfunction=LIBRARY=FUNCTION" among the arguments.
// LIBRARY may contain "=" and may be empty.  If it is empty or has no such function, the libraries
// that the process has loaded already are searched.  `table` has one slot for each argument.
// Returns 0, or NOUSERFUNCTION for the first function that is not found.  A library name that is
// too long for a path ends the process.
int loaduserfunctions(library **table, int argc, char *const *argv, const search_path &path,
                      handler *h);

} // namespace vnt
