#include "remote/server/slabs.h"

#include "remote/base/holders.h"

#include <pthread.h>
#include <sys/mman.h>

namespace vnt {

static constexpr int SLABS_PER_BLOCK = 64;

namespace {
// A free slab's first bytes link it to the next one.
struct free_slab {
    free_slab *next;
};
} // namespace

static pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
static free_slab *free_slabs;

static void slab_put_back(slab *s)
{
    free_slab *f = reinterpret_cast<free_slab *>(s);
    f->next = free_slabs;
    free_slabs = f;
}

static bool slab_map_block(void)
{
    void *block = mmap(nullptr, SLABS_PER_BLOCK * sizeof(slab), PROT_READ | PROT_WRITE,
                       MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | MAP_STACK, -1, 0);
    if (block == MAP_FAILED) return false;
    if (SLAB_HIDDEN) madvise(block, SLABS_PER_BLOCK * sizeof(slab), MADV_WIPEONFORK);
    for (int i = 0; i < SLABS_PER_BLOCK; i++)
        slab_put_back(static_cast<slab *>(block) + i);
    return true;
}

slab *slab_take(void)
{
    mutex_holder hold(&lock);
    if (free_slabs == nullptr && !slab_map_block()) return nullptr;
    free_slab *f = free_slabs;
    free_slabs = f->next;
    return reinterpret_cast<slab *>(f);
}

void slab_give(slab *s)
{
    if (s == nullptr) return;
    madvise(s, sizeof *s, MADV_DONTNEED);
    mutex_holder hold(&lock);
    slab_put_back(s);
}

} // namespace vnt
