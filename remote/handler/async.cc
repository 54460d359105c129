#include "remote/handler/async.h"

#include "remote/base/holders.h"
#include "remote/base/io.h"
#include "remote/base/log.h"

#include <cerrno>
#include <unistd.h>

namespace vnt {

async_record globalasync = {
    .h = nullptr,
    .mode = ASYNC_MODE_NONE,
    .generation = 0,
    .lock = PTHREAD_MUTEX_INITIALIZER,
    .condition = PTHREAD_COND_INITIALIZER,
    .result = 0,
};
pthread_mutex_t asynccallbackmutex;

// How long a thread that waits for the call's end sleeps before it looks for input again, in
// microseconds.
static constexpr useconds_t BLOCK_PAUSE = 50;

int async_setup(handler *h)
{
    globalasync.h = h;
    globalasync.result = 0;
    return pthread_mutex_init(&asynccallbackmutex, nullptr);
}

void async_teardown(void)
{
    // The callback that served the last request of a call may still be running.
    pthread_mutex_lock(&asynccallbackmutex);
    pthread_mutex_unlock(&asynccallbackmutex);
    pthread_mutex_destroy(&asynccallbackmutex);
    globalasync.h = nullptr;
}

static int32_t mode_get(void)
{
    const mutex_holder held(&globalasync.lock);
    return globalasync.mode;
}

static void mode_set(int32_t mode)
{
    const mutex_holder held(&globalasync.lock);
    globalasync.mode = mode;
}

int async_isasync(void)
{
    return mode_get() != ASYNC_MODE_NONE;
}

void async_start(transport *t)
{
    if (async_isasync()) log_fatal("nested async_start()\n");
    const bool polling = t->ops.mustpoll(t) != 0;
    const int rc = t->ops.startasync(t, polling ? nullptr : asynccallback, &globalasync);
    if (rc != 0) log_fatal("Failed to start async: %d\n", rc);
    mode_set(polling ? ASYNC_MODE_POLLING : ASYNC_MODE_LISTENER);
}

int async_stop(void)
{
    const mutex_holder held(&globalasync.lock);
    const int32_t mode = globalasync.mode;
    if (mode != ASYNC_MODE_POLLING && mode != ASYNC_MODE_LISTENER)
        log_fatal("async_stop() without async_start()\n");
    if (mode == ASYNC_MODE_LISTENER) {
        globalasync.mode = ASYNC_MODE_LISTENER_STOPPED;
        globalasync.generation++;
        pthread_cond_signal(&globalasync.condition);
    } else {
        globalasync.mode = ASYNC_MODE_POLLING_STOPPED;
    }
    return mode == ASYNC_MODE_POLLING;
}

void async_setresult(int64_t value)
{
    if (mode_get() != ASYNC_MODE_POLLING) log_fatal("async_setresult() called in wrong mode!\n");
    if (globalasync.result != 0) log_fatal("nested call to async_setresult()\n");
    globalasync.result = value;
}

int64_t async_getresult(void)
{
    const int64_t value = globalasync.result;
    globalasync.result = 0;
    return value;
}

// It is meant that a terminate message does nothing: it ends a worker, not a call.
static void serve(transport *t)
{
    request_serve(t, globalasync.h, nullptr);
}

// Listener mode.

static int32_t generation_get(void)
{
    const mutex_holder held(&globalasync.lock);
    return globalasync.generation;
}

// Under the record's lock: a call that has ended must not find the input armed again.
static void listen_again(transport *t, int32_t generation)
{
    const mutex_holder held(&globalasync.lock);
    if (globalasync.mode != ASYNC_MODE_LISTENER || globalasync.generation != generation) return;
    const int rc = t->ops.startasync(t, asynccallback, &globalasync);
    if (rc != 0) log_fatal("Failed to start async: %d\n", rc);
}

void asynccallback(transport *t, void *)
{
    int rc = pthread_mutex_lock(&asynccallbackmutex);
    if (rc != 0) log_fatal("Failed to lock mutex: %d\n", rc);
    if (mode_get() != ASYNC_MODE_LISTENER)
        log_fatal("async_callback() called in synchronous mode!\n");
    const int32_t generation = generation_get();
    serve(t);
    listen_again(t, generation);
    rc = pthread_mutex_unlock(&asynccallbackmutex);
    if (rc != 0) log_fatal("Failed to unlock mutex: %d\n", rc);
}

static void block_listener(void)
{
    const mutex_holder held(&globalasync.lock);
    while (globalasync.mode != ASYNC_MODE_LISTENER_STOPPED)
        pthread_cond_wait(&globalasync.condition, &globalasync.lock);
    globalasync.mode = ASYNC_MODE_NONE;
}

// The caller's absence.

// In polling mode, the descriptor on which the server reports that a caller is back; -1 while the
// caller is connected.
static int away_fd = -1;

static void await_word(int control_fd)
{
    char word[4];
    const int rc = io_read_all(control_fd, word, sizeof word, -1, CLOCK_NEVER);
    if (rc != 0 && errno != ECONNRESET) log_syscall("read");
}

void async_away(int control_fd)
{
    if (mode_get() == ASYNC_MODE_POLLING)
        away_fd = control_fd;
    else
        await_word(control_fd);
}

static void await_return(void)
{
    if (away_fd < 0) return;
    await_word(away_fd);
    away_fd = -1;
}

static bool is_away(void)
{
    if (away_fd < 0) return false;
    if (io_wait(away_fd, POLLIN, -1, 0) <= 0) return true;
    await_return();
    return false;
}

// Polling mode.

int async_poll(transport *t)
{
    const int32_t mode = mode_get();
    if (mode != ASYNC_MODE_POLLING && mode != ASYNC_MODE_POLLING_STOPPED)
        log_fatal("async_poll() called in wrong mode [%d]!\n", mode);
    if (is_away()) return 0;
    int pending = 0;
    int rc = t->ops.checkinput(t, &pending);
    if (rc != 0) log_fatal("checkinput() gave %d\n", rc);
    if (pending == 0) return 0;
    serve(t);
    if (mode_get() != ASYNC_MODE_POLLING) return 1;
    rc = t->ops.startasync(t, nullptr, &globalasync);
    if (rc != 0) log_fatal("Failed to restart async: %d\n", rc);
    return 1;
}

static void block_polling(transport *t)
{
    while (mode_get() == ASYNC_MODE_POLLING) {
        await_return(); // the solver has ended, so waiting delays nothing
        async_poll(t);
        usleep(BLOCK_PAUSE);
    }
    mode_set(ASYNC_MODE_NONE);
}

int async_block(transport *t)
{
    switch (mode_get()) {
    case ASYNC_MODE_LISTENER:
    case ASYNC_MODE_LISTENER_STOPPED: block_listener(); return 0;
    case ASYNC_MODE_POLLING:
    case ASYNC_MODE_POLLING_STOPPED: block_polling(t); return 1;
    default: log_fatal("async_block() called while no operation was running!\n");
    }
}

} // namespace vnt
