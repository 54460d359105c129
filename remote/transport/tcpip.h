// tcpip.h: the transport that reaches a worker over TCP, or over a Unix-domain socket.
//
// It is a descriptor transport over one socket that begins with a handshake.  In addition it can
// disconnect and reconnect, end the worker, and has time-outs.
//
// Ownership: the caller that connects destroys or disconnects; both free the transport.
//
// Threads: as remote/transport/transport.h says; the control requests belong to the thread that
// receives (read time-out) or sends (write time-out).
//
// Errors: 0, a code of remote/message/errors.h, or 1 to 6, the server's handshake status.  After
// NOCONNECTION and IO errno says why, as far as the system knows.

#pragma once

#include "remote/transport/handshake.h"
#include "remote/transport/transport.h"
#include "vanto_remote.h"

#include <cstring>
#include <sys/socket.h>

namespace vnt {

// What a caller keeps between disconnect and reconnect: 160 bytes, host byte order, no padding.
#pragma pack(push, 1)
struct tcpip_reconnectinfo {
    int32_t nothreads;
    int64_t worker_id;
    int32_t family;
    int32_t type;
    int32_t protocol;
    char address[128];
    uint64_t address_length;
};
#pragma pack(pop)
static_assert(sizeof(tcpip_reconnectinfo) == 160);

// The last seven fields are those of the information above, aligned.
struct tcpip_transport : transport {
    char tcpip_tag[4]; // "pIcT"
    int32_t nothreads;
    int64_t worker_id;
    int32_t family;
    int32_t type;
    int32_t protocol;
    char address[128];
    uint64_t address_length;
};

// Transport control codes; values in milliseconds, -1 for none.
enum tcpip_control : int32_t {
    CTRL_SET_READTIMEOUT = 8192,
    CTRL_GET_READTIMEOUT = 8193,
    CTRL_SET_WRITETIMEOUT = 8194,
    CTRL_GET_WRITETIMEOUT = 8195
};

// Fills in how to reconnect to the worker of a transport that is still connected.
inline void tcpip_fill_info(const transport *io, tcpip_reconnectinfo *info)
{
    auto *t = static_cast<const tcpip_transport *>(io);
    info->nothreads = t->nothreads;
    info->worker_id = t->worker_id;
    info->family = t->family;
    info->type = t->type;
    info->protocol = t->protocol;
    memcpy(info->address, t->address, sizeof info->address);
    info->address_length = t->address_length;
}

// How long connecting and the handshake may take together, in milliseconds, unless said otherwise.
constexpr int64_t TCPIP_CONNECT_TIMEOUT = 10000;

// As connect and reconnect of the factory below, with a limit in milliseconds, -1 for none.  The
// addresses of the host's name are tried in order until one accepts the connection; they share the
// time.  Looking up the name is not limited.  After the limit errno is ETIMEDOUT, with NOCONNECTION
// if no address was reached, with IO if the server is silent.
int tcpip_connect(transport **out, int *created, int ncodecs, const codec_factory *const *factories,
                  int argc, const char *const *argv, int64_t timeout);
int tcpip_reconnect(transport **out, int ncodecs, const codec_factory *const *factories,
                    const void *info, int64_t timeout);

struct transport_group;

} // namespace vnt

struct tcpip_factory {
    const char *name;  // "tcpiptransport"
    const char *usage; // for people
    // Arguments: "-host=", "-port=", "-address=", "-nothreads".  "-address=unix:path" stands
    // without host and port.  argc -2: take the place from the environment instead. Errors: INVALID
    // for the arguments or no codecs, NOCONNECTION, IO when the handshake broke off, NOMEMORY,
    // LOCK, a codec factory's code, a handshake status.
    int (*connect)(vnt::transport **out, int *created, int ncodecs,
                   const vnt::codec_factory *const *factories, int argc, const char *const *argv);
    int (*mkgroup)(vnt::transport_group **out, vnt::transport *const *members, int64_t count);
    // `info` is what disconnect filled in.  Errors: as connect's.
    int (*reconnect)(vnt::transport **out, int ncodecs, const vnt::codec_factory *const *factories,
                     const void *info);
    // The two again, with a limit in milliseconds for what they wait for; see tcpip_connect().
    int (*connect_within)(vnt::transport **out, int *created, int ncodecs,
                          const vnt::codec_factory *const *factories, int argc,
                          const char *const *argv, int64_t timeout);
    int (*reconnect_within)(vnt::transport **out, int ncodecs,
                            const vnt::codec_factory *const *factories, const void *info,
                            int64_t timeout);
    // Writes where the arguments lead to, "host:port" or "unix:path", for messages to people.
    // errno stays.
    void (*place)(char *text, size_t size, int argc, const char *const *argv);
};
