// vntworker: the host program of the worker server.  It is linked to libvanto.so by that plain
// name, so that another solver library of the name, or a preloaded one, takes its place.

#include "vanto_remote.h"

int main(int argc, char **argv)
{
    return VNTWORKERtcpip(argc, argv);
}
