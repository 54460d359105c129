#include "remote/handler/asynccall.h"

#include "remote/base/log.h"

#include <atomic>

namespace vnt {

void terminate_flag_set(handler *h, int value)
{
    std::atomic_ref<int>(h->terminate).store(value);
}

// Once input is armed, requests may arrive; asynccallbackmutex makes them wait until the ACK is
// sent.
static void acknowledge(handler_frame *frame)
{
    handler *h = frame->owner;
    async_start(h->io);
    info_queue_owe(&h->info);
    pausegate_run(&h->gate);
    answer_send(h, &frame->ack);
}

static void lock_callbacks(void)
{
    const int rc = pthread_mutex_lock(&asynccallbackmutex);
    if (rc != 0) log_fatal("Failed to lock mutex: %d\n", rc);
}

int asynccall_begin(handler_frame *frame, VNTENVptr env, VNTLPptr lp)
{
    handler *h = frame->owner;
    lock_callbacks();
    const int status = pausegate_arm(&h->gate);
    if (status == 0) {
        terminate_flag_set(h, 0);
        solverpoll_install(h, env);
        pausegate_install(h, env);
        mipprogress_begin(&h->progress, env, lp);
        acknowledge(frame);
    }
    pthread_mutex_unlock(&asynccallbackmutex);
    return status;
}

void asynccall_end(handler *h, VNTENVptr env)
{
    pausegate_idle(&h->gate);
    async_block(h->io);
    solverpoll_remove(h, env);
    pausegate_disarm(&h->gate);
    pausegate_remove(h, env);
    mipprogress_end(&h->progress);
}

static std::atomic<bool> nested_call; // one request at a time is served

synccall::synccall(handler *h) : nested(h != nullptr && async_isasync())
{
    if (nested) nested_call = true;
    // A kill of an asynchronous call that is still running must stay.
    const bool running = nested && pausegate_shown(&h->gate) != ASYNC_STATE_IDLE;
    if (h != nullptr && !running) terminate_flag_set(h, 0);
}

synccall::~synccall()
{
    if (nested) nested_call = false;
}

bool synccall_is_nested(void)
{
    return nested_call;
}

} // namespace vnt
