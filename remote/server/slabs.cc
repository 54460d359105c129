#include "remote/server/slabs.h"

#include "remote/base/holders.h"

#include <pthread.h>
#include <sys/mman.h>

namespace vnt {

static constexpr int SLABS_PER_BLOCK = 16;

namespace {
// A free slab's first bytes link it to the next one.
struct free_slab {
    free_slab *next;
};
} // namespace

static pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
static free_slab *freeslabs;

static void slab_putback(slab *s)
{
    free_slab *f = reinterpret_cast<free_slab *>(s);
    f->next = freeslabs;
    freeslabs = f;
}

static bool slab_mapblock(void)
{
    void *block = mmap(nullptr, SLABS_PER_BLOCK * sizeof(slab), PROT_READ | PROT_WRITE,
                       MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | MAP_STACK, -1, 0);
    if (block == MAP_FAILED) return false;
    for (int i = 0; i < SLABS_PER_BLOCK; i++)
        slab_putback(static_cast<slab *>(block) + i);
    return true;
}

slab *slab_take(void)
{
    mutex_holder hold(&lock);
    if (freeslabs == nullptr && !slab_mapblock()) return nullptr;
    free_slab *f = freeslabs;
    freeslabs = f->next;
    return reinterpret_cast<slab *>(f);
}

void slab_give(slab *s)
{
    if (s == nullptr) return;
    madvise(s, sizeof *s, MADV_DONTNEED);
    mutex_holder hold(&lock);
    slab_putback(s);
}

} // namespace vnt
