#include "remote/transport/tcpip.h"

#include "remote/base/address.h"
#include "remote/base/entry.h"
#include "remote/base/environment.h"
#include "remote/base/holders.h"
#include "remote/base/io.h"
#include "remote/base/log.h"
#include "remote/base/socket.h"
#include "remote/codec/catalogue.h"
#include "remote/transport/group.h"

#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <netdb.h>
#include <netinet/in.h>
#include <unistd.h>

namespace vnt {

static const char *tcpiptransport_factoryname(void)
{
    return "tcpiptransport";
}

static int tcpiptransport_reconnectinfolen(void)
{
    return sizeof(tcpip_reconnectinfo);
}

static int tcpiptransport_disconnect(transport *t, void *info)
{
    if (info != nullptr) tcpip_fill_info(t, static_cast<tcpip_reconnectinfo *>(info));
    fdtransport_teardown(t);
    free(t);
    return 0;
}

static int tcpiptransport_destroy(transport *t)
{
    // The worker may be gone already, so a failure does not matter.
    vntmsg_TERMINATE terminate = {nullptr, VNTMESSAGEID_TERMINATE};
    fdtransport_sendmsg(t, &terminate);
    fdtransport_teardown(t);
    free(t);
    return 0;
}

// --- Time-outs -------------------------------------------------------------------------------

static timeval milliseconds(int64_t ms)
{
    return {ms / 1000, ms % 1000 * 1000};
}

// The system's own time-out is set as well, for code that uses the socket directly.
static int set_timeout(int fd, int option, fdio_timeout *timeout, int64_t ms)
{
    timeval value = milliseconds(ms > 0 ? ms : 0);
    if (setsockopt(fd, SOL_SOCKET, option, &value, sizeof value) != 0) return MESSAGE_INVALID;
    if (ms >= 0) timeout->active = value;
    timeout->enabled = ms >= 0;
    return 0;
}

static int64_t get_timeout(const fdio_timeout *timeout)
{
    if (timeout->enabled == 0) return -1;
    return timeout->active.tv_sec * 1000 + timeout->active.tv_usec / 1000;
}

static int control(transport *t, int32_t key, int64_t *ms)
{
    fdio_timeout *read = t->io->ops.getreadtimeout(t->io);
    fdio_timeout *write = t->io->ops.getwritetimeout(t->io);
    switch (key) {
    case CTRL_SET_READTIMEOUT: return set_timeout(t->infd, SO_RCVTIMEO, read, *ms);
    case CTRL_SET_WRITETIMEOUT: return set_timeout(t->outfd, SO_SNDTIMEO, write, *ms);
    case CTRL_GET_READTIMEOUT: *ms = get_timeout(read); return 0;
    case CTRL_GET_WRITETIMEOUT: *ms = get_timeout(write); return 0;
    default: return MESSAGE_INVALID;
    }
}

static int tcpiptransport_ctrllong(transport *t, int32_t key, int64_t *value)
{
    return value != nullptr ? control(t, key, value) : MESSAGE_INVALID;
}

static int tcpiptransport_ctrlint(transport *t, int32_t key, int32_t *value)
{
    if (value == nullptr) return MESSAGE_INVALID;
    int64_t ms = *value;
    int rc = control(t, key, &ms);
    *value = static_cast<int32_t>(ms < INT_MAX ? ms : INT_MAX);
    return rc;
}

// Refuses values that an int64_t cannot hold, and NaN.
static int tcpiptransport_ctrldbl(transport *t, int32_t key, double *value)
{
    static constexpr double BEYOND = 9223372036854775808.0;
    if (value == nullptr) return MESSAGE_INVALID;
    bool sets = key == CTRL_SET_READTIMEOUT || key == CTRL_SET_WRITETIMEOUT;
    if (sets && !(std::fabs(*value) < BEYOND)) return MESSAGE_INVALID;
    int64_t ms = sets ? static_cast<int64_t>(*value) : 0;
    int rc = control(t, key, &ms);
    if (rc == 0 && !sets) *value = static_cast<double>(ms);
    return rc;
}

static constexpr transport_operations tcpip_ops = {
    .recvmsg = fdtransport_recvmsg,
    .startasync = fdtransport_startasync,
    .checkinput = fdtransport_checkinput,
    .mustpoll = fdtransport_mustpoll,
    .sendmsg = fdtransport_sendmsg,
    .factoryname = tcpiptransport_factoryname,
    .reconnectinfolen = tcpiptransport_reconnectinfolen,
    .disconnect = tcpiptransport_disconnect,
    .destroy = tcpiptransport_destroy,
    .ctrlint = tcpiptransport_ctrlint,
    .ctrllong = tcpiptransport_ctrllong,
    .ctrldbl = tcpiptransport_ctrldbl,
};

// --- Making a transport ----------------------------------------------------------------------

// Holds a transport that is not connected yet, so no worker has to be ended.
struct transport_undo {
    void operator()(tcpip_transport *t) const
    {
        int error = errno; // the failure's, which the caller wants to see
        if (t->io != nullptr) fdtransport_teardown(t);
        free(t);
        errno = error;
    }
};
using transport_holder = std::unique_ptr<tcpip_transport, transport_undo>;

// A time-out starts with the socket's value, disabled.
static void inherit_timeout(int fd, int option, fdio_timeout *timeout)
{
    socklen_t length = sizeof timeout->active;
    if (getsockopt(fd, SOL_SOCKET, option, &timeout->active, &length) != 0) timeout->active = {};
    timeout->enabled = 0;
}

// Waits for the outcome of a connect that is under way.
static int await_connected(int fd, int64_t deadline)
{
    if (io_wait(fd, POLLOUT, -1, deadline) <= 0) return -1;
    int error = 0;
    socklen_t length = sizeof error;
    if (getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &length) != 0) return -1;
    errno = error;
    return error == 0 ? 0 : -1;
}

