// options.h: the server's options, from its command line and the environment.
//
// Ownership: the strings belong to the argument vector and the environment; the log, the pid file
// and the libraries are released by options_release.
//
// Threads: one, before any other is started.

#pragma once

#include "remote/server/allowed.h"
#include "remote/worker/library.h"

#include <cstdint>
#include <sys/types.h>

namespace vnt {

struct server_options {
    int arguments;          // number of all arguments
    int argc;               // of those for the workers
    char **argv;            // these arguments first, then the server's own options
    const char *host;       // never null once the options are read, unless `path` is set
    const char *port;       // likewise
    const char *path;       // of the Unix-domain socket to listen on instead, or null
    mode_t socket_mode;     // of its file
    bool mode_given;        // by "-socket-mode="
    bool network_given;     // an option names host or port
    char address[1024];     // host and port of "-address="
    uint32_t polling;       // milliseconds between two passes of the reaper
    int32_t action_timeout; // seconds
    int32_t worker_limit;   // workers at a time, 0 for any number
    int32_t parked_limit;   // seconds that a worker may be parked, 0 for any time
    const char *status;     // where to tell what the server does, or null
    allowed_range *allowed; // null where every address is
    int nallowed;
    library **libraries; // in the order of their options
    int nlibraries;
    int log_fd; // -1 if the log is standard error
    int pid_fd; // -1 without a pid file, and after it is written
};

// Reads the options and sets up the log.  Returns 0 to go on, 1 after printing help, -1 after
// printing an error.  A library that cannot be loaded ends the process.  Release the options in
// every case.
int options_read(server_options *o, int argc, char **argv);

// Writes the process id into the pid file.  Call it once the server listens: a server that cannot
// listen must not overwrite the file of the running one.
void options_write_pid(server_options *o);

// Closes the log, unless it is standard error, and the libraries, newest first.
void options_release(server_options *o);

} // namespace vnt
