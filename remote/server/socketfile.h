// socketfile.h: the file of the Unix-domain socket that a server listens on.
//
// The file outlives a server that was killed.  The next server removes it, but neither the file of
// a living server nor a file that is no socket.  Servers that start at the same time take turns by
// a lock on the folder: before one listens on its file, it looks like a dead server's to the other.
//
// Threads: one, before any other is started, for the first; any for the second.
//
// Errors: logged.

#pragma once

#include <sys/types.h>

namespace vnt {

struct socket_file {
    const char *path; // null without a file
    dev_t device;     // these tell it from a later one of that name
    ino_t number;
};

// Binds the socket to the path, with that mode for the file, and listens.  The path must stay.
// Returns 0 or -1.
int socketfile_listen(socket_file *f, int fd, const char *path, mode_t mode);

// Removes the file.  Call it while the socket listens, so that no other server has replaced it.
void socketfile_remove(socket_file *f);

} // namespace vnt
