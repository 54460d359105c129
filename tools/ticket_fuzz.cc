// ticket_fuzz.cc: any bytes as a ticket; one that is taken reads the same after it was written.

#include "tools/exits.h"
#include "tools/ticket.h"

#include <cstdlib>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

namespace vnt {

static std::string file_of(const uint8_t *data, size_t size)
{
    static const int fd = memfd_create("ticket", MFD_CLOEXEC);
    if (ftruncate(fd, 0) != 0 || pwrite(fd, data, size, 0) != static_cast<ssize_t>(size)) abort();
    return "/proc/self/fd/" + std::to_string(fd);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const std::string copy = "/tmp/ticket" + std::to_string(getpid());
    try {
        ticket t = ticket_read(file_of(data, size));
        ticket_write(copy, t);
        ticket again = ticket_read(copy);
        unlink(copy.c_str());
        if (again.server != t.server || again.model != t.model || again.record != t.record) abort();
    } catch (const failure &) { // not a ticket
    }
    return 0;
}

} // namespace vnt
