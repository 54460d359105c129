#include "remote/transport/transport.h"

#include "remote/base/holders.h"
#include "remote/stream/async.h"

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <unistd.h>

namespace vnt {

static constexpr transport_operations fdtransport_ops = {
    .recvmsg = fdtransport_recvmsg,
    .startasync = fdtransport_startasync,
    .checkinput = fdtransport_checkinput,
    .mustpoll = fdtransport_mustpoll,
    .sendmsg = fdtransport_sendmsg,
    .factoryname = fdtransport_factoryname,
    .reconnectinfolen = fdtransport_reconnectinfolen,
    .disconnect = nullptr, // descriptors cannot be connected again
    .destroy = fdtransport_destroy,
    .ctrlint = nullptr, // there are no time-outs to set
    .ctrllong = nullptr,
    .ctrldbl = nullptr,
};

static int init_locks(transport *t)
{
    if (pthread_mutex_init(&t->sendlock, nullptr) != 0) return MESSAGE_LOCK;
    if (pthread_mutex_init(&t->recvlock, nullptr) == 0) return 0;
    pthread_mutex_destroy(&t->sendlock);
    return MESSAGE_LOCK;
}

static int create_codecs(transport *t, int n, const codec_factory *const *factories)
{
    t->codecs = static_cast<codec **>(calloc(n > 0 ? n : 1, sizeof(codec *)));
    if (t->codecs == nullptr) return MESSAGE_NOMEMORY;
    for (int i = 0; i < n; i++) {
        int rc = factories[i]->create(&t->codecs[i], t->io, t->io);
        if (rc != 0) return rc;
        t->ncodecs++; // only now: teardown destroys only what was made
    }
    return 0;
}

int fdtransport_setup(transport *t, int infd, int outfd, int nothreads, int ncodecs,
                      const codec_factory *const *factories)
{
    t->tag = TRANSPORT_TAG;
    t->infd = t->outfd = -1;
    int rc = init_locks(t);
    if (rc != 0) return rc;
    rc = fdio_create(&t->io, infd, outfd, !nothreads, nullptr, nullptr);
    if (rc == 0) rc = create_codecs(t, ncodecs, factories);
    if (rc != 0) {
        fdtransport_teardown(t);
        return rc;
    }
    t->infd = infd; // from here on the transport closes the descriptors
    t->outfd = outfd;
    return 0;
}

static void close_descriptors(transport *t)
{
    if (t->io != nullptr) fdio_stopasync(static_cast<fdio *>(t->io), t->infd >= 0);
    if (t->infd >= 0) close(t->infd);
    if (t->outfd >= 0 && t->outfd != t->infd) close(t->outfd);
    t->infd = t->outfd = -1;
}

// Has the message received last freed by the codec that made it.
static void free_pending(transport *t)
{
    if (t->pending == nullptr) return;
    for (int64_t i = 0; i < t->ncodecs; i++)
        if (t->codecs[i]->ops.delmsg(t->codecs[i], t->pending) == 0) break;
    t->pending = nullptr;
}

static void destroy_codecs(transport *t)
{
    for (; t->ncodecs > 0; t->ncodecs--)
        t->codecs[t->ncodecs - 1]->ops.destroy(t->codecs[t->ncodecs - 1]);
    free(t->codecs);
    t->codecs = nullptr;
}

void fdtransport_teardown(transport *t)
{
    close_descriptors(t);
    free_pending(t);
    destroy_codecs(t);
    if (t->io != nullptr) t->io->ops.destroy(t->io);
    t->io = nullptr;
    pthread_mutex_destroy(&t->sendlock);
    pthread_mutex_destroy(&t->recvlock);
}

// What the arguments ask for.
struct fdtransport_options {
    int infd;
    int outfd;
    int nothreads;
    bool log;
};

// The text behind the prefix; null when the text does not begin with it.
static const char *behind(const char *text, const char *prefix)
{
    size_t n = strlen(prefix);
    return strncmp(text, prefix, n) == 0 ? text + n : nullptr;
}

// Reads a descriptor number, which is all of the text.  Returns -1 for anything else.
static int descriptor_number(const char *text)
{
    long number = 0;
    if (*text == '\0') return -1;
    for (; *text != '\0'; text++) {
        if (*text < '0' || *text > '9') return -1;
        number = 10 * number + (*text - '0');
        if (number > INT_MAX) return -1;
    }
    return static_cast<int>(number);
}

static int parse_argument(fdtransport_options *options, const char *text)
{
    if (const char *in = behind(text, "-infd=")) return (options->infd = descriptor_number(in));
    if (const char *out = behind(text, "-outfd=")) return (options->outfd = descriptor_number(out));
    if (strcmp(text, "-nothreads") == 0) return options->nothreads = 1;
    if (strcmp(text, "-log") == 0) return options->log = true;
    return behind(text, "-libpath=") != nullptr ? 0 : -1;
}

static int parse(fdtransport_options *options, int argc, const char *const *argv)
{
    *options = {-1, -1, 0, false};
    for (int i = 0; i < argc; i++)
        if (parse_argument(options, argv[i]) < 0) return MESSAGE_INVALID;
    return options->infd >= 0 && options->outfd >= 0 ? 0 : MESSAGE_INVALID;
}

// The log is a convenience: a stream works without it.
static void open_log(stream *s)
{
    char name[32];
    snprintf(name, sizeof name, "fd%d.log", static_cast<int>(getpid()));
    static_cast<fdio *>(s)->log = fopen(name, "we");
}

int fdtransport_create(transport **out, int ncodecs, const codec_factory *const *factories,
                       int argc, const char *const *argv)
{
    fdtransport_options options;
    *out = nullptr;
    int rc = parse(&options, argc, argv);
    if (rc != 0) return rc;
    auto t = static_cast<transport *>(calloc(1, sizeof(transport)));
    if (t == nullptr) return MESSAGE_NOMEMORY;
    rc = fdtransport_setup(t, options.infd, options.outfd, options.nothreads, ncodecs, factories);
    if (rc != 0) {
        free(t);
        return rc;
    }
    if (options.log) open_log(t->io);
    t->ops = fdtransport_ops;
    *out = t;
    return 0;
}

int codecs_send(codec *const *codecs, int64_t n, const void *message)
{
    for (int64_t i = 0; i < n; i++) {
        int rc = codecs[i]->ops.sendmsg(codecs[i], message);
        if (rc != MESSAGE_UNKNOWN) return rc;
    }
    return MESSAGE_UNKNOWN;
}

int fdtransport_sendmsg(transport *t, const void *message)
{
    mutex_holder hold(&t->sendlock);
    return codecs_send(t->codecs, t->ncodecs, message);
}

int fdtransport_recvmsg(transport *t, void **message)
{
    *message = nullptr;
    mutex_holder hold(&t->recvlock);
    free_pending(t);
    int rc = MESSAGE_UNKNOWN;
    for (int64_t i = 0; rc == MESSAGE_UNKNOWN && i < t->ncodecs; i++)
        rc = t->codecs[i]->ops.recvmsg(t->codecs[i], &t->pending);
    *message = t->pending;
    return rc;
}

static void relay(stream *, void *arg)
{
    auto t = static_cast<transport *>(arg);
    t->callback(t, t->callbackarg);
}

int fdtransport_startasync(transport *t, transport_callback callback, void *arg)
{
    t->callback = callback;
    t->callbackarg = arg;
    return t->io->ops.startasync(t->io, callback != nullptr ? relay : nullptr, t);
}

int fdtransport_checkinput(transport *t, int *flag)
{
    return t->io->ops.checkinput(t->io, flag);
}

int fdtransport_mustpoll(transport *t)
{
    return t->io->ops.mustpoll(t->io);
}

const char *fdtransport_factoryname(void)
{
    return "fdtransport";
}

int fdtransport_reconnectinfolen(void)
{
    return -1;
}

int fdtransport_destroy(transport *t)
{
    fdtransport_teardown(t);
    free(t);
    return 0;
}

} // namespace vnt
