// The server of real workers.

#include "vanto_remote.h"
#include "worker/server.h"

int32_t VNTWORKERtcpip(int32_t argc, char **argv)
{
    server_parts parts = {};
    parts.worker = tcpipworker;
    return server_run(parts, argc, argv);
}
