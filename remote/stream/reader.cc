#include "remote/stream/reader.h"

#include "remote/base/byteorder.h"
#include "remote/stream/async.h"
#include "remote/stream/descriptor.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <poll.h>
#include <sys/mman.h>
#include <unistd.h>

namespace vnt {

// Blocks announced as larger than this start at this size and grow as their bytes arrive.
static constexpr uint64_t FIRST_BLOCK = 1 << 18;

// Bytes read at a time, so that they are still in the cache when they are swapped.
static constexpr uint64_t PIECE = 262144;

// Moves bytes that were read ahead; returns how many.
static size_t take_ahead(fdio *f, void *to, size_t n)
{
    if (f->preread <= 0) return 0;
    n = std::min(n, static_cast<size_t>(f->preread));
    memcpy(to, f->ahead + f->ahead_at, n);
    f->preread -= static_cast<int64_t>(n);
    f->ahead_at = f->preread > 0 ? f->ahead_at + static_cast<uint32_t>(n) : 0;
    return n;
}

// Reads some of `n` bytes, while none are held, and keeps what is certain to follow them.
static int read_more(fdio *f, void *to, size_t n, size_t *got)
{
    f->owed = std::max(f->owed, static_cast<int64_t>(n));
    const auto certain = static_cast<uint64_t>(f->owed);
    const bool direct = certain == n || n >= sizeof f->ahead;
    size_t came = 0;
    int rc = descriptor_read(f->infd, f->in_socket, &f->readtimeout, direct ? to : f->ahead,
                             direct ? n : std::min<uint64_t>(certain, sizeof f->ahead), &came);
    f->owed -= static_cast<int64_t>(came);
    if (!direct) f->preread = static_cast<int64_t>(came);
    *got = direct ? came : take_ahead(f, to, n);
    return rc;
}

// Reads `n` bytes.  After a time-out the id of a message can be read again from its first byte on.
static int read_all(fdio *f, void *to, size_t n)
{
    int rc = f->notice != nullptr ? async_collect(f) : 0;
    size_t got = rc == 0 ? take_ahead(f, to, n) : 0;
    while (rc == 0 && got < n) {
        size_t more;
        rc = read_more(f, static_cast<char *>(to) + got, n - got, &more);
        got += more;
    }
    if (rc != 0 && got > 0 && got <= sizeof f->ahead) {
        memcpy(f->ahead, to, got);
        f->preread = static_cast<int64_t>(got);
    }
    return rc;
}

// Reads an unsigned integer.
template <class integer> static int get(fdio *f, integer *v)
{
    unsigned char bytes[sizeof(integer)];
    int rc = read_all(f, bytes, sizeof bytes);
    if (rc == 0) *v = wire_get<integer>(bytes);
    return rc;
}

// Reads `n` bytes and drops them.
static int skip(fdio *f, uint64_t n)
{
    char nowhere[16384];
    int rc = 0;
    for (uint64_t piece; rc == 0 && n > 0; n -= piece) {
        piece = std::min<uint64_t>(n, sizeof nowhere);
        rc = read_all(f, nowhere, piece);
    }
    return rc;
}

int fdio_startinmsg(stream *s, int32_t *id)
{
    auto f = static_cast<fdio *>(s);
    pollfd input = {f->infd, POLLIN, 0};
    // The next message often comes soon.
    if (f->preread == 0 && f->notice == nullptr) moment_poll(&f->soon, &input, 1);
    int rc = fdio_readint(s, nullptr, id);
    if (rc == 0) f->curinmsg = *id;
    return rc;
}

int fdio_getcurrentinmsg(stream *s)
{
    return static_cast<fdio *>(s)->curinmsg;
}

void fdio_expect(stream *s, uint32_t least)
{
    auto f = static_cast<fdio *>(s);
    f->owed = int64_t(least) - f->preread;
}

void fdio_land(stream *s, const stream_landing *landing)
{
    static_cast<fdio *>(s)->landing = *landing;
}

int fdio_endinmsg(stream *s)
{
    auto f = static_cast<fdio *>(s);
    f->owed = 0;
    f->curinmsg = -1;
    return 0;
}

#define DEFINE(kind, type)                                                                         \
    int fdio_read##kind(stream *s, const char *, type *value)                                      \
    {                                                                                              \
        word<type> w;                                                                              \
        int rc = get(static_cast<fdio *>(s), &w);                                                  \
        if (rc == 0) *value = std::bit_cast<type>(w);                                              \
        return rc;                                                                                 \
    }
FDIO_NUMBERS(DEFINE)
#undef DEFINE

// Reads elements straight into their place.
static int read_elements(fdio *f, char *to, uint64_t bytes, size_t width)
{
    for (uint64_t at = 0; at < bytes; at += PIECE) {
        uint64_t n = std::min(PIECE, bytes - at);
        int rc = read_all(f, to + at, n);
        if (rc != 0) return rc;
        byteorder_swap(to + at, to + at, n / width, width);
    }
    return 0;
}

namespace {
// Text while it is being read, or strings as they come.
struct block {
    char *data;
    size_t used, room; // bytes
};
} // namespace

// Makes room for so many more bytes and the spare ones behind them.
static bool block_grow(block *b, size_t more)
{
    size_t need = b->used + more + MESSAGE_SPARE;
    if (need <= b->room) return true;
    size_t room = std::max(need, 2 * b->room);
    void *grown = realloc(b->data, room);
    if (grown == nullptr) return false;
    *b = {static_cast<char *>(grown), b->used, room};
    return true;
}

// Reads a string of `*left` > 0 bytes behind those that are there, with its spare bytes; `*left` is
// what a lack of memory leaves unread.
static int append_text(fdio *f, block *b, uint64_t *left)
{
    for (uint64_t piece; *left > 0; *left -= piece) {
        piece = std::min(*left, PIECE);
        if (!block_grow(b, piece)) return MESSAGE_NOMEMORY;
        int rc = read_all(f, b->data + b->used, piece);
        if (rc != 0) return rc;
        b->used += piece;
    }
    memset(b->data + b->used, 0, MESSAGE_SPARE);
    b->used += MESSAGE_SPARE;
    return 0;
}

struct string_head {
    uint32_t present;
    uint32_t length; // bytes that follow
};
static constexpr size_t HEAD = 8; // bytes on the wire

static string_head parse_head(const void *wire)
{
    auto bytes = static_cast<const unsigned char *>(wire);
    uint32_t present = wire_get<uint32_t>(bytes);
    return {present, present != 0 ? wire_get<uint32_t>(bytes + 4) : 0};
}

static int read_head(fdio *f, string_head *head)
{
    unsigned char bytes[HEAD];
    int rc = read_all(f, bytes, sizeof bytes);
    if (rc != 0) return rc;
    *head = parse_head(bytes);
    f->owed += head->length;
    return 0;
}

// Reads the bytes of a string into a new block.
static int read_text(fdio *f, uint64_t length, char **text)
{
    block b = {};
    int rc = append_text(f, &b, &length);
    if (rc != 0)
        free(b.data);
    else
        *text = b.data;
    return rc;
}

int fdio_readstring(stream *s, const char *, message_string *value)
{
    string_head head;
    *value = {};
    auto f = static_cast<fdio *>(s);
    int rc = read_head(f, &head);
    char *text = nullptr;
    if (rc == 0 && head.length > 0) rc = read_text(f, head.length, &text);
    if (rc == 0) *value = {head.present, head.length, text, 0};
    return rc;
}

static int skip_strings(fdio *f, uint32_t count)
{
    int rc = 0;
    for (; rc == 0 && count > 0; count--) {
        string_head head;
        rc = read_head(f, &head);
        if (rc == 0) rc = skip(f, head.length);
    }
    return rc;
}

namespace {
// A chunk while it is being read.
struct filling {
    char *data;
    size_t width;   // bytes of an element
    uint64_t count; // elements read so far
    uint64_t room;  // elements that fit
    bool exact;     // no further chunk will be joined to it
    block wire;     // its strings, as they come
    size_t walked;  // bytes there, or still to come, up to the end of the last string
};
} // namespace

// If it is known how many elements come, the steps are large, since each of them may copy.
static uint64_t next_room(const filling *c)
{
    if (c->room == 0) return std::max<uint64_t>(FIRST_BLOCK / c->width, 1);
    return c->exact ? c->room * 4 : c->room + c->room / 2 + 8;
}

// Makes room behind the elements; `promised` is how many more are to come.
static bool grow(filling *c, uint64_t promised)
{
    uint64_t room = next_room(c);
    if (c->exact || c->room == 0) room = std::min(room, c->count + promised);
    void *grown = realloc(c->data, room * c->width + MESSAGE_SPARE);
    if (grown == nullptr) return false;
    c->data = static_cast<char *>(grown);
    c->room = room;
    return true;
}

// Blocks larger than this are fresh memory: the C library keeps none of that size for later.
static constexpr uint64_t FRESH_BLOCK = 1 << 25;

// Has the system provide the pages of a piece of fresh memory at once: each of them at its first
// touch costs more.  A system that cannot do so does the latter.
static void pages_provide(char *piece, uint64_t bytes)
{
    static const auto page = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
    const uint64_t before = reinterpret_cast<uintptr_t>(piece) % page;
    madvise(piece - before, before + bytes, MADV_POPULATE_WRITE);
}

static int append_numbers(fdio *f, filling *c, uint64_t left)
{
    while (left > 0) {
        if (c->count == c->room && !grow(c, left)) {
            int rc = skip(f, left * c->width);
            return rc != 0 ? rc : MESSAGE_NOMEMORY;
        }
        uint64_t n = std::min({left, c->room - c->count, PIECE / c->width});
        char *piece = c->data + c->count * c->width;
        if (c->room * c->width > FRESH_BLOCK) pages_provide(piece, n * c->width);
        int rc = read_elements(f, piece, n * c->width, c->width);
        if (rc != 0) return rc;
        c->count += n;
        left -= n;
    }
    return 0;
}

// Passes over the strings whose heads have come.  Each head tells how much more follows.
static void walk(fdio *f, filling *c, uint32_t *left)
{
    size_t at = c->walked;
    uint32_t n = 0;
    for (; n < *left && at + HEAD <= c->wire.used; n++)
        at += HEAD + parse_head(c->wire.data + at).length;
    f->owed += static_cast<int64_t>(at - c->walked - n * HEAD);
    c->walked = at;
    c->count += n;
    *left -= n;
}

// Skips what is missing of a string, or of a head, and the strings behind it.
static int skip_unwalked(fdio *f, const filling *c, uint32_t left)
{
    const block &b = c->wire;
    int rc = 0;
    if (c->walked > b.used) {
        rc = skip(f, c->walked - b.used);
    } else if (c->walked < b.used) {
        char head[HEAD];
        const size_t came = b.used - c->walked;
        memcpy(head, b.data + c->walked, came);
        rc = read_all(f, head + came, HEAD - came);
        if (rc == 0) rc = skip(f, parse_head(head).length);
        left--;
    }
    return rc == 0 ? skip_strings(f, left) : rc;
}

static int append_strings(fdio *f, filling *c, uint32_t left)
{
    block *b = &c->wire;
    while (left > 0 || c->walked > b->used) {
        const size_t n = std::min(left * HEAD + c->walked - b->used, PIECE);
        if (!block_grow(b, n)) {
            int rc = skip_unwalked(f, c, left);
            return rc != 0 ? rc : MESSAGE_NOMEMORY;
        }
        int rc = read_all(f, b->data + b->used, n);
        if (rc != 0) return rc;
        b->used += n;
        walk(f, c, &left);
    }
    return 0;
}

// Moves the first string that has bytes to the beginning of the block, which none needs otherwise.
static void front_fill(message_string *strings, uint64_t count, block *b)
{
    uint64_t i = 0;
    while (i < count && strings[i].length == 0)
        i++;
    if (i < count) {
        memmove(b->data, strings[i].data, strings[i].length + MESSAGE_SPARE);
        strings[i].data = b->data;
    } else {
        free(b->data);
        *b = {};
    }
}

// Makes the records of strings that stay where they came.  The zeros behind each of them take the
// place of the next one's head.
static bool records_make(filling *c)
{
    auto strings = static_cast<message_string *>(malloc((c->count + 1) * sizeof(message_string)));
    if (strings == nullptr) return false;
    c->data = reinterpret_cast<char *>(strings);
    char *at = c->wire.data;
    for (uint64_t i = 0; i < c->count; i++) {
        const string_head head = parse_head(at);
        memset(at, 0, MESSAGE_SPARE);
        at += HEAD;
        strings[i] = {head.present, head.length, head.length > 0 ? at : nullptr, 0};
        at += head.length;
    }
    strings[c->count] = {};
    if (at != nullptr) memset(at, 0, MESSAGE_SPARE);
    front_fill(strings, c->count, &c->wire);
    return true;
}

// Reads the count of a chunk, all of whose elements follow.
static int read_count(fdio *f, uint32_t type, uint32_t *count)
{
    int rc = get(f, count);
    const size_t least = type == TYPE_STRING ? HEAD : message_element_size(type);
    if (rc == 0) f->owed += static_cast<int64_t>(*count * least);
    return rc;
}

static int skip_elements(fdio *f, uint32_t type, uint32_t count)
{
    if (type == TYPE_STRING) return skip_strings(f, count);
    return skip(f, uint64_t(count) * message_element_size(type));
}

static int skip_chunks(fdio *f, uint32_t type, uint32_t n)
{
    int rc = 0;
    for (; rc == 0 && n > 0; n--) {
        uint32_t count;
        rc = read_count(f, type, &count);
        if (rc == 0) rc = skip_elements(f, type, count);
    }
    return rc;
}

static int chunk_add(message_array *a, uint64_t count, void *data)
{
    auto chunks = static_cast<message_chunk *>(
        realloc(static_cast<void *>(a->chunks), (a->nchunks + 1) * sizeof(message_chunk)));
    if (chunks == nullptr) return MESSAGE_NOMEMORY;
    a->chunks = chunks;
    chunks[a->nchunks++] = {static_cast<uint32_t>(count), data};
    return 0;
}

// Clears what lies behind the numbers.
static bool numbers_end(filling *c)
{
    if (c->data == nullptr && !grow(c, 1)) return false;
    memset(c->data + c->count * c->width, 0, (c->count == 0 ? c->width : 0) + MESSAGE_SPARE);
    return true;
}

// Adds the chunk to the array's table.  A chunk without elements has a block, too.
static int end_chunk(message_array *a, filling *c)
{
    const bool strings = a->type == TYPE_STRING;
    if (!(strings ? records_make(c) : numbers_end(c))) return MESSAGE_NOMEMORY;
    if (chunk_add(a, c->count, c->data) != 0) return MESSAGE_NOMEMORY;
    *c = {nullptr, c->width, 0, 0, c->exact, {}, 0};
    return 0;
}

// Reads the elements of the only chunk into the place that was offered.
static int land_chunk(fdio *f, message_array *a, uint32_t count)
{
    const size_t width = message_element_size(a->type);
    int rc = read_elements(f, static_cast<char *>(f->landing.place), count * width, width);
    return rc == 0 ? chunk_add(a, count, nullptr) : rc;
}

// An array of more chunks than this is joined into as few as possible: otherwise a peer that sends
// many small chunks would make each of its bytes cost dozens here.
static constexpr uint32_t MANY_CHUNKS = 1024;

static int read_chunk(fdio *f, message_array *a, filling *c, bool joined)
{
    uint32_t count;
    int rc = read_count(f, a->type, &count);
    if (rc != 0) return rc;
    const stream_landing &l = f->landing;
    if (l.place != nullptr && l.type == a->type && count <= l.space) return land_chunk(f, a, count);
    if (joined && c->count + count > MESSAGE_CHUNK_MAX && (rc = end_chunk(a, c)) != 0) {
        int skipped = skip_elements(f, a->type, count);
        return skipped != 0 ? skipped : rc;
    }
    if (rc == 0)
        rc = a->type == TYPE_STRING ? append_strings(f, c, count) : append_numbers(f, c, count);
    if (rc == 0 && !joined) rc = end_chunk(a, c);
    return rc;
}

// Reads the chunks of an array of that type, which has none yet.  After an error it has none.
static int read_chunks(fdio *f, uint32_t type, message_array *a)
{
    uint32_t left = 0;
    f->owed += sizeof left;
    int rc = get(f, &left);
    // An array without chunks is taken whatever its type says.
    if (rc == 0 && left > 0 && type > TYPE_LAST) rc = MESSAGE_INVALID;
    if (rc != 0 || left == 0) return rc;
    f->owed += static_cast<int64_t>(left * sizeof left);
    if (left > 1) f->landing = {};
    const bool joined = left > MANY_CHUNKS;
    filling c = {nullptr, message_element_size(type), 0, 0, !joined, {}, 0};
    a->type = type;
    for (; rc == 0 && left > 0; left--)
        rc = read_chunk(f, a, &c, joined);
    if (rc == 0 && joined) rc = end_chunk(a, &c);
    if (rc == 0) return 0;
    free(c.wire.data);
    free(c.data);
    message_uncopy_array(a);
    if (rc != MESSAGE_NOMEMORY) return rc;
    rc = skip_chunks(f, type, left); // the chunk that failed is off the stream
    return rc != 0 ? rc : MESSAGE_NOMEMORY;
}

int fdio_readarray(stream *s, const char *, message_array *value)
{
    auto f = static_cast<fdio *>(s);
    unsigned char head[12];
    *value = {};
    int rc = read_all(f, head, sizeof head);
    if (rc != 0) return rc;
    const auto total = static_cast<int64_t>(wire_get<uint64_t>(head));
    const auto type = wire_get<uint32_t>(head + 8);
    if (type != TYPE_NONE && total >= 1) rc = read_chunks(f, type, value);
    f->landing = {};
    if (rc != 0) return rc;
    value->total = total;
    value->type = type;
    return 0;
}

int fdio_readfile(stream *s, const char *name, message_file *value)
{
    *value = {};
    int rc = fdio_readstring(s, name, &value->name);
    if (rc == 0) rc = fdio_readarray(s, name, &value->contents);
    if (rc != 0) message_uncopy_string(&value->name);
    return rc;
}

void fdio_freestring(stream *, message_string *value)
{
    message_uncopy_string(value);
}

void fdio_freearray(stream *, message_array *value)
{
    message_uncopy_array(value);
}

void fdio_freefile(stream *, message_file *value)
{
    message_uncopy_file(value);
}

} // namespace vnt
