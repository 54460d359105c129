// The server of real workers.

#include "remote/base/entry.h"
#include "remote/server/server.h"
#include "remote/worker/worker.h"
#include "vanto_remote.h"

namespace vnt {

VNT_ENTRY int32_t VNTWORKERtcpip(int32_t argc, char **argv)
{
    server_parts parts = {};
    parts.worker = tcpipworker;
    return server_run(parts, argc, argv);
}

} // namespace vnt
