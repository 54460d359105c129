// async.h: tells that input is waiting while the stream's owner is busy.
//
// fdio_startasync arms one notification.  Without a callback, asynchronous reads announce input by
// SIGUSR1, and fdio_checkinput asks whether it came.  With a callback it is called from another
// thread: the stream's listener thread when the stream uses one, else a thread of the system's
// asynchronous input.  The listener looks at the descriptor and reads nothing; an asynchronous
// read takes one byte, which the next read of the stream gets first.  A read that finds a
// notification still armed waits for that byte, and no callback follows.
//
// Threads: startasync, checkinput and reads from one thread at a time, or from the callback.  A
// stream is not destroyed from its callback.  One that is destroyed waits for a callback under way,
// which may still arm the stream, to no effect.
//
// Errors: IO when the asynchronous read could not be started, THREAD, LOCK, and NOCONNECTION when
// the signal handler could not be installed.

#pragma once

#include "remote/stream/fdio.h"

namespace vnt {

int fdio_mustpoll(stream *s);
int fdio_checkinput(stream *s, int *flag);
int fdio_startasync(stream *s, stream_callback callback, void *arg);

// Ends asynchronous input for good, also while the listener waits.  When the descriptor is about to
// be closed, this comes first and says so: a socket is then shut down for reading, so that a read
// in flight ends and does not keep the connection open.  A read in flight on a pipe cannot be
// ended; it keeps the pipe's read end open until its next byte or its end comes.
void fdio_stopasync(fdio *f, bool closing);

// Takes over the byte of an asynchronous read of a stream that has a notice; waits for a read in
// flight.
// Errors: IO.
int async_collect(fdio *f);

} // namespace vnt
