// vntworker: the host program of the worker server.  It links libvanto.so without a version, so
// that another solver library of that name, or a preloaded one, can take its place.

#include "vanto_remote.h"

int main(int argc, char **argv)
{
    return VNTWORKERtcpip(argc, argv);
}
