// codec.h: turns message records into messages on a stream, and back.
//
// Two codecs exist: "builtin" knows the unknown and the terminate message, "vntcodec" all others
// of the catalogue.
//
// Ownership: a record that recvmsg made is freed by delmsg of the same codec.  The streams are
// the caller's and outlive the codec.
//
// Threads: any number may send, one at a time under the codec's lock.  One thread receives.
// Lock order: the transport's sendlock before the codec's.
//
// Errors: 0, or the first negative code met.  MESSAGE_UNKNOWN when the id is not this codec's; on
// receiving it stays current on the stream for the next codec.

#pragma once

#include "remote/stream/stream.h"

#include <pthread.h>

namespace vnt {

struct codec;

// Where the arrays of an awaited response are wanted, so that they need no blocks of their own.  An
// array lands there only if the response brings status 0; if the connection fails meanwhile, a part
// of it stays there.
struct codec_landing {
    static constexpr int MOST = 8;
    uint32_t id;        // of the response
    uint16_t status_at; // in its record, before the arrays
    int n;
    struct {
        uint16_t array_at;
        stream_landing where;
    } places[MOST];
};

// In slot order.
struct codec_operations {
    int (*sendmsg)(codec *c, const void *record);
    int (*recvmsg)(codec *c, void **record);
    int (*delmsg)(codec *c, void *record);      // null is fine
    int (*equal)(codec *c, const codec *other); // 1 for codecs of one name
    void (*destroy)(codec *c);
    const char *(*factoryname)(codec *c);
    int (*mkmulticast)(codec *c, codec **out, stream *out_stream);
};

struct codec {
    codec_operations ops;
    stream *in; // null in a multicast codec
    stream *out;
    char tag[4]; // "pMiS"
    const char *name;
    pthread_mutex_t lock;         // one message at a time on the out-stream
    const codec_landing *landing; // of the receiving thread; null when nothing is awaited
};

struct codec_factory {
    // Errors: NOMEMORY, LOCK.
    int (*create)(codec **out, stream *in_stream, stream *out_stream);
};

const codec_factory *builtin_getfactory(void);
const codec_factory *vntcodec_getfactory(void);

} // namespace vnt
