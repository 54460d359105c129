#include "remote/handler/registry.h"

#include "remote/base/holders.h"
#include "remote/message/errors.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <pthread.h>

namespace vnt {

struct env2handler_pair {
    VNTENVptr env;
    handler *owner;
};

// Guards the count of handlers, and with it the creation and destruction of the registry's lock.
static pthread_mutex_t count_lock = PTHREAD_MUTEX_INITIALIZER;
static std::atomic<int32_t> env2handler_init;

static pthread_mutex_t registry_lock;
static env2handler_pair *registry_pairs;
static int64_t registry_length;
static int64_t registry_capacity;

// Orders by the pointer's bytes; only equality matters.
static int env2handler_cmp(const void *a, const void *b)
{
    return memcmp(&static_cast<const env2handler_pair *>(a)->env,
                  &static_cast<const env2handler_pair *>(b)->env, sizeof(VNTENVptr));
}

int env2handler_hold(void)
{
    const mutex_holder held(&count_lock);
    if (++env2handler_init > 1 || pthread_mutex_init(&registry_lock, nullptr) == 0) return 0;
    env2handler_init--;
    return MESSAGE_LOCK;
}

void env2handler_release(void)
{
    const mutex_holder held(&count_lock);
    if (env2handler_init-- == 1) pthread_mutex_destroy(&registry_lock);
}

// With the lock held.
static bool grow(void)
{
    if (registry_length < registry_capacity) return true;
    const int64_t wanted = registry_capacity == 0 ? 4 : 2 * registry_capacity;
    void *grown = realloc(registry_pairs, static_cast<size_t>(wanted) * sizeof(env2handler_pair));
    if (grown == nullptr) return false;
    registry_pairs = static_cast<env2handler_pair *>(grown);
    registry_capacity = wanted;
    return true;
}

// With the lock held.  The storage is freed with the last pair.
static void remove_at(int64_t index)
{
    registry_length--;
    memmove(&registry_pairs[index], &registry_pairs[index + 1],
            static_cast<size_t>(registry_length - index) * sizeof(env2handler_pair));
    if (registry_length > 0) return;
    free(registry_pairs);
    registry_pairs = nullptr;
    registry_capacity = 0;
}

// With the lock held; null for an unknown environment.
static env2handler_pair *lookup(VNTENVptr env)
{
    if (registry_length == 0) return nullptr;
    const env2handler_pair key = {env, nullptr};
    return static_cast<env2handler_pair *>(bsearch(&key, registry_pairs,
                                                   static_cast<size_t>(registry_length),
                                                   sizeof(env2handler_pair), env2handler_cmp));
}

int env2handler_add(VNTENVptr env, handler *h)
{
    const mutex_holder held(&registry_lock);
    if (!grow()) return MESSAGE_NOMEMORY;
    registry_pairs[registry_length++] = {env, h};
    qsort(registry_pairs, static_cast<size_t>(registry_length), sizeof(env2handler_pair),
          env2handler_cmp);
    return 0;
}

void env2handler_remove(VNTENVptr env)
{
    const mutex_holder held(&registry_lock);
    const env2handler_pair *found = lookup(env);
    if (found != nullptr) remove_at(found - registry_pairs);
}

void env2handler_forget(const handler *h)
{
    const mutex_holder held(&registry_lock);
    for (int64_t i = registry_length - 1; i >= 0; i--)
        if (registry_pairs[i].owner == h) remove_at(i);
}

handler *env2handler_find(VNTENVptr env)
{
    // Without a handler there is no lock.
    if (env2handler_init == 0) return nullptr;
    const mutex_holder held(&registry_lock);
    const env2handler_pair *found = lookup(env);
    return found != nullptr ? found->owner : nullptr;
}

} // namespace vnt
