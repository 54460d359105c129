#include "remote/server/owned.h"

#include "remote/base/holders.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

namespace vnt {

static pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
static uint64_t *noted; // one bit per descriptor
static int64_t words;
static int64_t used_words; // up to the highest descriptor ever noted

void owned_lock(void)
{
    pthread_mutex_lock(&lock);
}
void owned_unlock(void)
{
    pthread_mutex_unlock(&lock);
}

static bool descriptor_is_noted(int fd)
{
    return noted[fd / 64] >> (fd % 64) & 1;
}
static void descriptor_flip(int fd)
{
    noted[fd / 64] ^= uint64_t(1) << (fd % 64);
}

int owned_create(void)
{
    struct rlimit limit;
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return -1;
    owned_destroy();
    words = static_cast<int64_t>(std::min<rlim_t>(limit.rlim_cur, 1 << 30) / 64 + 1);
    noted = static_cast<uint64_t *>(calloc(static_cast<size_t>(words), sizeof *noted));
    return noted != nullptr ? 0 : -1;
}

void owned_destroy(void)
{
    free(noted);
    noted = nullptr;
    words = used_words = 0;
}

int owned_add(int fd)
{
    if (fd < 0) return -1;
    mutex_holder hold(&lock);
    if (fd >= words * 64) {
        close(fd);
        errno = EMFILE;
        return -1;
    }
    if (!descriptor_is_noted(fd)) descriptor_flip(fd);
    used_words = std::max<int64_t>(used_words, fd / 64 + 1);
    return fd;
}

void owned_close(int fd)
{
    if (fd < 0) return;
    mutex_holder hold(&lock);
    if (descriptor_is_noted(fd)) descriptor_flip(fd);
    close(fd);
}

int owned_pipe(int *read_end, int *write_end)
{
    int ends[2];
    *read_end = *write_end = -1;
    if (pipe2(ends, O_CLOEXEC) != 0) return -1;
    *read_end = owned_add(ends[0]);
    *write_end = owned_add(ends[1]);
    if (*read_end >= 0 && *write_end >= 0) return 0;
    owned_close(*read_end);
    owned_close(*write_end);
    *read_end = *write_end = -1;
    errno = EMFILE;
    return -1;
}

// A system, or a filter of system calls, may lack close_range().
static void run_close(int first, int last)
{
    if (close_range(static_cast<unsigned>(first), static_cast<unsigned>(last), 0) == 0) return;
    for (int fd = first; fd <= last; fd++)
        close(fd);
}

void owned_close_others(const int *keep, int count)
{
    for (int i = 0; i < count; i++)
        descriptor_flip(keep[i]);
    // The descriptors of a thousand workers lie side by side: few runs, one system call each.  Not
    // the whole table, which takes 128 MiB if a process may open 2^30 descriptors.
    const int end = static_cast<int>(used_words * 64);
    for (int fd = 0; fd < end; fd++) {
        const int first = fd;
        while (fd < end && descriptor_is_noted(fd))
            fd++;
        if (fd > first) run_close(first, fd - 1);
    }
}

} // namespace vnt
