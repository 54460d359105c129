/* A worker server of one's own. */
#include <vanto_remote.h>

int main(int argc, char **argv)
{
    return VNTWORKERtcpip(argc, argv);
}
