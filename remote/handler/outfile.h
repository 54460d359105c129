// outfile.h: the temporary file that the solver writes and a response carries.
//
// It is in the worker's working directory, whatever path the caller gave.  Only the last component
// of that path is kept, because the solver chooses the format by the extension.
//
// Ownership: outfile_destroy() closes and removes the file; the message_file made of it borrows
// the path and is unset before.
//
// Threads: one at a time; two processes in one directory never get the same file.

#pragma once

#include "remote/message/containers.h"

namespace vnt {

struct outfile {
    char *path; // null while there is none
    int fd;
};

// Makes an empty file of a new name.  `name` may be null.
// Errors: VNTERR_NO_MEMORY, VNTERR_FILE_CREATE when it cannot be created.
int outfile_create(outfile *f, const char *name);

// Maps what has been written and takes the file out of its directory.  An empty file gives empty
// contents.
// Errors: those of message_set_file().
int outfile_attach(const outfile *f, message_file *to);

// Takes any state, all zero included.
void outfile_destroy(outfile *f);

} // namespace vnt
