// descriptor.h: waiting for a descriptor and moving bytes over it, the awkward cases included:
// interrupted calls, descriptors above 1023, closed peers, descriptors that do not block.
//
// Threads: any.
//
// Waits for a socket end when its peer has vanished, see remote/base/socket.h.
//
// Errors: 0 or MESSAGE_IO, with errno telling why: ETIMEDOUT for a time-out, ECONNRESET for the
// end of the input, EHOSTUNREACH for a peer that has vanished.

#pragma once

#include "remote/stream/stream.h"

#include <sys/types.h>
#include <sys/uio.h>

namespace vnt {

// Whether the descriptor is a socket, which can be told not to raise SIGPIPE.
bool descriptor_issocket(int fd);

// When a wait that begins now is over; CLOCK_NEVER for a time-out that is not enabled.
int64_t timeout_deadline(const fdio_timeout *t);

// Reads at least one and at most `n` > 0 bytes; `*got` says how many.
int descriptor_read(int fd, bool socket, const fdio_timeout *timeout, void *to, size_t n,
                    size_t *got);

// Writes at least one byte of the two pieces, in this order; `*sent` says how many.  Does not wait
// for more than that when `timeout` is enabled or `patient` is false: then a socket takes what it
// has room for, and another descriptor, once it shows room, what a pipe then takes for sure.
// When not patient nothing at all may be sent: `*sent` is 0 then and the result 0.
int descriptor_write(int fd, bool socket, const fdio_timeout *timeout, bool patient,
                     const iovec pieces[2], size_t *sent);

// Takes `sent` bytes off the front of the pieces.
void descriptor_advance(iovec pieces[2], size_t sent);

} // namespace vnt
