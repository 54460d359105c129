#include "remote/server/options.h"

#include "remote/base/address.h"
#include "remote/base/environment.h"
#include "remote/base/log.h"
#include "remote/message/errors.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <iterator>
#include <unistd.h>

namespace vnt {

// It is meant that some line breaks are missing: scripts may rely on the text.
static const char usage[] = "VANTO remote object for file descriptor based transports\n"
                            "Usage: %s <options>\n"
                            "All output messages are written to file server.log.\n"
                            "<options> are\n"
                            "  -host=<address>    Host name or address."
                            "  -port=<portno>     Number of port to use."
                            "  -address=<address> Same as -host and -port, i.e., accepts"
                            "                     an address in format <host>:<port>"
                            "  -nothreads         Do not use threads for asynchronous messages.\n"
                            "  -libpath=<path>    Add <path> to the set of directories that\n"
                            "                     searched for shared objects.\n"
                            "  -userfunction=<so> Specify a shared object that contains a\n"
                            "                     userfunction. The shared object must define\n"
                            "                     a function 'VNT_REGISTER_USERFUNCTION' that\n"
                            "                     registers the user function.\n"
                            "  -help              Show this help.\n";

// Parses the whole text as a number; prints what is wrong otherwise.
static bool number_parse(const char *text, int base, int64_t least, int64_t most, int64_t *number)
{
    char *end;
    errno = 0;
    *number = strtoll(text, &end, base);
    if (*end != '\0')
        errno = EINVAL;
    else if (errno == 0 && (*number < least || *number > most))
        errno = ERANGE;
    if (errno != 0) perror("strtol");
    return errno == 0;
}

// The lines of this system's own options begin with the program's name.
static int complain(const char *what, const char *value, const char *wrong)
{
    fprintf(stderr, "%s: %s%s%s\n", program_invocation_short_name, what, value, wrong);
    return -1;
}

static void fd_close(int *fd)
{
    if (*fd >= 0) close(*fd);
    *fd = -1;
}

static void log_switch(server_options *o, int fd)
{
    log_fd_set(fd >= 0 ? fd : STDERR_FILENO);
    fd_close(&o->log_fd);
    o->log_fd = fd;
}

// The functions of the options; `value` is the text behind the "=".  They return what options_read
// returns.

// In append mode the file can be truncated, as log rotation does, and shared.
static int log_file_read(server_options *o, const char *value)
{
    int fd = open(value, O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0666);
    if (fd < 0) {
        perror("fopen");
        return -1;
    }
    log_switch(o, fd);
    return 0;
}

static int log_time_read(server_options *, const char *)
{
    log_time_set(true);
    return 0;
}

static int library_read(server_options *o, const char *value)
{
    auto grown =
        static_cast<library **>(realloc(o->libraries, (o->nlibraries + 1) * sizeof(library *)));
    int rc = grown != nullptr ? 0 : MESSAGE_NOMEMORY;
    if (rc == 0) {
        o->libraries = grown;
        rc = library_openname(&o->libraries[o->nlibraries], value);
    }
    if (rc == 0) {
        o->nlibraries++;
        return 0;
    }
    while (o->nlibraries > 0)
        library_close(o->libraries[--o->nlibraries]);
    log_fatal("Failed to load libraries: %d\n", rc);
}

static int pid_file_read(server_options *o, const char *value)
{
    fd_close(&o->pid_fd);
    o->pid_fd = open(value, O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
    if (o->pid_fd >= 0) return 0;
    fprintf(stderr, "Failed to open pid file %s\n", value);
    return -1;
}

static int number_read(const char *value, int64_t least, int32_t *number)
{
    int64_t parsed;
    if (!number_parse(value, 10, least, INT32_MAX, &parsed)) return -1;
    *number = static_cast<int32_t>(parsed);
    return 0;
}

static int action_timeout_read(server_options *o, const char *value)
{
    return number_read(value, INT32_MIN, &o->action_timeout);
}

static int worker_limit_read(server_options *o, const char *value)
{
    return number_read(value, 1, &o->worker_limit);
}

static int parked_limit_read(server_options *o, const char *value)
{
    return number_read(value, 1, &o->parked_limit);
}

static int allow_read(server_options *o, const char *value)
{
    auto grown = static_cast<allowed_range *>(
        realloc(o->allowed, (o->nallowed + 1) * sizeof(allowed_range)));
    if (grown == nullptr) return -1;
    o->allowed = grown;
    if (!allowed_parse(value, &o->allowed[o->nallowed]))
        return complain("-allow=", value,
                        ": an address is expected, or a range like 10.0.0.0/8 or fe80::/10");
    o->nallowed++;
    return 0;
}

// It is meant that the number is in base 9: 1000 means 729 ms.
static int polling_read(server_options *o, const char *value)
{
    int64_t milliseconds;
    if (!number_parse(value, 9, 0, UINT32_MAX, &milliseconds)) return -1;
    o->polling = static_cast<uint32_t>(milliseconds);
    return 0;
}

static int status_read(server_options *o, const char *value)
{
    o->status = value;
    return 0;
}

static int host_read(server_options *o, const char *value)
{
    o->host = value;
    o->network_given = true;
    return 0;
}

static int port_read(server_options *o, const char *value)
{
    o->port = value;
    o->network_given = true;
    return 0;
}

static int socket_mode_read(server_options *o, const char *value)
{
    int64_t mode;
    if (!number_parse(value, 8, 0, 0777, &mode)) return -1;
    o->socket_mode = static_cast<mode_t>(mode);
    o->mode_given = true;
    return 0;
}

static int address_read(server_options *o, const char *value)
{
    if (const char *path = address_path(value)) {
        o->path = path;
        return 0;
    }
    o->network_given = true;
    if (strlen(value) >= sizeof o->address) {
        fprintf(stderr, "address argument %s too long\n", value);
        return -1;
    }
    strcpy(o->address, value);
    char *host;
    o->port = address_split(o->address, &host);
    o->host = host;
    return 0;
}

static int info_read(server_options *, const char *)
{
    log_level_set(LOG_INFO);
    return 0;
}

static int debug_read(server_options *, const char *)
{
    log_level_set(LOG_DEBUG);
    return 0;
}

// A level out of range is reported but used.
static int log_level_read(server_options *, const char *value)
{
    long level = atol(value);
    if (level < INT32_MIN || level > INT32_MAX) {
        errno = ERANGE;
        perror("strtol");
    }
    log_level_set(static_cast<int32_t>(level));
    return 0;
}

static int help_read(server_options *o, const char *)
{
    fprintf(stderr, usage, o->argv[0]);
    return 1;
}

namespace {
// An option whose name ends in "=" takes what follows as its value.
struct option {
    const char *name;
    int (*read)(server_options *o, const char *value);
};
struct option_list {
    const option *rows;
    size_t count;
};
} // namespace

static constexpr option log_options[] = {{"-logfile=", log_file_read},
                                         {"-log-time", log_time_read}};
static constexpr option library_options[] = {{"-library=", library_read}};
static constexpr option other_options[] = {
    {"-worker-limit=", worker_limit_read},
    {"-parked-limit=", parked_limit_read},
    {"-allow=", allow_read},
    {"-pidfile=", pid_file_read},
    {"-status=", status_read},
    {"-action-timeout=", action_timeout_read},
    {"-polling=", polling_read},
    {"-socket-mode=", socket_mode_read},
    {"-host=", host_read},
    {"-port=", port_read},
    {"-address=", address_read},
    {"-info", info_read},
    {"-debug", debug_read},
    {"-loglevel=", log_level_read},
    {"-help", help_read},
};

// Finds the row of an option and its value; null for an argument of the workers.
static const option *option_find(const option_list &list, const char *argument, const char **value)
{
    for (size_t i = 0; i < list.count; i++) {
        const char *name = list.rows[i].name;
        size_t length = strlen(name);
        if (strncmp(argument, name, length) != 0) continue;
        *value = argument + length;
        if (name[length - 1] == '=' || **value == '\0') return &list.rows[i];
    }
    return nullptr;
}

static void argument_take_out(server_options *o, int i)
{
    char *argument = o->argv[i];
    o->argc--;
    memmove(&o->argv[i], &o->argv[i + 1], (o->argc - i) * sizeof(char *));
    o->argv[o->argc] = argument;
}

static int options_read_pass(server_options *o, int first, const option_list &list)
{
    for (int i = first; i < o->argc;) {
        const char *value;
        const option *row = option_find(list, o->argv[i], &value);
        if (row == nullptr) {
            i++;
            continue;
        }
        int rc = row->read(o, value);
        if (rc != 0) return rc;
        argument_take_out(o, i);
    }
    return 0;
}

// What the options of a Unix-domain socket do not go with; null when they are consistent.
static const char *contradiction_find(const server_options *o)
{
    if (o->path == nullptr)
        return o->mode_given ? "-socket-mode= is for -address=unix:PATH" : nullptr;
    if (o->network_given)
        return "-address=unix:PATH takes the place of a host and a port: one server listens on one "
               "address";
    if (o->nallowed > 0)
        return "-allow= is about network addresses; the mode of a Unix-domain socket's file says "
               "who may connect";
    return nullptr;
}

// The environment may name a path in the place of the host.
static int place_settle(server_options *o)
{
    if (o->path == nullptr && !o->network_given && o->host != nullptr)
        o->path = address_path(o->host);
    const char *wrong = contradiction_find(o);
    return wrong == nullptr ? 0 : complain("", "", wrong);
}

static void defaults_apply(server_options *o)
{
    if (o->path != nullptr) return;
    if (o->host == nullptr) {
        o->host = VNTREMOTE_DEFAULT_HOST;
        log_line(LOG_WARNING, "No host specified (use -host=<hostname>)!\n");
        log_line(LOG_WARNING, "Using default host %s [deprecated]\n", o->host);
    }
    if (o->port == nullptr) {
        o->port = VNTREMOTE_DEFAULT_PORT;
        log_line(LOG_ERROR, "No port specified (use -port=<number>)!\n");
        log_line(LOG_WARNING, "Using default port %s [deprecated]\n", o->port);
    }
}

int options_read(server_options *o, int argc, char **argv)
{
    *o = {};
    o->arguments = o->argc = argc;
    o->argv = argv;
    o->polling = 1000;
    o->action_timeout = 10;
    o->socket_mode = 0600;
    o->log_fd = o->pid_fd = -1;
    log_fd_set(STDERR_FILENO);
    log_level_set(LOG_WARNING);
    log_time_set(false);

    // The log first, for the messages of the rest; libraries before code that may use them.
    int rc = options_read_pass(o, 1, {log_options, std::size(log_options)});
    if (rc != 0) return rc;
    o->host = environment_host(nullptr);
    o->port = environment_port(nullptr);
    rc = options_read_pass(o, 0, {library_options, std::size(library_options)});
    if (rc == 0) rc = options_read_pass(o, 1, {other_options, std::size(other_options)});
    if (rc == 0) rc = place_settle(o);
    if (rc == 0) defaults_apply(o);
    return rc;
}

void options_write_pid(server_options *o)
{
    if (o->pid_fd < 0) return;
    if (ftruncate(o->pid_fd, 0) != 0 || dprintf(o->pid_fd, "%d", getpid()) < 0)
        log_syscall("write");
    fd_close(&o->pid_fd);
}

void options_release(server_options *o)
{
    log_switch(o, -1);
    fd_close(&o->pid_fd);
    while (o->nlibraries > 0)
        library_close(o->libraries[--o->nlibraries]);
    free(o->allowed);
    o->allowed = nullptr;
    free(o->libraries);
    o->libraries = nullptr;
}

} // namespace vnt
