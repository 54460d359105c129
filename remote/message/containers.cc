#include "remote/message/containers.h"

#include <cstdlib>
#include <cstring>
#include <memory>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vnt {

static constexpr uint8_t element_sizes[] = {0, 1, 2, 4, 8, 1,
                                            2, 4, 8, 4, 8, sizeof(message_string)};

size_t message_element_size(uint32_t type)
{
    return type <= TYPE_LAST ? element_sizes[type] : 0;
}

// Bytes that a block of elements takes, including the spare zeros behind bytes.
static size_t block_size(uint32_t type, uint64_t count)
{
    bool bytes = type == TYPE_BYTE || type == TYPE_UBYTE;
    return message_element_size(type) * count + (bytes ? MESSAGE_SPARE : 0);
}

static uint32_t chunks_needed(int64_t count)
{
    return static_cast<uint32_t>(count / MESSAGE_CHUNK_MAX + (count % MESSAGE_CHUNK_MAX != 0));
}

// The size of chunk `i` when `count` elements are cut into full chunks and a rest.
static uint32_t chunk_count(int64_t count, uint32_t i)
{
    int64_t left = count - i * MESSAGE_CHUNK_MAX;
    return static_cast<uint32_t>(left < MESSAGE_CHUNK_MAX ? left : MESSAGE_CHUNK_MAX);
}

// Points the cleared array `a` at one block of `count` elements, which may fill several chunks.
static int point(message_array *a, int64_t count, uint32_t type, void *data)
{
    uint32_t n = count == 0 ? 1 : chunks_needed(count);
    message_chunk *chunks = &a->inlinechunk;
    if (n > 1) chunks = static_cast<message_chunk *>(calloc(n, sizeof(message_chunk)));
    if (chunks == nullptr) return MESSAGE_NOMEMORY;
    uint64_t step = MESSAGE_CHUNK_MAX * message_element_size(type);
    for (uint32_t i = 0; i < n; i++)
        chunks[i] = {chunk_count(count, i), static_cast<char *>(data) + i * step};
    *a = {count, type, n, chunks, a->inlinechunk};
    return 0;
}

static message_string borrow(const char *text, const message_strlen *len)
{
    if (text == nullptr) return {};
    return {1, len->length(len, text), const_cast<char *>(text), 0};
}

// Makes string records for `count` > 0 borrowed strings.
static int point_strings(message_array *a, int64_t count, const char *const *texts,
                         const message_strlen *len)
{
    uint32_t n = chunks_needed(count);
    a->chunks = static_cast<message_chunk *>(calloc(n, sizeof(message_chunk)));
    if (a->chunks == nullptr) return MESSAGE_NOMEMORY;
    a->type = TYPE_STRING; // from here on unset releases the blocks made so far
    for (; a->nchunks < n; a->nchunks++) {
        uint32_t elements = chunk_count(count, a->nchunks);
        auto strings = static_cast<message_string *>(calloc(elements, sizeof(message_string)));
        if (strings == nullptr) {
            message_unset_array(a);
            return MESSAGE_NOMEMORY;
        }
        for (uint32_t i = 0; i < elements; i++)
            strings[i] = borrow(*texts++, len);
        a->chunks[a->nchunks] = {elements, strings};
    }
    a->total = count;
    return 0;
}

int message_set_anyarray(message_array *a, int64_t count, uint32_t type, const void *data,
                         const message_strlen *len)
{
    *a = {};
    if (count < 0) count = 0;
    if (data == nullptr) return 0;
    if (type == TYPE_NONE || type > TYPE_LAST) return MESSAGE_INVALID;
    if (type != TYPE_STRING) return point(a, count, type, const_cast<void *>(data));
    a->type = type;
    if (count == 0) return 0;
    return point_strings(a, count, static_cast<const char *const *>(data), len);
}

int message_set_bytearray(message_array *a, int64_t count, const void *data)
{
    return message_set_anyarray(a, count, TYPE_BYTE, data, nullptr);
}

void message_unset_array(message_array *a)
{
    if (a->type == TYPE_STRING)
        for (uint32_t i = 0; i < a->nchunks; i++)
            free(a->chunks[i].data);
    if (a->chunks != &a->inlinechunk) free(a->chunks);
    *a = {};
}

int handle_take(const message_array *a, void **object)
{
    *object = nullptr;
    if (a->type == TYPE_NONE) return 0;
    if (a->type != TYPE_BYTE || a->total != 16 || a->nchunks != 1 || a->chunks[0].count != 16)
        return MESSAGE_INVALID;
    memcpy(object, a->chunks[0].data, sizeof *object);
    return 0;
}

void handle_put(message_array *a, char (&bytes)[16], const void *object)
{
    memset(bytes, 0, sizeof bytes);
    memcpy(bytes, &object, sizeof object);
    *a = {};
    if (object == nullptr) return;
    a->total = sizeof bytes;
    a->type = TYPE_BYTE;
    a->nchunks = 1;
    a->chunks = &a->inlinechunk;
    a->inlinechunk = {sizeof bytes, bytes};
}

// Opens, measures and maps the file.  After a failure unmap() releases what it has taken.
static int map(message_mapping *m, const char *path)
{
    struct stat st;
    m->fd = open(path, O_RDONLY | O_CLOEXEC);
    if (m->fd < 0) return MESSAGE_OPEN;
    if (fstat(m->fd, &st) != 0) return MESSAGE_IO;
    m->length = static_cast<uint64_t>(st.st_size);
    void *at = mmap(nullptr, m->length, PROT_READ, MAP_PRIVATE, m->fd, 0);
    if (at == MAP_FAILED) return MESSAGE_NOCONNECTION;
    m->address = at;
    return 0;
}

