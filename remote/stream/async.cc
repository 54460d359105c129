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

// The users of a notice.  Without any it is being cleared.
enum : uint32_t {
    NOTICE_FREE = 1,
    NOTICE_OWNED = 2,    // by a stream
    NOTICE_SIGNAL = 4,   // a signal will announce the end of its read
    NOTICE_THREAD = 8,   // a thread will
    NOTICE_POSTING = 16, // the end is being announced
    NOTICE_TURN = 32     // counts the reads above the flags
};

// An asynchronous read of one byte.  The system, a signal handler or a notification thread may use
// it after its stream has gone, so notices are reused and never freed.  Pending signals of one kind
// merge into one, so the handler checks all notices.
struct fdio_notice {
    fdio_notice *next; // constant once it is in the list
    std::atomic<uint32_t> state;
    int fd; // a duplicate, so that the number is not reused while a read is in flight
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

// Takes a flag off.  Taking the last one clears the notice for reuse.
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
    // Fails if another thread has announced it meanwhile, even if the next read is armed already.
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

// The handler stays installed: another stream's signal may be on its way, and its default action
// would end the process.
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

// Waits for the read in flight to end.
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
    if (aio_return(&n->control) == 1) f->ahead[f->ahead_at + f->preread++] = n->byte;
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

// The notice is locked, except while the callback runs.
static void owner_call(fdio_notice *n)
{
    fdio *f = n->owner;
    stream_callback callback = f->callback;
    void *arg = f->callbackarg;
    n->relaying++;
    {
        mutex_pause pause(&n->lock);
        callback(f, arg);
    }
    n->relaying--;
    pthread_cond_broadcast(&n->rest);
}

// Runs on a thread of the system's asynchronous input.  It may be late: a read of the stream may
// have taken the byte, and the next asynchronous read, which has a thread of its own, may be in
// flight.
static void on_thread(sigval value)
{
    auto n = static_cast<fdio_notice *>(value.sival_ptr);
    mutex_holder hold(&n->lock);
    if ((n->state.load() & NOTICE_THREAD) == 0 || aio_error(&n->control) == EINPROGRESS) return;
    bool waiting = n->pending && n->owner != nullptr;
    if (waiting) byte_collect(n, n->owner);
    notice_release(n, NOTICE_THREAD); // before the callback, which may arm the next read
    if (waiting) owner_call(n);
}

// An announcement by thread that is still due belongs to an earlier read, so its flag goes.
static void notice_mark_armed(fdio_notice *n, uint32_t how)
{
    uint32_t state = n->state.load(), armed;
    do
        armed = ((state + NOTICE_TURN) & ~NOTICE_THREAD) | how;
    while (!n->state.compare_exchange_weak(state, armed));
}

// Starts the read.  The notice is locked, and no read is in flight.
static int read_start(fdio_notice *n, bool by_signal)
{
    n->control = {};
    n->control.aio_fildes = n->fd;
    n->control.aio_buf = &n->byte;
    n->control.aio_nbytes = 1;
    sigevent *event = &n->control.aio_sigevent;
    event->sigev_value.sival_ptr = n;
    event->sigev_signo = SIGUSR1;
    event->sigev_notify = by_signal ? SIGEV_SIGNAL : SIGEV_THREAD;
    if (!by_signal) event->sigev_notify_function = on_thread;
    if (aio_read(&n->control) != 0) return MESSAGE_IO;
    n->pending = true;
    // Armed only now: the handler must not look at a control block that is not complete.  The read
    // may have ended, and its signal come, before that.
    notice_mark_armed(n, by_signal ? NOTICE_SIGNAL : NOTICE_THREAD);
    notice_announce(n);
    return 0;
}

static int arm_locked(fdio_notice *n, fdio *f, bool by_signal)
{
    if (n->owner == nullptr) return 0; // the callback of a stream that is being destroyed
    if (n->pending) {
        if (aio_error(&n->control) == EINPROGRESS) return 0; // is armed already
        int rc = byte_collect(n, f);
        if (rc != 0) return rc;
    }
    notice_announce(n);
    while (sem_trywait(&n->fired) == 0) {
    } // drops announcements of bytes that have been read since
    if (f->ahead_at + f->preread == sizeof f->ahead) return MESSAGE_IO;
    return read_start(n, by_signal);
}

static int signal_start(fdio *f)
{
    int rc = notice_attach(f);
    if (rc == 0) rc = handler_install();
    if (rc != 0) return rc;
    mutex_holder hold(&f->notice->lock);
    return arm_locked(f->notice, f, true);
}

static int thread_start(fdio *f, stream_callback callback, void *arg)
{
    int rc = notice_attach(f);
    if (rc != 0) return rc;
    mutex_holder hold(&f->notice->lock);
    f->callback = callback;
    f->callbackarg = arg;
    return arm_locked(f->notice, f, false);
}

// Waits for the owner's callbacks, and if the stream is being closed, for the read in flight.
static void owner_leave(fdio_notice *n, bool closing)
{
    mutex_holder hold(&n->lock);
    n->owner = nullptr;
    while (n->relaying > 0)
        pthread_cond_wait(&n->rest, &n->lock);
    if (closing && n->pending && shutdown(n->fd, SHUT_RD) == 0) read_await(n, CLOCK_NEVER);
}

static void notice_detach(fdio *f, bool closing)
{
    fdio_notice *n = f->notice;
    if (n == nullptr) return;
    owner_leave(n, closing);
    notice_announce(n);
    f->notice = nullptr;
    notice_release(n, NOTICE_OWNED);
}

// Waits for input; false when it was woken for another command.  A failure counts as input: the
// read that follows reports what is wrong, whereas nothing would start this wait again.
static bool input_await(fdio *f)
{
    return io_wait(f->infd, POLLIN, f->wake_fd, CLOCK_NEVER) > 0 || errno != ECANCELED;
}

static int32_t command_await(fdio *f)
{
    mutex_holder hold(&f->listener_lock);
    while (f->command == COMMAND_NONE)
        pthread_cond_wait(&f->listener_condition, &f->listener_lock);
    int32_t command = f->command;
    f->command = COMMAND_NONE;
    return command;
}

static void callback_run(fdio *f)
{
    stream_callback callback;
    void *arg;
    {
        mutex_holder hold(&f->listener_lock);
        callback = f->callback;
        arg = f->callbackarg;
    }
    callback(f, arg);
}

static void *listen(void *arg)
{
    auto f = static_cast<fdio *>(arg);
    while (command_await(f) != COMMAND_STOP)
        if (input_await(f)) callback_run(f);
    return nullptr;
}

static void listener_release(fdio *f)
{
    pthread_cond_destroy(&f->listener_condition);
    pthread_mutex_destroy(&f->listener_lock);
    close(f->wake_fd);
    f->wake_fd = -1;
}

// Starts the thread with all signals blocked: the program's own threads handle them.
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
    f->wake_fd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (f->wake_fd < 0) return MESSAGE_LOCK;
    pthread_mutex_init(&f->listener_lock, nullptr);
    pthread_cond_init(&f->listener_condition, nullptr);
    int rc = listener_spawn(f);
    if (rc != 0)
        listener_release(f);
    else
        f->listening = true;
    return rc;
}

// Nothing replaces a stop: if a callback armed the stream while it is being destroyed, the thread
// would wait for input for ever.
static void listener_command(fdio *f, int32_t command)
{
    if (f->command != COMMAND_STOP) f->command = command;
    pthread_cond_signal(&f->listener_condition);
}

static int listener_start(fdio *f, stream_callback callback, void *arg)
{
    int rc = f->listening ? 0 : listener_create(f);
    if (rc != 0) return rc;
    mutex_holder hold(&f->listener_lock);
    f->callback = callback;
    f->callbackarg = arg;
    listener_command(f, COMMAND_ARM);
    return 0;
}

static void listener_stop(fdio *f)
{
    if (!f->listening) return;
    {
        mutex_holder hold(&f->listener_lock);
        listener_command(f, COMMAND_STOP);
    }
    eventfd_write(f->wake_fd, 1);
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
