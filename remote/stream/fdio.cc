#include "remote/stream/fdio.h"

#include "remote/stream/async.h"
#include "remote/stream/descriptor.h"
#include "remote/stream/reader.h"

#include <cstdlib>
#include <cstring>

namespace vnt {

static constexpr stream_operations fdio_ops = {
    .startoutmsg = fdio_startoutmsg,
    .getcurrentoutmsg = fdio_getcurrentoutmsg,
    .writebyte = fdio_writebyte,
    .writeshort = fdio_writeshort,
    .writeint = fdio_writeint,
    .writelong = fdio_writelong,
    .writeubyte = fdio_writeubyte,
    .writeushort = fdio_writeushort,
    .writeuint = fdio_writeuint,
    .writeulong = fdio_writeulong,
    .writefloat = fdio_writefloat,
    .writedouble = fdio_writedouble,
    .writestring = fdio_writestring,
    .writearray = fdio_writearray,
    .writefile = fdio_writefile,
    .endoutmsg = fdio_endoutmsg,
    .startinmsg = fdio_startinmsg,
    .getcurrentinmsg = fdio_getcurrentinmsg,
    .readbyte = fdio_readbyte,
    .readshort = fdio_readshort,
    .readint = fdio_readint,
    .readlong = fdio_readlong,
    .readubyte = fdio_readubyte,
    .readushort = fdio_readushort,
    .readuint = fdio_readuint,
    .readulong = fdio_readulong,
    .readfloat = fdio_readfloat,
    .readdouble = fdio_readdouble,
    .readstring = fdio_readstring,
    .readarray = fdio_readarray,
    .readfile = fdio_readfile,
    .endinmsg = fdio_endinmsg,
    .freestring = fdio_freestring,
    .freearray = fdio_freearray,
    .freefile = fdio_freefile,
    .mustpoll = fdio_mustpoll,
    .checkinput = fdio_checkinput,
    .startasync = fdio_startasync,
    .destroy = fdio_destroy,
    .getreadtimeout = fdio_getreadtimeout,
    .getwritetimeout = fdio_getwritetimeout,
    .expect = fdio_expect,
    .land = fdio_land,
};

static int transmit(fdio_writer *w, const void *block, size_t n)
{
    auto f = static_cast<fdio *>(w);
    iovec pieces[2] = {{w->outbuf, w->outlen}, {const_cast<void *>(block), n}};
    int rc = 0;
    while (rc == 0 && pieces[0].iov_len + pieces[1].iov_len > 0) {
        size_t sent;
        rc = descriptor_write(f->outfd, f->out_socket, &f->writetimeout, true, pieces, &sent);
        descriptor_advance(pieces, sent);
    }
    // What was not sent of the buffer moves to its front.
    w->outlen = static_cast<uint32_t>(pieces[0].iov_len);
    memmove(w->outbuf, pieces[0].iov_base, w->outlen);
    return rc;
}

int fdio_create(stream **out, int infd, int outfd, int uselistener, const fdio_timeout *readtimeout,
                const fdio_timeout *writetimeout)
{
    *out = nullptr;
    auto f = static_cast<fdio *>(calloc(1, sizeof(fdio)));
    if (f == nullptr) return MESSAGE_NOMEMORY;
    f->ops = fdio_ops;
    writer_init(f, uselistener, transmit);
    f->infd = infd;
    f->outfd = outfd;
    f->in_socket = descriptor_is_socket(infd);
    f->out_socket = descriptor_is_socket(outfd);
    f->curinmsg = -1;
    f->wake_fd = -1;
    if (readtimeout != nullptr) f->readtimeout = *readtimeout;
    if (writetimeout != nullptr) f->writetimeout = *writetimeout;
    *out = f;
    return 0;
}

int fdio_destroy(stream *s)
{
    if (s == nullptr) return 0;
    auto f = static_cast<fdio *>(s);
    fdio_stopasync(f, false);
    if (f->log != nullptr) fclose(f->log);
    writer_release(f);
    free(f);
    return 0;
}

fdio_timeout *fdio_getreadtimeout(stream *s)
{
    return &static_cast<fdio *>(s)->readtimeout;
}

fdio_timeout *fdio_getwritetimeout(stream *s)
{
    return &static_cast<fdio *>(s)->writetimeout;
}

} // namespace vnt
