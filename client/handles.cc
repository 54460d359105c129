#include "client/handles.h"

#include "remote/base/holders.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace vnt {

// The bits of a handle from the top: a mark that no address of a process has, how often the slot
// was used, and the index of the slot.
static constexpr uint64_t MARK = 0xC11E;
static constexpr int USEBITS = 24;
static constexpr int PLACEBITS = 24;
static constexpr uint64_t PLACES = uint64_t(1) << PLACEBITS;

struct slot {
    client_object object; // kind CLIENT_NONE: free
    uint64_t uses;
    uint64_t next_free;
};

// Places count from 1; 0 ends the list of free slots.
static pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
static slot *slots;
static uint64_t capacity;
static uint64_t used = 1;
static uint64_t first_free;
static uint64_t last_serial;

static void *make(uint64_t place)
{
    uint64_t use = slots[place].uses & ((uint64_t(1) << USEBITS) - 1);
    return reinterpret_cast<void *>(MARK << 48 | use << PLACEBITS | place);
}

static slot *find(const void *handle)
{
    uint64_t place = reinterpret_cast<uint64_t>(handle) & (PLACES - 1);
    if (place == 0 || place >= used) return nullptr;
    slot *s = &slots[place];
    return s->object.kind != CLIENT_NONE && s->object.handle == handle ? s : nullptr;
}

static bool grow()
{
    if (used < capacity) return true;
    if (capacity == PLACES) return false;
    uint64_t wanted = std::min(PLACES, std::max<uint64_t>(64, capacity * 2));
    void *more = realloc(slots, wanted * sizeof(slot));
    if (more == nullptr) return false;
    slots = static_cast<slot *>(more);
    capacity = wanted;
    return true;
}

// A slot whose count of uses is exhausted is not used again: its oldest handles would become valid.
static uint64_t take()
{
    if (first_free != 0) {
        uint64_t place = first_free;
        first_free = slots[place].next_free;
        return place;
    }
    if (!grow()) return 0;
    slots[used] = {};
    return used++;
}

void *client_handle_add(client_kind kind, client_env *env, uint64_t remote)
{
    mutex_holder hold(&lock);
    uint64_t place = take();
    if (place == 0) return nullptr;
    void *handle = make(place);
    slots[place].object = {kind, env, remote, ++last_serial, handle};
    return handle;
}

bool client_handle_find(const void *handle, client_kind kind, client_object *object)
{
    mutex_holder hold(&lock);
    const slot *s = find(handle);
    if (s == nullptr || s->object.kind != kind) return false;
    *object = s->object;
    return true;
}

static void release(slot *s)
{
    s->object = {};
    s->uses++;
    if (s->uses >> USEBITS != 0) return;
    s->next_free = first_free;
    first_free = static_cast<uint64_t>(s - slots);
}

void client_handle_forget(const void *handle)
{
    mutex_holder hold(&lock);
    slot *s = find(handle);
    if (s != nullptr) release(s);
}

void client_handles_forget(const client_env *env)
{
    mutex_holder hold(&lock);
    for (uint64_t i = 1; i < used; i++)
        if (slots[i].object.env == env && slots[i].object.kind != CLIENT_NONE) release(&slots[i]);
}

size_t client_handles_list(const client_env *env, client_object *objects, size_t space)
{
    mutex_holder hold(&lock);
    size_t count = 0;
    for (uint64_t i = 1; i < used; i++) {
        const client_object &o = slots[i].object;
        if (o.env != env || (o.kind != CLIENT_LP && o.kind != CLIENT_NET)) continue;
        if (count < space) objects[count] = o;
        count++;
    }
    std::sort(objects, objects + std::min(count, space),
              [](const client_object &a, const client_object &b) { return a.serial < b.serial; });
    return count;
}

bool client_handle_next(const client_env *env, client_kind kind, uint64_t serial,
                        client_object *object)
{
    mutex_holder hold(&lock);
    const client_object *next = nullptr;
    for (uint64_t i = 1; i < used; i++) {
        const client_object &o = slots[i].object;
        bool fits = o.env == env && o.kind == kind && o.serial > serial;
        if (fits && (next == nullptr || o.serial < next->serial)) next = &o;
    }
    if (next != nullptr) *object = *next;
    return next != nullptr;
}

void *client_handle_known(const client_env *env, client_kind kind, uint64_t remote)
{
    mutex_holder hold(&lock);
    for (uint64_t i = 1; i < used; i++) {
        const client_object &o = slots[i].object;
        if (o.env == env && o.kind == kind && o.remote == remote) return o.handle;
    }
    return nullptr;
}

} // namespace vnt
