// files.h: the caller's files that solver calls read and write.
//
// A file that the solver reads is sent; one that it writes is received and stored at the caller's
// path.
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

// Writes the contents to the file at `path`.  A regular file is replaced as a whole, by one of the
// same owner and mode: a reader sees the old one or the new one.  Where that is not possible, as
// for a pipe, a link or a file with a second name, what is there is opened and written to.
int client_outfile_store(const char *path, const message_file *f);

} // namespace vnt
