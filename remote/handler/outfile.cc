#include "remote/handler/outfile.h"

#include "vanto.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vnt {

static const char *behind_last(const char *text, char separator)
{
    const char *last = strrchr(text, separator);
    return last != nullptr ? last + 1 : text;
}

static int open_new(const char *path)
{
    return TEMP_FAILURE_RETRY(open(path, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
}

int outfile_create(outfile *f, const char *name)
{
    *f = {nullptr, -1};
    const char *component = behind_last(behind_last(name != nullptr ? name : "", '/'), '\\');
    size_t size = strlen(component) + sizeof "tmp" + 2 * 11; // the longest two numbers
    f->path = static_cast<char *>(malloc(size));
    if (f->path == nullptr) return VNTERR_NO_MEMORY;
    for (int n = 0; f->fd < 0; n++) {
        snprintf(f->path, size, "tmp%d%d%s", static_cast<int>(getpid()), n, component);
        f->fd = open_new(f->path);
        if (f->fd >= 0 || errno == EEXIST) continue;
        free(f->path);
        f->path = nullptr;
        return VNTERR_FILE_CREATE;
    }
    return 0;
}

// A mapping must not be empty.
static bool file_empty(const char *path)
{
    struct stat about;
    return stat(path, &about) == 0 && about.st_size == 0;
}

static int attach(const outfile *f, message_file *to)
{
    int rc = message_set_file(to, f->path);
    if (rc == 0 || !file_empty(f->path)) return rc;
    to->name = {1, static_cast<uint32_t>(strlen(f->path) + 1), f->path, 0};
    return message_set_bytearray(&to->contents, 0, f->path);
}

int outfile_attach(const outfile *f, message_file *to)
{
    int rc = attach(f, to);
    if (rc == 0) unlink(f->path); // a worker that is killed while it sends leaves nothing behind
    return rc;
}

void outfile_destroy(outfile *f)
{
    if (f->path == nullptr) return;
    close(f->fd);
    unlink(f->path); // of a file that was not attached
    free(f->path);
    *f = {nullptr, -1};
}

} // namespace vnt
