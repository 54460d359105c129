#include "remote/calls/solver.h"

#include <dlfcn.h>

namespace vnt {

void *solver_find(solver_import *import)
{
    void *address = __atomic_load_n(&import->address, __ATOMIC_ACQUIRE);
    if (address != nullptr) return address;
    // Two threads may both look it up; they find the same.  A function that is missing is looked
    // up again each time: a library that holds it may be loaded later.
    address = dlsym(RTLD_DEFAULT, import->name);
    if (address != nullptr) __atomic_store_n(&import->address, address, __ATOMIC_RELEASE);
    return address;
}

} // namespace vnt
