#include "remote/handler/async.h"

#include "remote/base/io.h"
#include "remote/base/log.h"
#include "remote/calls/solver.h"

#include <cerrno>
#include <cmath>
#include <unistd.h>

namespace vnt {

async_record globalasync = {
    .dispatchers = nullptr,
    .count = 0,
    .mode = ASYNC_NONE,
    .generation = 0,
    .lock = PTHREAD_MUTEX_INITIALIZER,
    .condition = PTHREAD_COND_INITIALIZER,
    .result = 0,
};
pthread_mutex_t asynccallbackmutex;

// How long a waiting thread sleeps before it looks for input again, in microseconds.
static constexpr useconds_t BLOCK_PAUSE = 50;
static constexpr useconds_t LIMIT_PAUSE = 5000;

// The terminate poll looks for input on the first of every hundred calls.
static constexpr uint32_t POLL_EVERY = 100;

// What the pause callback answers to end the solve.
static constexpr int STOP_SOLVING = 13;

static int32_t termcount; // terminate messages in a row, while a call runs
static int32_t pollsinglethreaded;
static uint32_t pollcount;

int async_setup(handler *const *dispatchers, int32_t count)
{
    globalasync.dispatchers = dispatchers;
    globalasync.count = count;
    globalasync.result = 0;
    return pthread_mutex_init(&asynccallbackmutex, nullptr);
}

void async_teardown(void)
{
    // The callback that served the last request of a call may still be on its way out.
    pthread_mutex_lock(&asynccallbackmutex);
    pthread_mutex_unlock(&asynccallbackmutex);
    pthread_mutex_destroy(&asynccallbackmutex);
    globalasync.dispatchers = nullptr;
    globalasync.count = 0;
}

static int32_t mode_get(void)
{
    pthread_mutex_lock(&globalasync.lock);
    const int32_t mode = globalasync.mode;
    pthread_mutex_unlock(&globalasync.lock);
    return mode;
}

static void mode_set(int32_t mode)
{
    pthread_mutex_lock(&globalasync.lock);
    globalasync.mode = mode;
    pthread_mutex_unlock(&globalasync.lock);
}

int async_isasync(void)
{
    return mode_get() != ASYNC_NONE;
}

void async_start(transport *t)
{
    if (async_isasync()) log_fatal("nested async_start()\n");
    const bool polling = t->ops.mustpoll(t) != 0;
    const int rc = t->ops.startasync(t, polling ? nullptr : asynccallback, &globalasync);
    if (rc != 0) log_fatal("Failed to start async: %d\n", rc);
    mode_set(polling ? ASYNC_POLLING : ASYNC_LISTENER);
}

int async_stop(void)
{
    pthread_mutex_lock(&globalasync.lock);
    const int32_t mode = globalasync.mode;
    if (mode != ASYNC_POLLING && mode != ASYNC_LISTENER) {
        pthread_mutex_unlock(&globalasync.lock);
        log_fatal("async_stop() without async_start()\n");
    }
    if (mode == ASYNC_LISTENER) {
        globalasync.mode = ASYNC_LISTENER_STOPPED;
        globalasync.generation++;
        pthread_cond_signal(&globalasync.condition);
    } else {
        globalasync.mode = ASYNC_POLLING_STOPPED;
    }
    pthread_mutex_unlock(&globalasync.lock);
    return mode == ASYNC_POLLING;
}

void async_setresult(int64_t value)
{
    if (mode_get() != ASYNC_POLLING) log_fatal("async_setresult() called in wrong mode!\n");
    if (globalasync.result != 0) log_fatal("nested call to async_setresult()\n");
    globalasync.result = value;
}

int64_t async_getresult(void)
{
    const int64_t value = globalasync.result;
    globalasync.result = 0;
    return value;
}

// Serving one message.

// The last answer of the handlers asked.
static int dispatch(void *message)
{
    int rc = MESSAGE_UNKNOWN;
    for (int32_t i = 0; i < globalasync.count; i++) {
        handler *h = globalasync.dispatchers[i];
        int64_t context = 0;
        rc = h->ops.handle(h, message, &context);
        if (rc == 0) break;
    }
    return rc;
}

// The handlers may wake the main thread, which then receives and so frees the message: its id is
// taken before.
static void serve(transport *t)
{
    void *message = nullptr;
    int rc = t->ops.recvmsg(t, &message);
    if (rc != 0) log_fatal("Failed to receive message: %d\n", rc);
    const uint32_t id = message_id(message);
    if (id == VNTMESSAGEID_TERMINATE) {
        if (termcount < INT32_MAX) termcount++;
        return;
    }
    termcount = 0;
    if (dispatch(message) != -1) return;
    const vntmsg_UNKNOWN unknown = {nullptr, VNTMESSAGEID_UNKNOWN, static_cast<int32_t>(id)};
    rc = t->ops.sendmsg(t, &unknown);
    if (rc != 0) log_fatal("Failed to send message: %d\n", rc);
}

// Listener mode.

static int32_t generation_get(void)
{
    pthread_mutex_lock(&globalasync.lock);
    const int32_t generation = globalasync.generation;
    pthread_mutex_unlock(&globalasync.lock);
    return generation;
}

// Under the record's lock, as a call that ends must not find the input armed again.
static void listen_again(transport *t, int32_t generation)
{
    pthread_mutex_lock(&globalasync.lock);
    int rc = 0;
    if (globalasync.mode == ASYNC_LISTENER && globalasync.generation == generation)
        rc = t->ops.startasync(t, asynccallback, &globalasync);
    pthread_mutex_unlock(&globalasync.lock);
    if (rc != 0) log_fatal("Failed to start async: %d\n", rc);
}

void asynccallback(transport *t, void *)
{
    int rc = pthread_mutex_lock(&asynccallbackmutex);
    if (rc != 0) log_fatal("Failed to lock mutex: %d\n", rc);
    if (mode_get() != ASYNC_LISTENER) log_fatal("async_callback() called in synchronous mode!\n");
    const int32_t generation = generation_get();
    serve(t);
    listen_again(t, generation);
    rc = pthread_mutex_unlock(&asynccallbackmutex);
    if (rc != 0) log_fatal("Failed to unlock mutex: %d\n", rc);
}

static void block_listener(void)
{
    pthread_mutex_lock(&globalasync.lock);
    while (globalasync.mode != ASYNC_LISTENER_STOPPED)
        pthread_cond_wait(&globalasync.condition, &globalasync.lock);
    globalasync.mode = ASYNC_NONE;
    pthread_mutex_unlock(&globalasync.lock);
}

// The caller's absence.

static int awayfd = -1; // in polling mode, where the word to go on will come from

static void await_word(int controlfd)
{
    char word[4];
    const int rc = io_readall(controlfd, word, sizeof word, -1, CLOCK_NEVER);
    if (rc != 0 && errno != ECONNRESET) log_syscall("read");
}

void async_away(int controlfd)
{
    if (mode_get() == ASYNC_POLLING)
        awayfd = controlfd;
    else
        await_word(controlfd);
}

static void await_return(void)
{
    if (awayfd < 0) return;
    await_word(awayfd);
    awayfd = -1;
}

static bool is_away(void)
{
    if (awayfd < 0) return false;
    if (io_wait(awayfd, POLLIN, -1, 0) <= 0) return true;
    await_return();
    return false;
}

// Polling mode.

int async_poll(transport *t)
{
    const int32_t mode = mode_get();
    if (mode != ASYNC_POLLING && mode != ASYNC_POLLING_STOPPED)
        log_fatal("async_poll() called in wrong mode [%d]!\n", mode);
    if (is_away()) return 0;
    int pending = 0;
    int rc = t->ops.checkinput(t, &pending);
    if (rc != 0) log_fatal("checkinput() gave %d\n", rc);
    if (pending == 0) return 0;
    serve(t);
    if (mode_get() != ASYNC_POLLING) return 1;
    rc = t->ops.startasync(t, nullptr, &globalasync);
    if (rc != 0) log_fatal("Failed to restart async: %d\n", rc);
    return 1;
}

static void block_polling(transport *t)
{
    while (mode_get() == ASYNC_POLLING) {
        await_return(); // the solver has ended: nothing is held up
        async_poll(t);
        usleep(BLOCK_PAUSE);
    }
    mode_set(ASYNC_NONE);
}

int async_block(transport *t)
{
    switch (mode_get()) {
    case ASYNC_LISTENER:
    case ASYNC_LISTENER_STOPPED: block_listener(); return 0;
    case ASYNC_POLLING:
    case ASYNC_POLLING_STOPPED: block_polling(t); return 1;
    default: log_fatal("async_block() called while no operation was running!\n");
    }
}

void asyncpoll_begin(bool singlethreaded)
{
    cell_set(pollsinglethreaded, singlethreaded);
}

static int poll_locked(handler *h)
{
    pthread_mutex_lock(&h->polllock);
    const int served = async_poll(h->io);
    pthread_mutex_unlock(&h->polllock);
    return served;
}

int asyncpollfunc(VNTENVptr, void *data)
{
    auto *h = static_cast<handler *>(data);
    if (cell_get(h->ownercheck) != 0 &&
        pthread_equal(cell_get(h->ownerthread), pthread_self()) == 0)
        return 0;
    if (std::atomic_ref<uint32_t>(pollcount).fetch_add(1) % POLL_EVERY != 0) return 0;
    if (cell_get(pollsinglethreaded) != 0)
        async_poll(h->io);
    else
        poll_locked(h);
    return 0;
}

// The pause callback.

static bool may_go_on(handler *h, uint64_t progress)
{
    if (cell_get(*h->timeexpired) != 0) return false;
    const uint64_t limit = cell_get(*h->limitcell);
    return limit == 0 || limit > progress;
}

static int take_progress(handler *h, VNTENVptr env, void *cbdata)
{
    const auto getprogress = SOLVER(VNTEgetasyncmipprogress);
    if (getprogress == nullptr) return 0;
    pthread_mutex_lock(&h->progresslock);
    const double reference = h->sollen < 1 ? -HANDLER_INFINITE : h->progress.incumbent;
    const int rc = getprogress(env, cbdata, h->sollen, &h->progress, reference);
    pthread_mutex_unlock(&h->progresslock);
    return rc;
}

// With the state lock held, which is free while waiting.
static void wait_for_word(handler *h)
{
    if (cell_get(h->polling) == 0) {
        pthread_cond_wait(&h->statecondition, &h->statelock);
        return;
    }
    pthread_mutex_unlock(&h->statelock);
    if (poll_locked(h) == 0) usleep(LIMIT_PAUSE);
    pthread_mutex_lock(&h->statelock);
}

static void inject(handler *h, VNTENVptr env, void *cbdata)
{
    const auto progressinject = SOLVER(VNTEasyncprogressinject);
    if (progressinject == nullptr) return;
    pthread_mutex_lock(&h->progresslock);
    if (std::fabs(h->injected) < HANDLER_INFINITE &&
        progressinject(env, cbdata, h->injected * h->sense, h->sense, HANDLER_INFINITE) == 0)
        h->injected = HANDLER_INFINITE * h->sense;
    pthread_mutex_unlock(&h->progresslock);
}

// With the state lock held.
static int pause_solver(handler *h, VNTENVptr env, void *cbdata)
{
    if (h->state == ASYNC_TERMINATE || cell_get(h->pending) == 0) return STOP_SOLVING;
    if (take_progress(h, env, cbdata) != 0) return STOP_SOLVING;
    h->state = ASYNC_PAUSED;
    while (h->state == ASYNC_PAUSED)
        wait_for_word(h);
    if (h->state == ASYNC_TERMINATE) return STOP_SOLVING;
    if (h->state != ASYNC_CONTINUE) return 0;
    inject(h, env, cbdata);
    h->state = ASYNC_RUNNING;
    return 0;
}

int asyncchecklimit(VNTENVptr env, void *cbdata, uint64_t progress, void *data)
{
    auto *h = static_cast<handler *>(data);
    if (may_go_on(h, progress)) return 0;
    pthread_mutex_lock(&h->pauselock);
    int result = 0;
    // Another of the solver's threads may have waited here until the limit was raised.
    if (!may_go_on(h, progress)) {
        pthread_mutex_lock(&h->statelock);
        result = pause_solver(h, env, cbdata);
        pthread_mutex_unlock(&h->statelock);
    }
    pthread_mutex_unlock(&h->pauselock);
    return result;
}

} // namespace vnt
