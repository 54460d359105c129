#include "remote/stream/writer.h"

#include "remote/base/byteorder.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <unistd.h>

namespace vnt {

// Blocks up to this size pass through the buffer.  Larger ones are sent in pieces of their own.
static constexpr size_t SMALL_BLOCK = 65536;
static constexpr size_t SCRATCH = 262144;

static constexpr size_t HEAD = 8; // bytes on the wire before those of a string

void writer_init(fdio_writer *w, int32_t uselistener,
                 int (*transmit)(fdio_writer *, const void *, size_t))
{
    w->tag = FDIO_TAG;
    w->uselistener = uselistener;
    w->curoutmsg = -1;
    w->transmit = transmit;
    w->outcap = FDIO_BUFFER;
    w->outlen = 0;
}

void writer_hold(stream *s, bool hold)
{
    static_cast<fdio_writer *>(s)->held = hold;
}

void writer_release(fdio_writer *w)
{
    free(w->scratch);
    w->scratch = nullptr;
}

// Makes room for `n` bytes, at most the buffer's size.
static int make_room(fdio_writer *w, size_t n)
{
    return w->outcap - w->outlen >= n ? 0 : w->transmit(w, nullptr, 0);
}

// Puts an unsigned integer.
template <class integer> static int put(fdio_writer *w, integer v)
{
    int rc = make_room(w, sizeof v);
    if (rc != 0) return rc;
    wire_put(w->outbuf + w->outlen, v);
    w->outlen += sizeof v;
    return 0;
}

// Passes elements through the buffer, as many at a time as fit whole.
static int put_small(fdio_writer *w, const char *data, size_t count, size_t width)
{
    while (count > 0) {
        int rc = make_room(w, width);
        if (rc != 0) return rc;
        size_t n = std::min(count, (w->outcap - w->outlen) / width);
        byteorder_swap(w->outbuf + w->outlen, data, n, width);
        w->outlen += static_cast<uint32_t>(n * width);
        data += n * width;
        count -= n;
    }
    return 0;
}

static bool have_scratch(fdio_writer *w)
{
    if (w->scratch == nullptr) w->scratch = static_cast<unsigned char *>(malloc(SCRATCH));
    return w->scratch != nullptr;
}

static int put_large(fdio_writer *w, const char *data, size_t count, size_t width)
{
    if (width == 1) return w->transmit(w, data, count);
    int rc = 0;
    while (rc == 0 && count > 0) {
        size_t n = std::min(count, SCRATCH / width);
        byteorder_swap(w->scratch, data, n, width);
        rc = w->transmit(w, w->scratch, n * width);
        data += n * width;
        count -= n;
    }
    return rc;
}

static int put_elements(fdio_writer *w, const void *data, size_t count, size_t width)
{
    bool small = count * width <= SMALL_BLOCK || (width > 1 && !have_scratch(w));
    return (small ? put_small : put_large)(w, static_cast<const char *>(data), count, width);
}

int fdio_startoutmsg(stream *s, int32_t id, const void *, int *)
{
    auto w = static_cast<fdio_writer *>(s);
    int rc = put(w, static_cast<uint32_t>(id));
    if (rc == 0) w->curoutmsg = id;
    return rc;
}

int fdio_getcurrentoutmsg(stream *s)
{
    return static_cast<fdio_writer *>(s)->curoutmsg;
}

int fdio_endoutmsg(stream *s)
{
    auto w = static_cast<fdio_writer *>(s);
    w->curoutmsg = -1;
    return w->outlen > 0 && !w->held ? w->transmit(w, nullptr, 0) : 0;
}

#define DEFINE(kind, type)                                                                         \
    int fdio_write##kind(stream *s, const char *, type value)                                      \
    {                                                                                              \
        return put(static_cast<fdio_writer *>(s), std::bit_cast<word<type>>(value));               \
    }
FDIO_NUMBERS(DEFINE)
#undef DEFINE

static int put_string(fdio_writer *w, const message_string *value)
{
    uint32_t length = value->present != 0 ? value->length : 0;
    int rc = put(w, value->present);
    if (rc == 0) rc = put(w, length);
    return rc == 0 ? put_elements(w, value->data, length, 1) : rc;
}

int fdio_writestring(stream *s, const char *, const message_string *value)
{
    return put_string(static_cast<fdio_writer *>(s), value);
}

namespace {
// Strings laid out one behind the other.
struct layout {
    uint32_t strings;
    size_t bytes;
};
} // namespace

// Lays out as many of the strings as fit whole.
static layout lay_strings(unsigned char *to, size_t room, const message_string *strings,
                          uint32_t count)
{
    layout l = {0, 0};
    for (; l.strings < count; l.strings++) {
        const message_string &s = strings[l.strings];
        const uint32_t length = s.present != 0 ? s.length : 0;
        if (room - l.bytes < HEAD || room - l.bytes - HEAD < length) break;
        wire_put(to + l.bytes, s.present);
        wire_put(to + l.bytes + 4, length);
        if (length > 0) memcpy(to + l.bytes + HEAD, s.data, length);
        l.bytes += HEAD + length;
    }
    return l;
}

// Passes strings through the buffer, or, if they are many, in pieces of their own.
static int put_strings(fdio_writer *w, const message_string *strings, uint32_t count)
{
    const bool many = count > SMALL_BLOCK / HEAD && have_scratch(w);
    int rc = 0;
    while (rc == 0 && count > 0) {
        unsigned char *to = many ? w->scratch : w->outbuf + w->outlen;
        const size_t room = many ? SCRATCH : w->outcap - w->outlen;
        layout l = lay_strings(to, room, strings, count);
        if (l.strings == 0) {
            rc = put_string(w, strings);
            l.strings = 1;
        } else if (many) {
            rc = w->transmit(w, to, l.bytes);
        } else {
            w->outlen += static_cast<uint32_t>(l.bytes);
        }
        strings += l.strings;
        count -= l.strings;
    }
    return rc;
}

static int put_chunk(fdio_writer *w, const message_chunk *chunk, uint32_t type)
{
    int rc = put(w, chunk->count);
    if (rc != 0) return rc;
    if (type == TYPE_STRING)
        return put_strings(w, static_cast<const message_string *>(chunk->data), chunk->count);
    return put_elements(w, chunk->data, chunk->count, message_element_size(type));
}

// Writes what precedes the chunks of an array.
static int put_head(fdio_writer *w, const message_array *value)
{
    uint64_t total = value->total > 0 ? static_cast<uint64_t>(value->total) : 0;
    int rc = put(w, total);
    if (rc == 0) rc = put(w, value->type);
    return rc == 0 && total > 0 ? put(w, value->nchunks) : rc;
}

int fdio_writearray(stream *s, const char *, const message_array *value)
{
    static constexpr message_array none = {};
    auto w = static_cast<fdio_writer *>(s);
    if (value == nullptr || value->type == TYPE_NONE) value = &none;
    if (value->type > TYPE_LAST) return MESSAGE_INVALID;
    int rc = put_head(w, value);
    if (value->total < 1) return rc;
    for (uint32_t i = 0; rc == 0 && i < value->nchunks; i++)
        rc = put_chunk(w, &value->chunks[i], value->type);
    return rc;
}

// Reads all `n` bytes of a file from `at` on.
static int read_file(int fd, unsigned char *to, size_t n, uint64_t at)
{
    while (n > 0) {
        ssize_t got = pread(fd, to, n, static_cast<off_t>(at));
        if (got < 0 && errno == EINTR) continue;
        if (got == 0) errno = ENODATA; // it has shrunk
        if (got <= 0) return MESSAGE_IO;
        to += got;
        n -= static_cast<size_t>(got);
        at += static_cast<uint64_t>(got);
    }
    return 0;
}

// Large pieces go through the scratch block, others straight into the buffer.
static int put_file_piece(fdio_writer *w, int fd, uint64_t at, size_t n, size_t *done)
{
    if (n > SMALL_BLOCK && have_scratch(w)) {
        *done = std::min(n, SCRATCH);
        int rc = read_file(fd, w->scratch, *done, at);
        return rc == 0 ? w->transmit(w, w->scratch, *done) : rc;
    }
    int rc = make_room(w, 1);
    if (rc != 0) return rc;
    *done = std::min<size_t>(n, w->outcap - w->outlen);
    rc = read_file(fd, w->outbuf + w->outlen, *done, at);
    if (rc == 0) w->outlen += static_cast<uint32_t>(*done);
    return rc;
}

// Reads the file instead of its mapping: the file may have shrunk since it was mapped, and touching
// pages beyond its end would kill the process.
static int put_mapped(fdio_writer *w, const message_file *value)
{
    auto start = static_cast<const char *>(value->mapping->address);
    int rc = put_head(w, &value->contents);
    for (uint32_t i = 0; rc == 0 && i < value->contents.nchunks; i++) {
        const message_chunk &chunk = value->contents.chunks[i];
        auto at = static_cast<uint64_t>(static_cast<const char *>(chunk.data) - start);
        rc = put(w, chunk.count);
        for (size_t left = chunk.count, done; rc == 0 && left > 0; left -= done, at += done)
            rc = put_file_piece(w, value->mapping->fd, at, left, &done);
    }
    return rc;
}

int fdio_writefile(stream *s, const char *name, const message_file *value)
{
    int rc = fdio_writestring(s, name, &value->name);
    if (rc != 0) return rc;
    return value->mapping != nullptr ? put_mapped(static_cast<fdio_writer *>(s), value)
                                     : fdio_writearray(s, name, &value->contents);
}

} // namespace vnt