// On a Unix-domain socket, EAGAIN means that as many clients wait there as may; there is no event
// for the end of that.
static int connect_begin(const tcpip_transport *t, int fd, int64_t deadline)
{
    auto *address = reinterpret_cast<const sockaddr *>(t->address);
    for (;;) {
        int rc = connect(fd, address, static_cast<socklen_t>(t->address_length));
        if (rc == 0 || errno != EAGAIN || t->family != AF_UNIX) return rc;
        errno = ETIMEDOUT;
        if (clock_left(deadline) <= 0) return rc;
        clock_sleep(0.01);
    }
}

// Connects the socket and then makes it blocking.
static int reach(const tcpip_transport *t, int fd, int64_t deadline)
{
    int rc = connect_begin(t, fd, deadline);
    if (rc != 0 && (errno == EINPROGRESS || errno == EINTR)) rc = await_connected(fd, deadline);
    if (rc == 0) rc = fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) & ~O_NONBLOCK);
    if (rc == 0) return 0;
    int error = errno;
    trace_line(1, "connect: %d/%d\n", error, error);
    errno = error;
    return MESSAGE_NOCONNECTION;
}

static int open_socket(const tcpip_transport *t)
{
    int fd = socket(t->family, t->type | SOCK_CLOEXEC | SOCK_NONBLOCK, t->protocol);
    if (fd < 0) {
        int error = errno;
        trace_line(1, "connect: %d/%d\n", error, error);
        errno = error;
    }
    return fd;
}

namespace {
// What making a transport takes besides the address.
struct connecting {
    int ncodecs;
    const codec_factory *const *factories;
    uint32_t action;
    int64_t deadline; // of all waits together
    bool reached;     // a server has accepted the connection
};
} // namespace

// Makes the transport that `info` describes and joins a worker: a new one, or the one with info's
// id.  `patience` is the deadline for reaching this address.
static int create(transport **out, connecting *c, const tcpip_reconnectinfo &info, int64_t patience)
{
    transport_holder t(static_cast<tcpip_transport *>(calloc(1, sizeof(tcpip_transport))));
    if (t == nullptr) return MESSAGE_NOMEMORY;
    memcpy(t->tcpip_tag, "pIcT", sizeof t->tcpip_tag);
    t->nothreads = info.nothreads;
    t->worker_id = info.worker_id;
    t->family = info.family;
    t->type = info.type;
    t->protocol = info.protocol;
    memcpy(t->address, info.address, sizeof t->address);
    t->address_length = info.address_length;

    descriptor_holder fd(open_socket(t.get()));
    if (fd.fd < 0) return MESSAGE_NOCONNECTION;
    socket_tune(fd.fd);
    int rc = fdtransport_setup(t.get(), fd.fd, fd.fd, t->nothreads, c->ncodecs, c->factories);
    if (rc != 0) return rc;
    int connection = fd.release(); // the transport closes it from here on
    inherit_timeout(connection, SO_RCVTIMEO, t->io->ops.getreadtimeout(t->io));
    inherit_timeout(connection, SO_SNDTIMEO, t->io->ops.getwritetimeout(t->io));
    rc = reach(t.get(), connection, patience);
    if (rc != 0) return rc;
    c->reached = true;
    rc = handshake_ask(connection, c->action, &t->worker_id, c->deadline);
    if (rc != 0) return rc;
    t->ops = tcpip_ops;
    *out = t.release();
    return 0;
}

