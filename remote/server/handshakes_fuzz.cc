// handshakes_fuzz.cc: any bytes as what clients say first, in any pieces, several at a time.

#include "remote/base/io.h"
#include "remote/base/log.h"
#include "remote/server/handshakes.h"
#include "remote/server/owned.h"
#include "remote/transport/handshake.h"

#include <algorithm>
#include <sys/socket.h>
#include <unistd.h>

namespace vnt {

// The server takes over every third connection and refuses the others.
static int adopt(void *, int client, const char *)
{
    static int n;
    if (n++ % 3 != 0) return HANDSHAKE_NOFORK;
    owned_close(client);
    return HANDSHAKE_OK;
}

static int adopt_again(void *, int client, int64_t worker_id)
{
    return worker_id % 2 != 0 ? adopt(nullptr, client, "") : HANDSHAKE_NOTFOUND;
}

static void serve(handshakes *h)
{
    static struct pollfd fds[HANDSHAKES_MAX];
    handshakes_poll(h, fds);
    poll(fds, static_cast<nfds_t>(h->count), 0);
    handshakes_serve(h, fds);
}

// Each byte before a piece says whose it is, how long, and whether that client then goes.
extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    log_fd_set(-1);
    return owned_create();
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static handshakes h;
    h.timeout = 1000;
    h.actions = {nullptr, adopt, adopt_again};
    int client[4];
    for (int &fd : client) {
        int ends[2];
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends) != 0)
            return -1;
        fd = ends[0];
        handshakes_add(&h, owned_add(ends[1]));
    }
    for (size_t at = 0; at < size;) {
        const uint8_t what = data[at++];
        int &fd = client[what & 3];
        const size_t length = std::min<size_t>(what >> 2 & 15, size - at);
        if (fd >= 0) send(fd, data + at, length, MSG_NOSIGNAL);
        at += length;
        if (what >= 128 && fd >= 0) {
            close(fd);
            fd = -1;
        }
        serve(&h);
    }
    for (int fd : client)
        if (fd >= 0) close(fd);
    for (int i = 0; i < 20 && h.count > 0; i++)
        serve(&h);
    return h.count == 0 ? 0 : (abort(), 0); // a client that went leaves nothing
}

} // namespace vnt
