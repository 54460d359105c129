#include "remote/server/socketfile.h"

#include "remote/base/clock.h"
#include "remote/base/holders.h"
#include "remote/base/log.h"
#include "remote/base/socket.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vnt {

static int fail(const char *path, const char *why)
{
    log_line(LOG_ERROR, "%s: %s\n", path, why);
    return -1;
}

// The folder of the path, which is short enough for a socket.
static int folder_open(const char *path)
{
    char folder[sizeof sockaddr_un::sun_path] = {};
    const char *slash = strrchr(path, '/');
    if (slash != nullptr) memcpy(folder, path, static_cast<size_t>(slash - path) + 1);
    return open(slash != nullptr ? folder : ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
}

static constexpr int LOCK_TIME = 5000; // milliseconds; the holder needs a moment only

static int folder_lock(const char *path)
{
    descriptor_holder folder(folder_open(path));
    if (folder.fd < 0) return fail(path, strerror(errno));
    const int64_t deadline = clock_after_ms(LOCK_TIME);
    while (flock(folder.fd, LOCK_EX | LOCK_NB) != 0) {
        if (clock_left(deadline) <= 0) return fail(path, "another process locks the folder");
        clock_sleep(0.02);
    }
    return folder.release();
}

// Whether a server listens there: 0, or EAGAIN when many clients wait, for one that does, and
// ECONNREFUSED for one that does not any more.
static int listener_probe(const sockaddr_un &address)
{
    descriptor_holder probe(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    auto *at = reinterpret_cast<const sockaddr *>(&address);
    return probe.fd >= 0 && connect(probe.fd, at, sizeof address) == 0 ? 0 : errno;
}

// Removes the file that a dead server has left.
static int way_clear(const sockaddr_un &address)
{
    const char *path = address.sun_path;
    struct stat there;
    if (lstat(path, &there) != 0) return 0; // if the folder is at fault, bind() fails
    if (!S_ISSOCK(there.st_mode)) return fail(path, "a file that is no socket is in the way");
    const int error = listener_probe(address);
    if (error == 0 || error == EAGAIN) return fail(path, "already in use by another server");
    if (error != ECONNREFUSED) return fail(path, strerror(error));
    return unlink(path) == 0 ? 0 : fail(path, strerror(errno));
}

// The mode holds from the file's first moment on.
static int bind_with(int fd, const sockaddr_un &address, mode_t mode)
{
    const mode_t before = umask(~mode & 0777);
    const int rc = bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address);
    umask(before);
    return rc;
}

int socketfile_listen(socket_file *f, int fd, const char *path, mode_t mode)
{
    sockaddr_un address;
    if (!path_address(path, &address)) return fail(path, strerror(errno));
    descriptor_holder lock(folder_lock(path));
    if (lock.fd < 0 || way_clear(address) != 0) return -1;
    if (bind_with(fd, address, mode) != 0) return fail(path, strerror(errno));
    struct stat made = {};
    lstat(path, &made);
    *f = {path, made.st_dev, made.st_ino};
    if (listen(fd, SOMAXCONN) == 0) return 0;
    log_syscall("listen");
    socketfile_remove(f);
    return -1;
}

void socketfile_remove(socket_file *f)
{
    struct stat there;
    if (f->path != nullptr && lstat(f->path, &there) == 0 && there.st_dev == f->device &&
        there.st_ino == f->number)
        unlink(f->path);
    f->path = nullptr;
}

} // namespace vnt