int tcpip_reconnect(transport **out, int ncodecs, const codec_factory *const *factories,
                    const void *bytes, int64_t timeout)
{
    *out = nullptr;
    if (ncodecs < 1) return MESSAGE_INVALID;
    tcpip_reconnectinfo info;
    memcpy(&info, bytes, sizeof info);
    if (info.address_length > sizeof info.address) return MESSAGE_INVALID;
    connecting c = {ncodecs, factories, ACTION_RECONNECT, clock_after_ms(timeout), false};
    return create(out, &c, info, c.deadline);
}

static int tcpiptransport_reconnect(transport **out, int ncodecs,
                                    const codec_factory *const *factories, const void *info)
{
    return tcpip_reconnect(out, ncodecs, factories, info, TCPIP_CONNECT_TIMEOUT);
}

// --- Arguments -------------------------------------------------------------------------------

// What the arguments say.  The strings are the arguments' own or lie in `address`.
struct destination {
    const char *host;
    const char *port;
    const char *path; // of a Unix-domain socket, in the place of the two
    int nothreads;
    char address[ADDRESS_MAX];
};

static int parse_port(destination *d, const char *text)
{
    char *end;
    errno = 0;
    unsigned long port = strtoul(text, &end, 10);
    if (*text < '0' || *text > '9' || *end != '\0' || port > 65535) return MESSAGE_INVALID;
    d->port = text;
    return 0;
}

static int copy_address(destination *d, const char *text)
{
    size_t length = strlen(text);
    if (length >= ADDRESS_MAX) return MESSAGE_INVALID;
    memcpy(d->address, text, length + 1);
    return 0;
}

static int parse_address(destination *d, const char *text)
{
    d->path = address_path(text);
    if (d->path != nullptr) return 0;
    if (copy_address(d, text) != 0) return MESSAGE_INVALID;
    char *host;
    const char *port = address_split(d->address, &host);
    d->host = host;
    return parse_port(d, port != nullptr ? port : VNTREMOTE_DEFAULT_PORT);
}

static int parse_host(destination *d, const char *text)
{
    d->host = text;
    if (text[0] != '[') return 0;
    if (copy_address(d, text) != 0) return MESSAGE_INVALID;
    d->host = address_unbracket(d->address);
    return 0;
}

static int parse_argument(destination *d, const char *text)
{
    if (strncmp(text, "-host=", 6) == 0) return parse_host(d, text + 6);
    if (strncmp(text, "-port=", 6) == 0) return parse_port(d, text + 6);
    if (strncmp(text, "-address=", 9) == 0) return parse_address(d, text + 9);
    if (strcmp(text, "-nothreads") != 0) return MESSAGE_INVALID;
    d->nothreads = 1;
    return 0;
}

static int parse_environment(destination *d)
{
    char address[ADDRESS_MAX];
    const char *host = environment_host(VNTREMOTE_DEFAULT_HOST);
    if (address_path(host) != nullptr) return parse_address(d, host);
    int n =
        snprintf(address, sizeof address, "%s:%s", host, environment_port(VNTREMOTE_DEFAULT_PORT));
    if (n < 0 || static_cast<size_t>(n) >= sizeof address) return MESSAGE_INVALID;
    return parse_address(d, address);
}

static int parse(destination *d, int argc, const char *const *argv)
{
    d->host = d->port = d->path = nullptr;
    d->nothreads = 0;
    if (argc == -2) return parse_environment(d);
    for (int i = 0; i < argc; i++) {
        int rc = parse_argument(d, argv[i]);
        if (rc != 0) return rc;
    }
    if (d->path != nullptr)
        return d->host == nullptr && d->port == nullptr && *d->path != '\0' ? 0 : MESSAGE_INVALID;
    bool complete = d->host != nullptr && *d->host != '\0' && d->port != nullptr;
    return complete ? 0 : MESSAGE_INVALID;
}

// The way back must not depend on the working directory, so a path becomes a whole one.
typedef char whole_path[PATH_MAX];
static bool path_complete(whole_path &whole, const char *path)
{
    whole_path folder = "";
    const bool relative = *path != '/';
    if (relative && getcwd(folder, sizeof folder) == nullptr) return false;
    const int n = snprintf(whole, sizeof whole, "%s%s%s", folder, relative ? "/" : "", path);
    errno = ENAMETOOLONG;
    return n > 0 && n < PATH_MAX;
}

static void tcpiptransport_place(char *text, size_t size, int argc, const char *const *argv)
{
    int error = errno;
    destination d;
    whole_path whole;
    if (parse(&d, argc, argv) != 0)
        snprintf(text, size, "nowhere");
    else if (d.path != nullptr)
        snprintf(text, size, "unix:%s", path_complete(whole, d.path) ? whole : d.path);
    else
        snprintf(text, size, strchr(d.host, ':') != nullptr ? "[%s]:%s" : "%s:%s", d.host, d.port);
    errno = error;
}

typedef std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> address_list;

