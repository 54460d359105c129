#include "remote/server/status.h"

#include "remote/base/holders.h"
#include "remote/base/log.h"
#include "remote/server/handshakes.h"
#include "remote/server/owned.h"
#include "remote/server/server.h"

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/socket.h>
#include <unistd.h>

namespace vnt {

static constexpr int READ_TIME = 10000; // milliseconds in which a client must take something
static constexpr int PAUSE = 100;       // milliseconds without accepting after a failure

int status_open(server *s)
{
    status_port *p = &s->status;
    if (s->options.status == nullptr) return 0;
    p->listen_fd = owned_add(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (p->listen_fd < 0) {
        log_syscall("socket");
        return -1;
    }
    return socketfile_listen(&p->file, p->listen_fd, s->options.status, 0600);
}

int status_poll(const status_port *p, struct pollfd *fds, int *wait)
{
    if (p->listen_fd < 0) return 0;
    const bool paused = clock_ms() < p->resume;
    int64_t first = paused ? p->resume : INT64_MAX;
    fds[0] = {p->count < STATUS_MAX && !paused ? p->listen_fd : -1, POLLIN, 0};
    for (int i = 0; i < p->count; i++) {
        const status_client *c = &p->clients[i];
        fds[1 + i] = {c->fd, static_cast<short>(c->answer != nullptr ? POLLOUT : POLLIN), 0};
        first = std::min(first, c->deadline);
    }
    if (first != INT64_MAX) {
        const auto left = static_cast<int>(std::clamp<int64_t>(first - clock_ms(), 0, INT32_MAX));
        *wait = *wait < 0 ? left : std::min(*wait, left);
    }
    return 1 + p->count;
}

// The parts of the status.  Spans of time are seconds, of which "for" is that of the state and
// "idle" that since the last byte moved.

static double seconds_since(int64_t then)
{
    return static_cast<double>(std::max<int64_t>(clock_ms() - then, 0)) / 1000;
}

// An argument may hold anything, but must stay in its line.
static void text_write(FILE *to, const char *text)
{
    for (; *text != '\0'; text++)
        fputc(static_cast<unsigned char>(*text) < ' ' ? '?' : *text, to);
    fputc('\n', to);
}

static void number_write(FILE *to, double number)
{
    fprintf(to, "%.3f", number);
}

static void number_write(FILE *to, int number)
{
    fprintf(to, "%d", number);
}

static void number_write(FILE *to, uint64_t number)
{
    fprintf(to, "%" PRIu64, number);
}

// The lines of a fact follow from the type of its value.

template <class Number> static void fact_write(FILE *to, const char *word, Number number)
{
    fprintf(to, "%s ", word);
    number_write(to, number);
    fputc('\n', to);
}

// The arguments for the workers come first, then those that the server has taken out.
static void fact_write(FILE *to, const char *word, const server_options &options)
{
    for (int i = 1; i < options.arguments; i++) {
        fprintf(to, "%s ", word);
        text_write(to, options.argv[i]);
    }
}

static void count_write(FILE *to, const char *word, const char *name, uint64_t count)
{
    fprintf(to, "%s %s %" PRIu64 "\n", word, name, count);
}

static void fact_write(FILE *to, const char *word, const handshake_counts &refused)
{
    static const char *const names[] = {"noresources", "nofork",   "noid",
                                        "notparked",   "notfound", "noaction"};
    for (int status = HANDSHAKE_NORESOURCES; status <= HANDSHAKE_NOACTION; status++)
        count_write(to, word, names[status - 1], refused.answered[status]);
    count_write(to, word, "denied", refused.denied);
    count_write(to, word, "silent", refused.silent);
}

static void fact_write(FILE *to, const char *word, const uint64_t (&ended)[ENDS])
{
    for (int end = 0; end < ENDS; end++)
        count_write(to, word, end_texts[end].word, ended[end]);
}

static void server_write(FILE *to, const server *s, const handshakes *open)
{
    char address[SOCKNAM_SIZE];
    socknam(s->listen_fd, 0, address);
    fprintf(to, "version %s\npid %d\naddress ", VNT_VERSION, getpid());
    text_write(to, address);
#define SERVER(type, member, word, json, value, ...) fact_write(to, word, value);
#include "remote/server/status.def"
}

static void worker_write(FILE *to, const char *state, const child_view *w)
{
    fprintf(to, "worker %d pid %d state %s", w->id, w->id, state);
#define WORKER(type, member, word, json, value, ...)                                               \
    fprintf(to, " %s ", word);                                                                     \
    number_write(to, value);
#include "remote/server/status.def"
    fprintf(to, " client ");
    text_write(to, w->peer);
}

// The sums include the workers that are still there.
static void workers_write(FILE *to, server *s)
{
    static const char *const states[] = {"serving", "parked", "orphan"};
    mutex_holder hold(&s->lock);
    server_counts sums = s->counts;
    for (server_child *c = s->children; c != nullptr; c = c->next) {
        const child_view view = child_look(c);
        sums.traffic.received += view.traffic.received;
        sums.traffic.relayed += view.traffic.relayed;
        worker_write(to, states[view.state], &view);
    }
#define SUM(type, member, word, json, value, ...) fact_write(to, word, value);
#include "remote/server/status.def"
}

// A connection that has no worker yet.
static void handshake_write(FILE *to, const handshake *h)
{
    child_view view = {};
    view.started = view.since = view.active = h->since;
    memcpy(view.peer, h->peer, sizeof view.peer);
    worker_write(to, "handshake", &view);
}

static void status_write(FILE *to, server *s, const handshakes *open)
{
    server_write(to, s, open);
    workers_write(to, s);
    for (int i = 0; i < open->count; i++)
        handshake_write(to, &open->open[i]);
    fprintf(to, "end\n");
}

// Whether the client may end workers.
static bool client_is_owner(int fd, ucred *who)
{
    socklen_t length = sizeof *who;
    return getsockopt(fd, SOL_SOCKET, SO_PEERCRED, who, &length) == 0 &&
           (who->uid == geteuid() || who->uid == 0);
}

static bool worker_end_by_id(server *s, long id)
{
    mutex_holder hold(&s->lock);
    for (server_child *c = s->children; c != nullptr; c = c->next) {
        if (c->id != id) continue;
        child_kill(c, END_ORDERED);
        return true;
    }
    return false;
}

static void end_write(FILE *to, server *s, int fd, const char *argument)
{
    ucred who = {};
    char *rest;
    const long id = strtol(argument, &rest, 10);
    if (!client_is_owner(fd, &who)) {
        fprintf(to, "refused: only the user of the server ends workers\n");
    } else if (rest == argument || *rest != '\0' || !worker_end_by_id(s, id)) {
        fprintf(to, "refused: there is no worker ");
        text_write(to, argument);
    } else {
        log_line(LOG_WARNING, "Child %ld: process %d of user %u ordered its end\n", id, who.pid,
                 who.uid);
        fprintf(to, "ended %ld\n", id);
    }
}

// Makes the answer to the line that has been received.
static void request_serve(server *s, const handshakes *open, status_client *c)
{
    c->request[strcspn(c->request, "\r\n")] = '\0';
    FILE *to = open_memstream(&c->answer, &c->length);
    if (to == nullptr) return;
    if (strncmp(c->request, "end ", 4) == 0)
        end_write(to, s, c->fd, c->request + 4);
    else if (c->request[0] == '\0' || strcmp(c->request, "status") == 0)
        status_write(to, s, open);
    else
        fprintf(to, "refused: \"status\" or \"end ID\" is expected\n");
    const bool whole = ferror(to) == 0;
    if (fclose(to) == 0 && whole) return;
    free(c->answer);
    c->answer = nullptr;
}

// The steps below return whether the connection stays.

static bool answer_send(status_client *c)
{
    ssize_t n = send(c->fd, c->answer + c->sent, c->length - c->sent, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (n < 0) return errno == EAGAIN || errno == EINTR;
    c->sent += static_cast<size_t>(n);
    c->deadline = clock_ms() + READ_TIME;
    return c->sent < c->length;
}

static bool request_end(server *s, const handshakes *open, status_client *c)
{
    request_serve(s, open, c);
    c->deadline = clock_ms() + READ_TIME;
    return c->answer != nullptr && answer_send(c);
}

static bool request_receive(server *s, const handshakes *open, status_client *c)
{
    ssize_t n = read(c->fd, c->request + c->have, sizeof c->request - 1 - c->have);
    if (n < 0 && (errno == EAGAIN || errno == EINTR)) return true;
    if (n < 0) return false;
    c->have += static_cast<size_t>(n);
    const bool whole = n == 0 || c->have == sizeof c->request - 1 || strchr(c->request, '\n');
    return !whole || request_end(s, open, c);
}

static bool client_step(server *s, const handshakes *open, status_client *c, bool ready)
{
    const bool late = clock_ms() >= c->deadline;
    if (c->answer != nullptr) return ready ? answer_send(c) : !late;
    if (ready) return request_receive(s, open, c);
    return !late || (c->have == 0 && request_end(s, open, c));
}

// A close with unread bytes would be an error at the client instead of the end.
static void client_close(status_client *c)
{
    char dropped[256];
    (void)!recv(c->fd, dropped, sizeof dropped, MSG_DONTWAIT);
    owned_close(c->fd);
    free(c->answer);
}

static void client_accept(status_port *p)
{
    int fd = owned_add(accept4(p->listen_fd, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (fd < 0) p->resume = clock_ms() + PAUSE; // descriptors may be short
    if (fd < 0) return;
    p->clients[p->count] = {};
    p->clients[p->count].fd = fd;
    p->clients[p->count++].deadline = clock_ms() + STATUS_PATIENCE;
}

void status_serve(server *s, const handshakes *open, const struct pollfd *fds)
{
    status_port *p = &s->status;
    if (p->listen_fd < 0) return;
    const int polled = p->count;
    p->count = 0;
    for (int i = 0; i < polled; i++) {
        status_client c = p->clients[i];
        if (client_step(s, open, &c, fds[1 + i].revents != 0))
            p->clients[p->count++] = c;
        else
            client_close(&c);
    }
    if (fds[0].revents != 0) client_accept(p);
}

} // namespace vnt
