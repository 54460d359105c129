#include "remote/stream/async.h"

#include "remote/base/holders.h"
#include "remote/base/io.h"
#include "remote/stream/descriptor.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>

#include <aio.h>
#include <fcntl.h>
#include <semaphore.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

namespace vnt {

// A listener's commands.
enum : int32_t { COMMAND_NONE = 0, COMMAND_ARM = 1, COMMAND_STOP = 2 };

// What still uses a notice.  Zero means that it is being cleared.
enum : uint32_t {
    NOTICE_FREE = 1,
    NOTICE_OWNED = 2,    // by a stream
    NOTICE_SIGNAL = 4,   // its read's end is to be announced by a signal
    NOTICE_THREAD = 8,   // its read's end is to be announced by a thread
    NOTICE_POSTING = 16, // it is being announced
    NOTICE_TURN = 32     // counts the reads above the flags
};

// An asynchronous read of one byte.  The system, a signal or a notification thread may come back to
// it after its stream has gone; so notices are never freed, only used again.  Signals of one kind
// are merged while one is pending: the handler looks at all notices, whoever it was sent for.
struct fdio_notice {
    fdio_notice *next; // constant once it is in the list
    std::atomic<uint32_t> state;
    int fd; // of its own, so that the number is not used again while a read is in flight
    sem_t fired;
    aiocb control;
    unsigned char byte;
    pthread_mutex_t lock; // guards what follows
    pthread_cond_t rest;
    bool pending; // the byte has not been collected
    int relaying; // threads in the owner's callback
    fdio *owner;
};

static std::atomic<fdio_notice *> notices;

// Takes a flag off; whoever takes the last one clears the notice.
static void notice_release(fdio_notice *n, uint32_t flag)
{
    uint32_t before = n->state.fetch_and(~flag);
    if (before % NOTICE_TURN != flag) return;
    close(n->fd);
    n->fd = -1;
    n->state.fetch_or(NOTICE_FREE);
}

// Announces the end of a read by signal, once.  Safe in a signal handler.
static void notice_announce(fdio_notice *n)
{
    uint32_t state = n->state.load();
    if ((state & NOTICE_SIGNAL) == 0) return;
    if (aio_error(&n->control) == EINPROGRESS) return;
    // Fails when somebody else announced it meanwhile, even if the next read is already armed.
    uint32_t posting = (state & ~NOTICE_SIGNAL) | NOTICE_POSTING;
    if (!n->state.compare_exchange_strong(state, posting)) return;
    sem_post(&n->fired);
    notice_release(n, NOTICE_POSTING);
}

static void notices_announce(void)
{
    for (fdio_notice *n = notices.load(); n != nullptr; n = n->next)
        notice_announce(n);
}

static void on_signal(int, siginfo_t *, void *)
{
    int saved = errno;
    notices_announce();
    errno = saved;
}

// The handler stays once it is installed: another stream's signal may be on its way, and the
// default action of the signal would end the process.
static int handler_install(void)
{
    struct sigaction action = {};
    action.sa_sigaction = on_signal;
    action.sa_flags = SA_SIGINFO | SA_RESTART;
    sigemptyset(&action.sa_mask);
    return sigaction(SIGUSR1, &action, nullptr) == 0 ? 0 : MESSAGE_NOCONNECTION;
}

static fdio_notice *notice_create(void)
{
    auto n = static_cast<fdio_notice *>(calloc(1, sizeof(fdio_notice)));
    if (n == nullptr) return nullptr;
    if (sem_init(&n->fired, 0, 0) != 0) {
        free(n);
        return nullptr;
    }
    pthread_mutex_init(&n->lock, nullptr);
    pthread_cond_init(&n->rest, nullptr);
    n->fd = -1;
    n->state.store(NOTICE_OWNED);
    n->next = notices.load();
    while (!notices.compare_exchange_weak(n->next, n)) {
    }
    return n;
}

static fdio_notice *notice_take(void)
{
    notices_announce();
    for (fdio_notice *n = notices.load(); n != nullptr; n = n->next) {
        uint32_t state = n->state.load();
        uint32_t owned = state - NOTICE_FREE + NOTICE_OWNED;
        if (state % NOTICE_TURN == NOTICE_FREE && n->state.compare_exchange_strong(state, owned))
            return n;
    }
    return notice_create();
}

// Gives the stream a notice.  Errors: LOCK, IO.
static int notice_attach(fdio *f)
{
    if (f->notice != nullptr) return 0;
    fdio_notice *n = notice_take();
    if (n == nullptr) return MESSAGE_LOCK;
    n->fd = fcntl(f->infd, F_DUPFD_CLOEXEC, 0);
    if (n->fd < 0) {
        notice_release(n, NOTICE_OWNED);
        return MESSAGE_IO;
    }
    n->pending = false;
    n->owner = f;
    f->notice = n;
    return 0;
}

// Waits for the end of the read in flight.
static int read_await(fdio_notice *n, int64_t deadline)
{
    const aiocb *list[] = {&n->control};
    while (aio_error(&n->control) == EINPROGRESS) {
        timespec left = clock_span(clock_left(deadline));
        const timespec *limit = deadline != CLOCK_NEVER ? &left : nullptr;
        if (aio_suspend(list, 1, limit) == 0 || errno == EINTR) continue;
        if (errno == EAGAIN) errno = ETIMEDOUT;
        return MESSAGE_IO;
    }
    return 0;
}

// Moves the byte of a read that has ended to the bytes read ahead.  The notice is locked.
static int byte_collect(fdio_notice *n, fdio *f)
{
    n->pending = false;
    errno = aio_error(&n->control);
    if (errno != 0) return MESSAGE_IO;
    // At the end of the input there is no byte, and the next read sees the end itself.
    if (aio_return(&n->control) == 1) f->ahead[f->preread++] = n->byte;
    return 0;
}

int async_collect(fdio *f)
{
    fdio_notice *n = f->notice;
    mutex_holder hold(&n->lock);
    if (!n->pending) return 0;
    int rc = read_await(n, timeout_deadline(&f->readtimeout));
    return rc == 0 ? byte_collect(n, f) : rc;
}

static void owner_call(fdio_notice *n)
{
    fdio *f = n->owner;
    stream_callback callback = f->callback;
    void *arg = f->callbackarg;
    n->relaying++;
    pthread_mutex_unlock(&n->lock);
    callback(f, arg);
    pthread_mutex_lock(&n->lock);
    n->relaying--;
    pthread_cond_broadcast(&n->rest);
}

// Runs on a thread of the system's asynchronous input.  It may come late: a read of the stream may
// have taken the byte, and the next read may be in flight, whose own thread follows.
static void on_thread(sigval value)
{
    auto n = static_cast<fdio_notice *>(value.sival_ptr);
    pthread_mutex_lock(&n->lock);
    if ((n->state.load() & NOTICE_THREAD) != 0 && aio_error(&n->control) != EINPROGRESS) {
        bool waiting = n->pending && n->owner != nullptr;
        if (waiting) byte_collect(n, n->owner);
        notice_release(n, NOTICE_THREAD); // before the callback, which may arm the next one
        if (waiting) owner_call(n);
    }
    pthread_mutex_unlock(&n->lock);
}

// An announcement by thread that has not come yet was for a read before this one.
static void notice_mark_armed(fdio_notice *n, uint32_t how)
{
    uint32_t state = n->state.load(), armed;
    do
        armed = ((state + NOTICE_TURN) & ~NOTICE_THREAD) | how;
    while (!n->state.compare_exchange_weak(state, armed));
}

// Starts the read.  The notice is locked, and no read is in flight.
static int read_start(fdio_notice *n, bool bysignal)
{
    n->control = {};
    n->control.aio_fildes = n->fd;
    n->control.aio_buf = &n->byte;
    n->control.aio_nbytes = 1;
    sigevent *event = &n->control.aio_sigevent;
    event->sigev_value.sival_ptr = n;
    event->sigev_signo = SIGUSR1;
    event->sigev_notify = bysignal ? SIGEV_SIGNAL : SIGEV_THREAD;
    if (!bysignal) event->sigev_notify_function = on_thread;
    if (aio_read(&n->control) != 0) return MESSAGE_IO;
    n->pending = true;
    // Armed only now: the handler must not look at a control block in the making.  It is looked at
    // once more in case the signal was here before.
    notice_mark_armed(n, bysignal ? NOTICE_SIGNAL : NOTICE_THREAD);
    notice_announce(n);
    return 0;
}

static int arm_locked(fdio_notice *n, fdio *f, bool bysignal)
{
    if (n->owner == nullptr) return 0; // the stream is being destroyed; its callback arms in vain
    if (n->pending) {
        if (aio_error(&n->control) == EINPROGRESS) return 0; // is armed already
        int rc = byte_collect(n, f);
        if (rc != 0) return rc;
    }
    notice_announce(n);
    while (sem_trywait(&n->fired) == 0) {
    } // announcements of what has been read since
    if (f->preread == sizeof f->ahead) return MESSAGE_IO;
    return read_start(n, bysignal);
}

static int arm(fdio *f, bool bysignal)
{
    fdio_notice *n = f->notice;
    pthread_mutex_lock(&n->lock);
    int rc = arm_locked(n, f, bysignal);
    pthread_mutex_unlock(&n->lock);
    return rc;
}

static int signal_start(fdio *f)
{
    int rc = notice_attach(f);
    if (rc == 0) rc = handler_install();
    return rc == 0 ? arm(f, true) : rc;
}

static int thread_start(fdio *f, stream_callback callback, void *arg)
{
    int rc = notice_attach(f);
    if (rc != 0) return rc;
    pthread_mutex_lock(&f->notice->lock);
    f->callback = callback;
    f->callbackarg = arg;
    pthread_mutex_unlock(&f->notice->lock);
    return arm(f, false);
}

static void notice_detach(fdio *f, bool closing)
{
    fdio_notice *n = f->notice;
    if (n == nullptr) return;
    pthread_mutex_lock(&n->lock);
    n->owner = nullptr;
    while (n->relaying > 0)
        pthread_cond_wait(&n->rest, &n->lock);
    if (closing && n->pending && shutdown(n->fd, SHUT_RD) == 0) read_await(n, CLOCK_NEVER);
    pthread_mutex_unlock(&n->lock);
    notice_announce(n);
    f->notice = nullptr;
    notice_release(n, NOTICE_OWNED);
}

// Waits for input; false when it was woken for another command.
static bool input_await(fdio *f)
{
    return io_wait(f->infd, POLLIN, f->wakefd, CLOCK_NEVER) > 0;
}

static void *listen(void *arg)
{
    auto f = static_cast<fdio *>(arg);
    for (;;) {
        pthread_mutex_lock(&f->listenerlock);
        while (f->command == COMMAND_NONE)
            pthread_cond_wait(&f->listenercondition, &f->listenerlock);
        int32_t command = f->command;
        f->command = COMMAND_NONE;
        pthread_mutex_unlock(&f->listenerlock);
        if (command == COMMAND_STOP) return nullptr;
        if (!input_await(f)) continue;
        pthread_mutex_lock(&f->listenerlock);
        stream_callback callback = f->callback;
        void *callbackarg = f->callbackarg;
        pthread_mutex_unlock(&f->listenerlock);
        callback(f, callbackarg);
    }
}

static void listener_release(fdio *f)
{
    pthread_cond_destroy(&f->listenercondition);
    pthread_mutex_destroy(&f->listenerlock);
    close(f->wakefd);
    f->wakefd = -1;
}

// Starts the thread with all signals blocked: they are for the program's own threads.
static int listener_spawn(fdio *f)
{
    sigset_t all, before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    int error = pthread_create(&f->listener, nullptr, listen, f);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return error == 0 ? 0 : MESSAGE_THREAD;
}

static int listener_create(fdio *f)
{
    f->command = COMMAND_NONE;
    f->wakefd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (f->wakefd < 0) return MESSAGE_LOCK;
    pthread_mutex_init(&f->listenerlock, nullptr);
    pthread_cond_init(&f->listenercondition, nullptr);
    int rc = listener_spawn(f);
    if (rc != 0)
        listener_release(f);
    else
        f->listening = true;
    return rc;
}

// A stop stays: a callback that arms again while the stream is destroyed must not replace it, or
// the thread would wait for input for ever.
static void listener_command(fdio *f, int32_t command)
{
    if (f->command != COMMAND_STOP) f->command = command;
    pthread_cond_signal(&f->listenercondition);
}

static int listener_start(fdio *f, stream_callback callback, void *arg)
{
    int rc = f->listening ? 0 : listener_create(f);
    if (rc != 0) return rc;
    pthread_mutex_lock(&f->listenerlock);
    f->callback = callback;
    f->callbackarg = arg;
    listener_command(f, COMMAND_ARM);
    pthread_mutex_unlock(&f->listenerlock);
    return 0;
}

static void listener_stop(fdio *f)
{
    if (!f->listening) return;
    pthread_mutex_lock(&f->listenerlock);
    listener_command(f, COMMAND_STOP);
    pthread_mutex_unlock(&f->listenerlock);
    eventfd_write(f->wakefd, 1);
    pthread_join(f->listener, nullptr);
    listener_release(f);
    f->listening = false;
}

int fdio_mustpoll(stream *s)
{
    return static_cast<fdio *>(s)->uselistener == 0;
}

int fdio_checkinput(stream *s, int *flag)
{
    fdio_notice *n = static_cast<fdio *>(s)->notice;
    *flag = 0;
    if (n == nullptr) return 0;
    notice_announce(n);
    if (sem_trywait(&n->fired) == 0)
        *flag = 1;
    else if (errno != EAGAIN && errno != EINTR)
        return MESSAGE_NOCONNECTION;
    return 0;
}

int fdio_startasync(stream *s, stream_callback callback, void *arg)
{
    auto f = static_cast<fdio *>(s);
    if (callback == nullptr) return signal_start(f);
    return f->uselistener != 0 ? listener_start(f, callback, arg) : thread_start(f, callback, arg);
}

void fdio_stopasync(fdio *f, bool closing)
{
    listener_stop(f);
    notice_detach(f, closing);
}

} // namespace vnt