static void unmap(message_mapping *m)
{
    if (m->address != nullptr) munmap(m->address, m->length);
    if (m->fd >= 0) close(m->fd);
    free(m);
}

int message_set_file(message_file *f, const char *path)
{
    *f = {};
    if (path == nullptr) return 0;
    std::unique_ptr<message_mapping, void (*)(message_mapping *)> mapping(
        static_cast<message_mapping *>(calloc(1, sizeof(message_mapping))), unmap);
    if (mapping == nullptr) return MESSAGE_NOMEMORY;
    int rc = map(mapping.get(), path);
    if (rc != 0) return rc;
    size_t length = strlen(path);
    if (length >= UINT32_MAX) return MESSAGE_INVALID;
    rc = point(&f->contents, static_cast<int64_t>(mapping->length), TYPE_BYTE, mapping->address);
    if (rc != 0) return rc;
    f->name = {1, static_cast<uint32_t>(length + 1), const_cast<char *>(path), 0};
    f->mapping = mapping.release();
    return 0;
}

void message_unset_file(message_file *f)
{
    if (f->mapping != nullptr) {
        message_unset_array(&f->contents);
        unmap(f->mapping);
    }
    *f = {};
}

int message_copy_string(message_string *to, const message_string *from)
{
    if (from == nullptr) return MESSAGE_INVALID;
    *to = {};
    if (from->present != 0 && from->length != 0) {
        to->data = static_cast<char *>(malloc(from->length + MESSAGE_SPARE));
        if (to->data == nullptr) return MESSAGE_NOMEMORY;
        memcpy(to->data, from->data, from->length);
        memset(to->data + from->length, 0, MESSAGE_SPARE);
    }
    to->present = from->present;
    to->length = from->length;
    return 0;
}

// Bytes of a string in memory, with the spare ones.
static size_t text_size(const message_string &s)
{
    return s.present != 0 && s.length != 0 ? s.length + MESSAGE_SPARE : 0;
}

// Points strings that have no data yet at their places, one behind the other.
static void place_strings(message_string *strings, uint64_t count, char *text)
{
    for (uint64_t i = 0; i < count; i++) {
        size_t size = text_size(strings[i]);
        strings[i].data = size > 0 ? text : nullptr;
        text += size;
    }
}

static int copy_strings(message_string *to, const message_string *from, uint32_t count)
{
    size_t size = 0;
    for (uint32_t i = 0; i < count; i++) {
        to[i] = {from[i].present, from[i].length, nullptr, 0};
        size += text_size(from[i]);
    }
    if (size == 0) return 0;
    char *text = static_cast<char *>(calloc(1, size));
    if (text == nullptr) return MESSAGE_NOMEMORY;
    place_strings(to, count, text);
    for (uint32_t i = 0; i < count; i++)
        if (to[i].data != nullptr) memcpy(to[i].data, from[i].data, from[i].length);
    return 0;
}

// Copies a chunk's block into the empty chunk `to`.  After a failure `to` can still be uncopied.
static int copy_chunk(message_chunk *to, const message_chunk *from, uint32_t type)
{
    size_t bytes = message_element_size(type) * from->count;
    to->data = calloc(1, block_size(type, from->count));
    if (to->data == nullptr) return from->count == 0 ? 0 : MESSAGE_NOMEMORY;
    to->count = from->count;
    if (type == TYPE_STRING)
        return copy_strings(static_cast<message_string *>(to->data),
                            static_cast<const message_string *>(from->data), from->count);
    if (bytes > 0) memcpy(to->data, from->data, bytes);
    return 0;
}

int message_copy_array(message_array *to, const message_array *from)
{
    if (from == nullptr) return MESSAGE_INVALID;
    *to = {};
    to->total = from->total;
    to->type = from->type;
    if (from->total < 1 || from->type > TYPE_LAST || from->nchunks == 0) return 0;
    to->chunks = static_cast<message_chunk *>(calloc(from->nchunks, sizeof(message_chunk)));
    int rc = to->chunks != nullptr ? 0 : MESSAGE_NOMEMORY;
    if (rc == 0) to->nchunks = from->nchunks;
    for (uint32_t i = 0; rc == 0 && i < to->nchunks; i++)
        rc = copy_chunk(&to->chunks[i], &from->chunks[i], from->type);
    if (rc != 0) message_uncopy_array(to);
    return rc;
}

int message_copy_file(message_file *to, const message_file *from)
{
    if (from == nullptr) return MESSAGE_INVALID;
    *to = {};
    int rc = message_copy_string(&to->name, &from->name);
    if (rc == 0) rc = message_copy_array(&to->contents, &from->contents);
    if (rc != 0) message_uncopy_string(&to->name);
    return rc;
}

void message_uncopy_string(message_string *s)
{
    if (s == nullptr) return;
    free(s->data);
    *s = {};
}

// Frees the block that all strings of the chunk share: the first with bytes is its beginning.
static void free_strings(const message_chunk *chunk)
{
    auto strings = static_cast<message_string *>(chunk->data);
    uint32_t i = 0;
    while (i < chunk->count && strings[i].data == nullptr)
        i++;
    if (i < chunk->count) free(strings[i].data);
}

void message_uncopy_array(message_array *a)
{
    if (a == nullptr) return;
    for (uint32_t i = 0; i < a->nchunks; i++) {
        if (a->type == TYPE_STRING) free_strings(&a->chunks[i]);
        free(a->chunks[i].data);
    }
    free(a->chunks);
    *a = {};
}

void message_uncopy_file(message_file *f)
{
    if (f == nullptr) return;
    message_uncopy_string(&f->name);
    message_uncopy_array(&f->contents);
    *f = {};
}

} // namespace vnt
