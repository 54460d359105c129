#include "remote/transport/handshake.h"

#include "remote/base/byteorder.h"
#include "remote/base/io.h"
#include "remote/base/log.h"
#include "remote/message/errors.h"

namespace vnt {

static void put_id(unsigned char *to, int64_t workerid)
{
    memcpy(to, &workerid, HANDSHAKE_ID);
}

size_t handshake_request_put(handshake_request &to, uint32_t action, int64_t workerid)
{
    wire_put(to, action);
    if (action != ACTION_RECONNECT) return HANDSHAKE_ACTION;
    put_id(to + HANDSHAKE_ACTION, workerid);
    return sizeof to;
}

uint32_t handshake_action_get(const unsigned char *from)
{
    return wire_get<uint32_t>(from);
}

int64_t handshake_id_get(const unsigned char *from)
{
    int64_t workerid;
    memcpy(&workerid, from, HANDSHAKE_ID);
    return workerid;
}

size_t handshake_answer_put(handshake_answer &to, uint16_t status, int64_t workerid)
{
    wire_put(to, status);
    if (status != HANDSHAKE_OK) return HANDSHAKE_STATUS;
    put_id(to + HANDSHAKE_STATUS, workerid);
    return sizeof to;
}

static bool receive(int fd, unsigned char *bytes, size_t n, int64_t deadline)
{
    return io_readall(fd, bytes, n, -1, deadline) == 0;
}

// The id follows a status of 0 only, so the status is read first.
static int hear(int fd, int64_t *workerid, int64_t deadline)
{
    handshake_answer answer;
    if (!receive(fd, answer, HANDSHAKE_STATUS, deadline)) return MESSAGE_IO;
    int status = wire_get<uint16_t>(answer);
    if (status != HANDSHAKE_OK) {
        trace_line(1, "Error code from worker: %d\n", status);
        return status;
    }
    if (!receive(fd, answer + HANDSHAKE_STATUS, HANDSHAKE_ID, deadline)) return MESSAGE_IO;
    *workerid = handshake_id_get(answer + HANDSHAKE_STATUS);
    return *workerid != 0 ? 0 : MESSAGE_NOCONNECTION;
}

int handshake_ask(int fd, uint32_t action, int64_t *workerid, int64_t deadline)
{
    if (action != ACTION_NEW && action != ACTION_RECONNECT) return MESSAGE_INVALID;
    handshake_request request;
    size_t n = handshake_request_put(request, action, *workerid);
    if (io_writeall(fd, request, n, -1, deadline) != 0) return MESSAGE_IO;
    return hear(fd, workerid, deadline);
}

} // namespace vnt
