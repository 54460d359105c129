// library.h: loads the shared libraries that options of the server and the worker name.
//
// Ownership: the caller that opens a library closes it.
// Threads: one at a time.
// Errors: codes of remote/message/errors.h; each file that does not open leaves a trace line.

#pragma once

namespace vnt {

// The size of the longest path that is tried, with its terminating zero.
constexpr int LIBRARY_PATHMAX = 4096;

struct library {
    void *handle;
    const char *name; // the file's, stored behind the record
};

// Opens one file, with lazy binding and global symbols.  Errors: NOLIBRARY, NOMEMORY.
int library_open(library **out, const char *file);

// Opens `name` as it stands, or else "lib" name ".so".  Errors: INVALID for a name that is too
// long, NOLIBRARY, NOMEMORY.
int library_openname(library **out, const char *name);

void library_close(library *l); // null is fine

} // namespace vnt
