// files.h: the files of solver calls on the calling side's disk.
//
// A file that the solver reads is sent from here; one that it writes is received and put at the
// path that the caller gave, and nowhere else.
//
// Threads: any.
//
// Errors: solver statuses, for the caller.

#pragma once

#include "remote/message/containers.h"

namespace vnt {

// A file to send.  It borrows the path and the contents given; release it with unset.
struct client_infile {
    message_file file;
    char *block; // the bytes of a file that cannot be mapped
};

// Fills `f` with the `length` bytes at `contents`; where they are null, with the file at `path`.
// A null path is sent as such.
int client_infile_set(client_infile *f, const char *path, const char *contents, int64_t length);
void client_infile_unset(client_infile *f);

// Writes the contents to the file at `path`.  An ordinary file is replaced as a whole: a reader
// of the path sees the old one or the new one.  Anything else there is written through.
int client_outfile_store(const char *path, const message_file *f);

} // namespace vnt
