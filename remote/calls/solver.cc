#include "remote/calls/solver.h"

#include <dlfcn.h>

namespace vnt {

void *solver_find(solver_import *import)
{
    void *address = import->address.load(std::memory_order_acquire);
    if (address != nullptr) return address;
    // Two threads may both look it up; they find the same.  A function that is missing is looked
    // up again each time: a library that holds it may be loaded later.
    address = dlsym(RTLD_DEFAULT, import->name);
    if (address != nullptr) import->address.store(address, std::memory_order_release);
    return address;
}

} // namespace vnt
