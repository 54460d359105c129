#include "client/files.h"

#include "client/environment.h"
#include "remote/base/holders.h"
#include "remote/base/io.h"
#include "vanto.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vnt {

namespace {
struct text {
    char *data;
    explicit text(size_t size) : data(static_cast<char *>(malloc(size))) {}
    ~text() { free(data); }
    text(const text &) = delete;
    text &operator=(const text &) = delete;
};
} // namespace

static int open_file(const char *path, int flags, mode_t mode)
{
    return TEMP_FAILURE_RETRY(open(path, flags | O_CLOEXEC, mode));
}

// Reads up to `size` bytes; fewer at the end of the file only.  -1 when reading fails.
static ssize_t read_some(int fd, char *to, size_t size)
{
    ssize_t got;
    do
        got = read(fd, to, size);
    while (got < 0 && errno == EINTR);
    return got;
}

// Pipes, empty files and files like those of /proc cannot be mapped.
static int read_whole(client_infile *f, const char *path, size_t *length)
{
    descriptor_holder d(open_file(path, O_RDONLY, 0)); // waits for the writer of a named pipe
    if (d.fd < 0) return client_fail(VNTERR_FILE_OPEN, "%s: %s", path, strerror(errno));
    size_t space = 0;
    for (*length = 0;;) {
        if (*length == space) {
            space = space > 0 ? space * 2 : 65536;
            char *larger = static_cast<char *>(realloc(f->block, space));
            if (larger == nullptr) return VNTERR_NO_MEMORY;
            f->block = larger;
        }
        ssize_t got = read_some(d.fd, f->block + *length, space - *length);
        if (got < 0) return client_fail(VNTERR_FILE_IO, "%s: %s", path, strerror(errno));
        if (got == 0) return 0;
        *length += static_cast<size_t>(got);
    }
}

static int send_bytes(client_infile *f, const char *path, const char *contents, int64_t length)
{
    if (path != nullptr)
        f->file.name = {1, static_cast<uint32_t>(strlen(path) + 1), const_cast<char *>(path), 0};
    return msg2vnt(message_set_bytearray(&f->file.contents, length, contents));
}

int client_infile_set(client_infile *f, const char *path, const char *contents, int64_t length)
{
    *f = {};
    if (contents != nullptr && length < 0) return VNTERR_BAD_ARGUMENT;
    if (contents != nullptr) return send_bytes(f, path, contents, length);
    // A pipe must be opened only once: its writer fails when the first reader closes it.
    struct stat about;
    bool pipe = path != nullptr && stat(path, &about) == 0 && S_ISFIFO(about.st_mode);
    errno = 0;
    int rc = pipe ? MESSAGE_NOCONNECTION : message_set_file(&f->file, path);
    if (rc != 0 && rc != MESSAGE_NOCONNECTION && path != nullptr && errno != 0)
        return client_fail(msg2vnt(rc), "%s: %s", path, strerror(errno));
    if (rc != MESSAGE_NOCONNECTION) return msg2vnt(rc);
    size_t read = 0;
    rc = read_whole(f, path, &read);
    if (rc == 0) rc = send_bytes(f, path, f->block, static_cast<int64_t>(read));
    return rc;
}

void client_infile_unset(client_infile *f)
{
    if (f->file.mapping != nullptr)
        message_unset_file(&f->file);
    else
        message_unset_array(&f->file.contents);
    free(f->block);
    *f = {};
}

static int write_contents(int fd, const char *path, const message_array *contents)
{
    for (uint32_t i = 0; i < contents->nchunks; i++) {
        const message_chunk &chunk = contents->chunks[i];
        if (io_write_all(fd, chunk.data, chunk.count, -1, CLOCK_NEVER) != 0)
            return client_fail(VNTERR_FILE_IO, "%s: %s", path, strerror(errno));
    }
    return 0;
}

static int write_through(const char *path, const message_array *contents)
{
    descriptor_holder d(open_file(path, O_WRONLY | O_CREAT | O_TRUNC, 0666));
    if (d.fd < 0) return client_fail(VNTERR_FILE_CREATE, "%s: %s", path, strerror(errno));
    return write_contents(d.fd, path, contents);
}

// Makes a file of a new name beside the path.  The process's mask applies, as to a program that
// writes the file itself.
static int open_beside(const char *path, char *beside, size_t size, mode_t mode)
{
    for (int n = 0;; n++) {
        snprintf(beside, size, "%s.tmp%d.%d", path, static_cast<int>(getpid()), n);
        int fd = open_file(beside, O_WRONLY | O_CREAT | O_EXCL, mode);
        if (fd >= 0 || errno != EEXIST) return fd;
    }
}

// Whether another file can take this one's place: it has no second name, and may be written to.
static bool is_replaceable(const char *path, const struct stat &old)
{
    return S_ISREG(old.st_mode) && old.st_nlink == 1 &&
           faccessat(AT_FDCWD, path, W_OK, AT_EACCESS) == 0;
}

// Gives the new file the mode of the old one; false when it would belong to somebody else.
static bool inherit(int fd, const struct stat &old)
{
    struct stat now;
    return fstat(fd, &now) == 0 && now.st_uid == old.st_uid && now.st_gid == old.st_gid &&
           fchmod(fd, old.st_mode & 07777) == 0;
}

// VNTERR_FILE_CREATE, without a text, when no new file can take the place.
static int replace(const char *path, const message_array *contents, const struct stat *old)
{
    size_t size = strlen(path) + sizeof ".tmp." + 2 * 11; // the longest two numbers
    text beside(size);
    if (beside.data == nullptr) return VNTERR_NO_MEMORY;
    descriptor_holder d(
        open_beside(path, beside.data, size, old != nullptr ? old->st_mode & 0777 : 0666));
    if (d.fd < 0) return VNTERR_FILE_CREATE;
    int rc = old == nullptr || inherit(d.fd, *old) ? 0 : VNTERR_FILE_CREATE;
    if (rc == 0) rc = write_contents(d.fd, path, contents);
    if (rc == 0 && rename(beside.data, path) != 0) rc = VNTERR_FILE_CREATE;
    if (rc != 0) unlink(beside.data);
    return rc;
}

int client_outfile_store(const char *path, const message_file *f)
{
    if (f->contents.type != TYPE_BYTE) return VNTERR_REMOTE;
    struct stat old;
    const bool there = lstat(path, &old) == 0;
    if (there && !is_replaceable(path, old)) return write_through(path, &f->contents);
    int rc = replace(path, &f->contents, there ? &old : nullptr);
    // The directory may not allow a new file or so long a name.
    return rc == VNTERR_FILE_CREATE ? write_through(path, &f->contents) : rc;
}

} // namespace vnt
