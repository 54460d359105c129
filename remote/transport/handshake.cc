#include "remote/transport/handshake.h"

#include "remote/base/byteorder.h"
#include "remote/base/io.h"
#include "remote/base/log.h"
#include "remote/message/errors.h"

namespace vnt {

static void put_id(unsigned char *to, int64_t worker_id)
{
    memcpy(to, &worker_id, HANDSHAKE_ID);
}

size_t handshake_request_put(handshake_request &to, uint32_t action, int64_t worker_id)
{
    wire_put(to, action);
    if (action != ACTION_RECONNECT) return HANDSHAKE_ACTION;
    put_id(to + HANDSHAKE_ACTION, worker_id);
    return sizeof to;
}

uint32_t handshake_action_get(const unsigned char *from)
{
    return wire_get<uint32_t>(from);
}

int64_t handshake_id_get(const unsigned char *from)
{
    int64_t worker_id;
    memcpy(&worker_id, from, HANDSHAKE_ID);
    return worker_id;
}

size_t handshake_answer_put(handshake_answer &to, uint16_t status, int64_t worker_id)
{
    wire_put(to, status);
    if (status != HANDSHAKE_OK) return HANDSHAKE_STATUS;
    put_id(to + HANDSHAKE_STATUS, worker_id);
    return sizeof to;
}

static bool receive(int fd, unsigned char *bytes, size_t n, int64_t deadline)
{
    return io_read_all(fd, bytes, n, -1, deadline) == 0;
}

// The id follows a status of 0 only, so the status is read first.
static int hear(int fd, int64_t *worker_id, int64_t deadline)
{
    handshake_answer answer;
    if (!receive(fd, answer, HANDSHAKE_STATUS, deadline)) return MESSAGE_IO;
    int status = wire_get<uint16_t>(answer);
    if (status != HANDSHAKE_OK) {
        trace_line(1, "Error code from worker: %d\n", status);
        return status;
    }
    if (!receive(fd, answer + HANDSHAKE_STATUS, HANDSHAKE_ID, deadline)) return MESSAGE_IO;
    *worker_id = handshake_id_get(answer + HANDSHAKE_STATUS);
    return *worker_id != 0 ? 0 : MESSAGE_NOCONNECTION;
}

int handshake_ask(int fd, uint32_t action, int64_t *worker_id, int64_t deadline)
{
    if (action != ACTION_NEW && action != ACTION_RECONNECT) return MESSAGE_INVALID;
    handshake_request request;
    size_t n = handshake_request_put(request, action, *worker_id);
    if (io_write_all(fd, request, n, -1, deadline) != 0) return MESSAGE_IO;
    return hear(fd, worker_id, deadline);
}

} // namespace vnt
