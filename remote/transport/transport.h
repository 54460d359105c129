// transport.h: sends and receives whole messages, with a stream and an ordered list of codecs.
//
// Ownership: a transport owns its stream, its codecs, its descriptors and the message that it
// received last, which is valid until the next receive or the destroy.
//
// Threads: one may send while another receives; each side is serialised by its own lock.  Lock
// order: sendlock before a codec's lock.
//
// Errors: 0, or the code of the codec or stream; MESSAGE_UNKNOWN when no codec knows the message,
// after which nothing more can be received.

#pragma once

#include "remote/codec/codec.h"
#include "remote/stream/stream.h"

#include <pthread.h>

namespace vnt {

struct transport;
typedef void (*transport_callback)(transport *t, void *arg);

// In slot order.  Empty slots are null: test before you call.
struct transport_operations {
    int (*recvmsg)(transport *t, void **message);
    int (*startasync)(transport *t, transport_callback callback, void *arg);
    int (*checkinput)(transport *t, int *flag);
    int (*mustpoll)(transport *t);
    int (*sendmsg)(transport *t, const void *message);
    const char *(*factoryname)(void);
    int (*reconnectinfolen)(void); // bytes; -1 where it cannot be reconnected
    int (*disconnect)(transport *t, void *info);
    int (*destroy)(transport *t); // takes any state that create can leave
    int (*ctrlint)(transport *t, int32_t key, int32_t *value);
    int (*ctrllong)(transport *t, int32_t key, int64_t *value);
    int (*ctrldbl)(transport *t, int32_t key, double *value);
};

constexpr uint32_t TRANSPORT_TAG = 0x01020304; // a transport over a descriptor stream

struct transport {
    transport_operations ops;
    uint32_t tag;
    int32_t infd;
    int32_t outfd;
    stream *io;
    codec **codecs;
    int64_t ncodecs;
    transport_callback callback;
    void *callbackarg;
    void *pending; // the message received last
    pthread_mutex_t sendlock;
    pthread_mutex_t recvlock;
};

// Fills a zeroed record, for transports of every kind: the tag, a stream over the descriptors, one
// codec per factory in their order, the locks.  The caller sets the operations.  The transport owns
// the descriptors from here on; after an error it owns nothing.
// Errors: NOMEMORY, LOCK, or a codec factory's code.
int fdtransport_setup(transport *t, int infd, int outfd, int nothreads, int ncodecs,
                      const codec_factory *const *factories);

// Takes down what setup made: asynchronous input, the descriptors, the pending message, the codecs
// last first, the stream, the locks.  The record itself is left to the caller.
void fdtransport_teardown(transport *t);

// Creates a descriptor transport from the arguments "-infd=", "-outfd=", "-nothreads", "-log" and
// "-libpath=" of a worker; any other is MESSAGE_INVALID.
// Errors: INVALID, NOMEMORY, LOCK, or a codec factory's code.
int fdtransport_create(transport **out, int ncodecs, const codec_factory *const *factories,
                       int argc, const char *const *argv);

// Offers the message to the codecs in order until one knows it.
int codecs_send(codec *const *codecs, int64_t n, const void *message);

int fdtransport_sendmsg(transport *t, const void *message);
int fdtransport_recvmsg(transport *t, void **message);
int fdtransport_startasync(transport *t, transport_callback callback, void *arg);
int fdtransport_checkinput(transport *t, int *flag);
int fdtransport_mustpoll(transport *t);
const char *fdtransport_factoryname(void); // "fdtransport"
int fdtransport_reconnectinfolen(void);    // -1
int fdtransport_destroy(transport *t);

} // namespace vnt
