// descriptor.h: waits for a descriptor and moves bytes over it, in spite of interrupted calls,
// descriptors above 1023, closed peers and descriptors that do not block.
//
// A wait for a socket ends when the peer has vanished, see remote/base/socket.h.
//
// Threads: any.
//
// Errors: 0 or MESSAGE_IO with errno: ETIMEDOUT for a time-out, ECONNRESET for the end of the
// input, EHOSTUNREACH for a peer that has vanished.

#pragma once

#include "remote/stream/stream.h"

#include <sys/types.h>
#include <sys/uio.h>

namespace vnt {

// Whether the descriptor is a socket, where MSG_NOSIGNAL and MSG_DONTWAIT work.
bool descriptor_is_socket(int fd);

// The deadline of a wait that begins now; CLOCK_NEVER if the time-out is not enabled.
int64_t timeout_deadline(const fdio_timeout *t);

// Reads at least one and at most `n` > 0 bytes; `*got` says how many.
int descriptor_read(int fd, bool socket, const fdio_timeout *timeout, void *to, size_t n,
                    size_t *got);

// Writes at least one byte of the two pieces, in this order; `*sent` says how many.  If `timeout`
// is enabled or `patient` is false it does not block for more: a socket takes what it has room for,
// another descriptor at most PIPE_BUF bytes once it shows room.  If `patient` is false it does not
// wait at all, and `*sent` may be 0 with a result of 0.
int descriptor_write(int fd, bool socket, const fdio_timeout *timeout, bool patient,
                     const iovec pieces[2], size_t *sent);

// Takes `sent` bytes off the front of the pieces.
void descriptor_advance(iovec pieces[2], size_t sent);

} // namespace vnt
