// decode_fuzz.cc: reads any bytes as messages, until they end or make no sense.

#include "remote/codec/codec.h"
#include "remote/stream/fdio.h"

#include <sys/mman.h>
#include <unistd.h>

namespace vnt {

static int input(const uint8_t *data, size_t size)
{
    static const int fd = memfd_create("input", MFD_CLOEXEC);
    if (ftruncate(fd, 0) != 0 || pwrite(fd, data, size, 0) != static_cast<ssize_t>(size)) return -1;
    lseek(fd, 0, SEEK_SET);
    return fd;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    stream *s = nullptr;
    codec *c = nullptr;
    void *record;
    fdio_create(&s, input(data, size), -1, 0, nullptr, nullptr);
    vntcodec_getfactory()->create(&c, s, s);
    while (c->ops.recvmsg(c, &record) == 0)
        c->ops.delmsg(c, record);
    c->ops.destroy(c);
    fdio_destroy(s);
    return 0;
}

} // namespace vnt
