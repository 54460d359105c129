// async.h: notifies a busy owner that its stream has input.
//
// fdio_startasync arms one notification.  Without a callback, an asynchronous read announces input
// by SIGUSR1, and fdio_checkinput asks whether there was one.  A callback is called from another
// thread: the stream's listener thread if the stream uses one, else a thread of the system's
// asynchronous input.  The listener polls the descriptor and reads nothing.  An asynchronous read
// takes one byte, which the next read of the stream gets first.  A read of a stream whose
// notification is still armed waits for that byte, and no callback follows.
//
// Threads: startasync, checkinput and reads from one thread at a time, or from the callback.  A
// callback must not destroy its stream.  Destroying a stream waits for a running callback; if that
// arms the stream, it has no effect.
//
// Errors: IO when the asynchronous read could not be started, THREAD, LOCK, and NOCONNECTION when
// the signal handler could not be installed.

#pragma once

#include "remote/stream/fdio.h"

namespace vnt {

int fdio_mustpoll(stream *s);
int fdio_checkinput(stream *s, int *flag);
int fdio_startasync(stream *s, stream_callback callback, void *arg);

// Ends asynchronous input for good, also while the listener waits.  Call it before the descriptor
// is closed, with `closing`: a socket is then shut down for reading, so that a read in flight ends
// and does not keep the connection open.  A read in flight on a pipe cannot be ended; it keeps the
// read end open until a byte or the end of the input arrives.
void fdio_stopasync(fdio *f, bool closing);

// Takes over the byte of an asynchronous read of a stream that has a notice; waits for a read in
// flight.
// Errors: IO.
int async_collect(fdio *f);

} // namespace vnt
