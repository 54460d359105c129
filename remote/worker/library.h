// library.h: shared libraries that the server or a worker loads because an option names them.
//
// Ownership: the caller that opens a library closes it.
// Threads: one at a time.
// Errors: codes of remote/message/errors.h; each file that does not open leaves a trace line.

#pragma once

namespace vnt {

// The longest path that is tried, its terminating zero included.
constexpr int LIBRARY_PATHMAX = 4096;

struct library {
    void *handle;
    const char *name; // the file's, stored behind the record
};

// Opens one file, lazily bound and with its symbols for all.  Errors: NOLIBRARY, NOMEMORY.
int library_open(library **out, const char *file);

// Opens `name` as it stands, or else "lib" name ".so".  Errors: INVALID for a name that is too
// long, NOLIBRARY, NOMEMORY.
int library_openname(library **out, const char *name);

void library_close(library *l); // null is fine

} // namespace vnt
