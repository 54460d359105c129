// fdio.h: the stream over a pair of descriptors, one to read from and one to write to, which may
// be the same socket.
//
// Writes are gathered in a buffer, which is sent when it is full or the message ends.  A read takes
// from the descriptor what certainly belongs to the message under way and no more, so that polling
// the descriptor shows whether another one is there.
//
// Ownership: the stream owns its record, log file and listener thread.  The descriptors are the
// caller's, who closes them after the stream is destroyed or fdio_stopasync was called.
//
// Threads: one may write while another reads.  The writing side uses the writer's part and
// writetimeout, the reading side curinmsg, the bytes read ahead and readtimeout.
//
// Errors: 0 or a code.  MESSAGE_IO is the end of the connection: unsent bytes stay in the buffer,
// and a message that was read in part cannot be resumed.

#pragma once

#include "remote/base/moment.h"
#include "remote/stream/writer.h"

#include <cstdio>
#include <pthread.h>

namespace vnt {

struct fdio_notice; // an asynchronous read that announces input

struct fdio : fdio_writer {
    int32_t infd;
    int32_t outfd;
    bool in_socket;   // infd is a socket
    bool out_socket;  // outfd is one
    int32_t curinmsg; // -1 between messages
    moment soon;      // for the next message

    // The listener thread, which waits for input on command.
    bool listening; // whether the thread and the fields below exist
    pthread_t listener;
    pthread_mutex_t listener_lock; // guards command, callback and callbackarg
    pthread_cond_t listener_condition;
    int32_t command; // 0 none, 1 wait for input, 2 stop
    int32_t wake_fd; // an eventfd that ends a wait for input
    stream_callback callback;
    void *callbackarg;

    fdio_notice *notice; // null until asynchronous reads are used

    // Bytes that have been taken from the descriptor but not been read yet: `preread` of them from
    // ahead[ahead_at] on.
    int64_t preread;
    uint32_t ahead_at;
    unsigned char ahead[8192];
    // How many more bytes of the message will certainly come over the descriptor.  Negative when
    // more of them are here than are known to belong to it.
    int64_t owed;
    stream_landing landing; // for the next array

    FILE *log; // may be null; closed with the stream
    fdio_timeout readtimeout;
    fdio_timeout writetimeout;
};

// Makes a stream.  A null time-out means no limit.
// Errors: NOMEMORY.
int fdio_create(stream **out, int infd, int outfd, int uselistener, const fdio_timeout *readtimeout,
                const fdio_timeout *writetimeout);

// Takes down the stream; descriptors stay open.  Null is fine.
int fdio_destroy(stream *s);

fdio_timeout *fdio_getreadtimeout(stream *s);
fdio_timeout *fdio_getwritetimeout(stream *s);

} // namespace vnt
