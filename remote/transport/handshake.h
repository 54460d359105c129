// handshake.h: the first bytes of a connection: the client says what it wants, the server answers
// with a status and the worker's id.
//
// Errors: 0, MESSAGE_IO when bytes did not come or go, MESSAGE_NOCONNECTION when nobody could be
// reached or the id is zero, MESSAGE_INVALID for an unknown action, or the server's status, 1 to 6.

#pragma once

#include "remote/transport/tcpip.h"

namespace vnt {

// Connects `fd` to the transport's address and asks for a worker.  For ACTION_RECONNECT the
// transport's worker id says which; the id that comes back is stored there.  The descriptor stays
// the caller's.
int contactserver(tcpip_transport *t, int fd, uint32_t action);

} // namespace vnt