static address_list resolve(const destination &d)
{
    addrinfo hints = {};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_V4MAPPED | AI_ADDRCONFIG | AI_NUMERICSERV;
    addrinfo *found = nullptr;
    errno = 0;
    if (getaddrinfo(d.host, d.port, &hints, &found) != 0) found = nullptr;
    return address_list(found, freeaddrinfo);
}

static int fill_info(tcpip_reconnectinfo *info, const addrinfo &address, int nothreads)
{
    if (address.ai_addrlen > sizeof info->address) {
        trace_line(1, "invalid address length: %lu/%lu\n",
                   static_cast<unsigned long>(address.ai_addrlen),
                   static_cast<unsigned long>(sizeof info->address));
        return MESSAGE_NOCONNECTION;
    }
    *info = {};
    info->nothreads = nothreads;
    info->family = address.ai_family;
    info->type = address.ai_socktype;
    info->protocol = address.ai_protocol;
    memcpy(info->address, address.ai_addr, address.ai_addrlen);
    info->address_length = address.ai_addrlen;
    return 0;
}

static int fill_path_info(tcpip_reconnectinfo *info, const destination &d)
{
    whole_path whole;
    sockaddr_un address;
    if (!path_complete(whole, d.path) || !path_address(whole, &address))
        return MESSAGE_NOCONNECTION;
    addrinfo found = {};
    found.ai_family = AF_UNIX;
    found.ai_socktype = SOCK_STREAM;
    found.ai_addr = reinterpret_cast<sockaddr *>(&address);
    found.ai_addrlen = sizeof address;
    return fill_info(info, found, d.nothreads);
}

static int64_t addresses(const addrinfo *list)
{
    int64_t n = 0;
    for (; list != nullptr; list = list->ai_next)
        n++;
    return n;
}

// The remaining addresses share the remaining time, so that a silent one does not use all of it.
static int64_t patience(int64_t deadline, const addrinfo *list)
{
    return deadline == CLOCK_NEVER ? deadline : clock_after(clock_left(deadline) / addresses(list));
}

// Takes the first address that accepts a connection, whatever its server answers.
static int create_first(transport **out, connecting *c, const addrinfo *list, int nothreads)
{
    int rc = MESSAGE_NOCONNECTION;
    for (; list != nullptr && rc == MESSAGE_NOCONNECTION && !c->reached; list = list->ai_next) {
        tcpip_reconnectinfo info;
        rc = fill_info(&info, *list, nothreads);
        if (rc == 0) rc = create(out, c, info, patience(c->deadline, list));
    }
    return rc;
}

static int create_at_host(transport **out, connecting *c, const destination &d)
{
    address_list list = resolve(d);
    return create_first(out, c, list.get(), d.nothreads);
}

static int create_at_path(transport **out, connecting *c, const destination &d)
{
    tcpip_reconnectinfo info;
    int rc = fill_path_info(&info, d);
    return rc == 0 ? create(out, c, info, c->deadline) : rc;
}

int tcpip_connect(transport **out, int *created, int ncodecs, const codec_factory *const *factories,
                  int argc, const char *const *argv, int64_t timeout)
{
    *out = nullptr;
    if (ncodecs < 1 || (argc < 1 && argc != -2)) return MESSAGE_INVALID;
    destination d;
    int rc = parse(&d, argc, argv);
    if (rc != 0) return rc;
    connecting c = {ncodecs, factories, ACTION_NEW, clock_after_ms(timeout), false};
    rc = d.path != nullptr ? create_at_path(out, &c, d) : create_at_host(out, &c, d);
    if (rc == 0) *created = 1;
    return rc;
}

static int tcpiptransport_connect(transport **out, int *created, int ncodecs,
                                  const codec_factory *const *factories, int argc,
                                  const char *const *argv)
{
    return tcpip_connect(out, created, ncodecs, factories, argc, argv, TCPIP_CONNECT_TIMEOUT);
}

static constexpr tcpip_factory factory = {
    .name = "tcpiptransport",
    .usage = "Transport layer that uses TCP/IP sockets.\n"
             "Mandatory arguments:\n"
             "  -host=<name>      Name or address of host.\n"
             "  -port=<number>    Number of port to use.\n"
             "  -address=<addr>   Accepts <addr> in the form <host>:<addr>.\n"
             "Optional arguments:\n"
             "  -nothreads        Don't use threads for asynchronous I/O.\n",
    .connect = tcpiptransport_connect,
    .mkgroup = fdtransport_mkgroup,
    .reconnect = tcpiptransport_reconnect,
    .connect_within = tcpip_connect,
    .reconnect_within = tcpip_reconnect,
    .place = tcpiptransport_place,
};

VNT_ENTRY const tcpip_factory *tcpiptransport_getfactory(void)
{
    return &factory;
}

} // namespace vnt
