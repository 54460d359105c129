// stream.h: the interface of a stream to codecs: a table of operations at the head of its record.
//
// A message is its id, then the values of its fields in order.  The codec passes a name with every
// value; descriptor streams ignore it, other streams may label fields with it.
//
// Threads: one thread writes and one reads at a time.
//
// Errors: 0 or a code of remote/message/errors.h; after MESSAGE_IO the connection is over, and
// errno says why (ETIMEDOUT for a time-out).

#pragma once

#include "remote/message/containers.h"

#include <sys/time.h>

namespace vnt {

struct stream;

// A time-out as a stream keeps it.
struct fdio_timeout {
    timeval zero;    // clears a descriptor's time-out
    timeval active;  // what to wait, when enabled
    int64_t enabled; // nonzero: active applies
};

typedef void (*stream_callback)(stream *s, void *arg);

// Memory of the caller for the elements of an array.
struct stream_landing {
    void *place; // null: none
    uint32_t type;
    int64_t space; // elements that fit
};

// The order of the slots in memory is part of the interface.
struct stream_operations {
    // `record` is the message, and `must_end` the codec's flag that it has begun; a descriptor
    // stream uses neither.
    int (*startoutmsg)(stream *s, int32_t id, const void *record, int *must_end);
    int (*getcurrentoutmsg)(stream *s); // the id, -1 between messages
    int (*writebyte)(stream *s, const char *name, int8_t value);
    int (*writeshort)(stream *s, const char *name, int16_t value);
    int (*writeint)(stream *s, const char *name, int32_t value);
    int (*writelong)(stream *s, const char *name, int64_t value);
    int (*writeubyte)(stream *s, const char *name, uint8_t value);
    int (*writeushort)(stream *s, const char *name, uint16_t value);
    int (*writeuint)(stream *s, const char *name, uint32_t value);
    int (*writeulong)(stream *s, const char *name, uint64_t value);
    int (*writefloat)(stream *s, const char *name, float value);
    int (*writedouble)(stream *s, const char *name, double value);
    int (*writestring)(stream *s, const char *name, const message_string *value);
    int (*writearray)(stream *s, const char *name, const message_array *value); // null: no array
    int (*writefile)(stream *s, const char *name, const message_file *value);
    int (*endoutmsg)(stream *s);
    int (*startinmsg)(stream *s, int32_t *id);
    int (*getcurrentinmsg)(stream *s); // the id, -1 between messages
    int (*readbyte)(stream *s, const char *name, int8_t *value);
    int (*readshort)(stream *s, const char *name, int16_t *value);
    int (*readint)(stream *s, const char *name, int32_t *value);
    int (*readlong)(stream *s, const char *name, int64_t *value);
    int (*readubyte)(stream *s, const char *name, uint8_t *value);
    int (*readushort)(stream *s, const char *name, uint16_t *value);
    int (*readuint)(stream *s, const char *name, uint32_t *value);
    int (*readulong)(stream *s, const char *name, uint64_t *value);
    int (*readfloat)(stream *s, const char *name, float *value);
    int (*readdouble)(stream *s, const char *name, double *value);
    // The containers read own their memory; after an error there is nothing to free.
    int (*readstring)(stream *s, const char *name, message_string *value);
    int (*readarray)(stream *s, const char *name, message_array *value);
    int (*readfile)(stream *s, const char *name, message_file *value);
    int (*endinmsg)(stream *s);
    void (*freestring)(stream *s, message_string *value);
    void (*freearray)(stream *s, message_array *value);
    void (*freefile)(stream *s, message_file *value);
    int (*mustpoll)(stream *s); // 1 when the caller has to ask checkinput
    int (*checkinput)(stream *s, int *flag);
    int (*startasync)(stream *s, stream_callback callback, void *arg); // arms one notification
    int (*destroy)(stream *s);                                         // null is fine
    fdio_timeout *(*getreadtimeout)(stream *s);
    fdio_timeout *(*getwritetimeout)(stream *s);
    // Tells that at least so many bytes of the message begun are still to be read.  May be empty.
    void (*expect)(stream *s, uint32_t least);
    // Offers a place for the next array that is read.  If its elements are in one chunk, of the
    // type and not too many, they are put there, and the chunk has no data.  May be empty.
    void (*land)(stream *s, const stream_landing *landing);
};

struct stream {
    stream_operations ops;
};

} // namespace vnt
