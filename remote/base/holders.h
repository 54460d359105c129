// holders.h: small owners that undo on every way out of a function.

#pragma once

#include <pthread.h>

namespace vnt {

// Holds a mutex for as long as it stands.
struct mutex_holder {
    explicit mutex_holder(pthread_mutex_t *m) : mutex(m) { pthread_mutex_lock(mutex); }
    ~mutex_holder() { pthread_mutex_unlock(mutex); }
    mutex_holder(const mutex_holder &) = delete;
    mutex_holder &operator=(const mutex_holder &) = delete;
    pthread_mutex_t *const mutex;
};

} // namespace vnt
