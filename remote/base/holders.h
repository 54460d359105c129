// holders.h: small owners that release what they hold at the end of their scope.
//
// Every lock of the product is a pthread_mutex_t.  It can live in a record that is born zeroed,
// its creation can fail with a code instead of an exception, it pairs with conditions that wait by
// the clock of base/clock.h, and what a fork() does to it is defined.

#pragma once

#include <cerrno>
#include <pthread.h>
#include <unistd.h>

namespace vnt {

// Locks a mutex for as long as it lives.
struct mutex_holder {
    explicit mutex_holder(pthread_mutex_t *m) : mutex(m) { pthread_mutex_lock(mutex); }
    ~mutex_holder() { pthread_mutex_unlock(mutex); }
    mutex_holder(const mutex_holder &) = delete;
    mutex_holder &operator=(const mutex_holder &) = delete;
    pthread_mutex_t *const mutex;
};

// Unlocks a mutex that its creator holds, for as long as it lives.
struct mutex_pause {
    explicit mutex_pause(pthread_mutex_t *m) : mutex(m) { pthread_mutex_unlock(mutex); }
    ~mutex_pause() { pthread_mutex_lock(mutex); }
    mutex_pause(const mutex_pause &) = delete;
    mutex_pause &operator=(const mutex_pause &) = delete;
    pthread_mutex_t *const mutex;
};

// Closes a descriptor (-1: none) unless it was released.  Preserves errno.
struct descriptor_holder {
    explicit descriptor_holder(int descriptor) : fd(descriptor) {}
    ~descriptor_holder()
    {
        if (fd < 0) return;
        int error = errno;
        close(fd);
        errno = error;
    }
    descriptor_holder(const descriptor_holder &) = delete;
    descriptor_holder &operator=(const descriptor_holder &) = delete;

    int release(void)
    {
        int released = fd;
        fd = -1;
        return released;
    }

    int fd;
};

} // namespace vnt
