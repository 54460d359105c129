#include "remote/stream/fdiogroup.h"

#include "remote/base/clock.h"
#include "remote/base/socket.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <memory>

#include <poll.h>

namespace vnt {

typedef std::unique_ptr<pollfd, void (*)(void *)> poll_table;

static fdiogroup *group(stream *s)
{
    return static_cast<fdiogroup *>(s);
}

static poll_table make_table(const fdiogroup *g)
{
    size_t n = static_cast<size_t>(g->nmembers);
    return poll_table(static_cast<pollfd *>(calloc(n, sizeof(pollfd))), free);
}

static void fail(fdiogroup *g, fdiogroup_member *m, int code)
{
    m->state = MEMBER_FAILED;
    m->left = 0;
    if (g->error != 0) return;
    g->error = code;
    g->error_errno = errno;
}

// Sends the member what it takes now of the two pieces.  Returns whether it took anything.
static bool push(fdiogroup *g, fdiogroup_member *m, const iovec all[2])
{
    iovec pieces[2] = {all[0], all[1]};
    size_t sent;
    descriptor_advance(pieces, all[0].iov_len + all[1].iov_len - m->left);
    int rc = descriptor_write(m->io->outfd, m->io->out_socket, &m->io->writetimeout, false, pieces,
                              &sent);
    if (rc != 0) fail(g, m, rc);
    if (rc != 0 || sent == 0) return false;
    m->left -= sent;
    m->stall = timeout_deadline(&m->io->writetimeout);
    return true;
}

// The earliest deadline of the members that still have bytes to take.
static int64_t first_stall(const fdiogroup *g)
{
    int64_t first = CLOCK_NEVER;
    for (int64_t i = 0; i < g->nmembers; i++)
        if (g->members[i].left > 0) first = std::min(first, g->members[i].stall);
    return first;
}

// Shuts down the sockets of vanished peers, which poll() then reports as ready.
static void drop_silent(const pollfd *table, nfds_t n)
{
    for (nfds_t i = 0; i < n; i++)
        if (table[i].fd >= 0) socket_drop_silent(table[i].fd);
}

// Waits until a member can take more of its bytes.  Members that took none for too long fail.
static int await_room(fdiogroup *g, pollfd *table)
{
    nfds_t n = 0;
    for (int64_t i = 0; i < g->nmembers; i++)
        if (g->members[i].left > 0) table[n++] = {g->members[i].io->outfd, POLLOUT, 0};
    int ready =
        poll(table, n, clock_left_ms(std::min(first_stall(g), clock_after_ms(SOCKET_LOOK))));
    if (ready > 0 || (ready < 0 && errno == EINTR)) return 0;
    if (ready < 0) return MESSAGE_IO;
    drop_silent(table, n);
    for (int64_t i = 0; i < g->nmembers; i++) {
        errno = ETIMEDOUT;
        if (g->members[i].left > 0 && clock_left(g->members[i].stall) == 0)
            fail(g, &g->members[i], MESSAGE_IO);
    }
    return 0;
}

// One round over the members.  Returns whether any of them took anything.
static bool push_all(fdiogroup *g, const iovec pieces[2])
{
    bool progress = false;
    for (int64_t i = 0; i < g->nmembers; i++)
        if (g->members[i].left > 0 && push(g, &g->members[i], pieces)) progress = true;
    return progress;
}

static bool unsent(const fdiogroup *g)
{
    return std::any_of(g->members, g->members + g->nmembers,
                       [](const fdiogroup_member &m) { return m.left > 0; });
}

// Always returns 0, so that the message goes on to the other members; endoutmsg returns the error.
static int transmit(fdio_writer *w, const void *block, size_t n)
{
    fdiogroup *g = group(w);
    iovec pieces[2] = {{w->outbuf, w->outlen}, {const_cast<void *>(block), n}};
    for (int64_t i = 0; i < g->nmembers; i++) {
        fdiogroup_member *m = &g->members[i];
        m->left = m->state == MEMBER_ACTIVE ? w->outlen + n : 0;
        m->stall = timeout_deadline(&m->io->writetimeout);
    }
    poll_table table = make_table(g);
    while (unsent(g)) {
        if (push_all(g, pieces) || !unsent(g)) continue;
        int rc = table != nullptr ? await_room(g, table.get()) : MESSAGE_NOMEMORY;
        for (int64_t i = 0; rc != 0 && i < g->nmembers; i++)
            if (g->members[i].left > 0) fail(g, &g->members[i], rc);
    }
    w->outlen = 0;
    return 0;
}

static int startoutmsg(stream *s, int32_t id, const void *record, int *must_end)
{
    group(s)->error = 0;
    return fdio_startoutmsg(s, id, record, must_end);
}

static int endoutmsg(stream *s)
{
    fdiogroup *g = group(s);
    fdio_endoutmsg(s);
    if (g->error != 0) errno = g->error_errno;
    return g->error;
}

static constexpr stream_operations make_operations(void)
{
    stream_operations ops = {}; // groups read nothing
    ops.startoutmsg = startoutmsg;
    ops.getcurrentoutmsg = fdio_getcurrentoutmsg;
#define SLOT(kind, type) ops.write##kind = fdio_write##kind;
    FDIO_NUMBERS(SLOT)
#undef SLOT
    ops.writestring = fdio_writestring;
    ops.writearray = fdio_writearray;
    ops.writefile = fdio_writefile;
    ops.endoutmsg = endoutmsg;
    ops.destroy = fdiogroup_destroy;
    return ops;
}
static constexpr stream_operations fdiogroup_ops = make_operations();

int fdiogroup_create(fdiogroup **out, fdio *const *members, int64_t count)
{
    size_t n = static_cast<size_t>(count);
    *out = nullptr;
    auto g = static_cast<fdiogroup *>(calloc(1, sizeof(fdiogroup)));
    if (g == nullptr) return MESSAGE_NOMEMORY;
    g->members = static_cast<fdiogroup_member *>(calloc(n, sizeof(fdiogroup_member)));
    if (g->members == nullptr) {
        free(g);
        return MESSAGE_NOMEMORY;
    }
    g->ops = fdiogroup_ops;
    writer_init(g, 1, transmit);
    g->nmembers = count;
    for (size_t i = 0; i < n; i++)
        g->members[i].io = members[i];
    *out = g;
    return 0;
}

int fdiogroup_destroy(stream *s)
{
    if (s == nullptr) return 0;
    writer_release(group(s));
    free(group(s)->members);
    free(group(s));
    return 0;
}

void fdiogroup_getstate(const fdiogroup *g, uint8_t *states)
{
    for (int64_t i = 0; i < g->nmembers; i++)
        states[i] = g->members[i].state;
}

void fdiogroup_setstate(fdiogroup *g, const uint8_t *states)
{
    for (int64_t i = 0; i < g->nmembers; i++)
        g->members[i].state = states[i];
}

// Waits for input of active members and notes it in their entries of the table; the others' entries
// have no descriptor.  Returns how many members are active, or MESSAGE_IO.
static int64_t await_input(const fdiogroup *g, pollfd *table)
{
    int64_t active = 0;
    bool ahead = false;
    for (int64_t i = 0; i < g->nmembers; i++) {
        const fdiogroup_member *m = &g->members[i];
        bool waits = m->state == MEMBER_ACTIVE;
        table[i] = {waits ? m->io->infd : -1, POLLIN, 0};
        active += waits;
        ahead = ahead || (waits && m->io->preread > 0);
    }
    if (active == 0) return 0;
    auto n = static_cast<nfds_t>(g->nmembers);
    int ready;
    while ((ready = poll(table, n, ahead ? 0 : SOCKET_LOOK)) <= 0 && !(ready == 0 && ahead)) {
        if (ready < 0 && errno != EINTR) return MESSAGE_IO;
        if (ready == 0) drop_silent(table, n);
    }
    for (int64_t i = 0; i < g->nmembers; i++)
        if (table[i].fd >= 0 && g->members[i].io->preread > 0) table[i].revents = POLLIN;
    return active;
}

int fdiogroup_recvone(fdiogroup *g, fdiogroup_callback callback, void *arg)
{
    poll_table table = make_table(g);
    if (table == nullptr) return MESSAGE_NOMEMORY;
    int result = 0;
    for (;;) {
        int64_t active = await_input(g, table.get());
        if (active < 0) return static_cast<int>(active);
        if (active == 0) return result;
        for (int64_t i = 0; i < g->nmembers; i++) {
            if (table.get()[i].fd < 0 || table.get()[i].revents == 0) continue;
            int done = 1;
            int rc = callback(arg, i, &done);
            if (result == 0) result = rc;
            g->members[i].state = rc != 0     ? MEMBER_FAILED
                                  : done != 0 ? MEMBER_FINISHED
                                              : MEMBER_ACTIVE;
        }
    }
}

} // namespace vnt
