// The server of real workers.

#include "remote/server/server.h"
#include "vanto_remote.h"

int32_t VNTWORKERtcpip(int32_t argc, char **argv)
{
    server_parts parts = {};
    parts.worker = tcpipworker;
    return server_run(parts, argc, argv);
}
