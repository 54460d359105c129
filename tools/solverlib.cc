#include "tools/solverlib.h"

#include "tools/exits.h"

#include <dlfcn.h>

namespace vnt {

static void *find(void *library, const char *function)
{
    void *address = dlsym(library, function);
    if (address == nullptr) throw failure{EXIT_INTERNAL, dlerror()};
    return address;
}

solver_library solverlib_open(bool remote)
{
    void *library = dlopen(remote ? "libvantoclient.so.0" : "libvanto.so", RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) throw failure{EXIT_INTERNAL, dlerror()};
    solver_library table;
#define FILL(function)                                                                             \
    table.function = reinterpret_cast<decltype(&::function)>(find(library, #function));
    SOLVER_FUNCTIONS(FILL)
    if (!remote) return table;
    REMOTE_FUNCTIONS(FILL)
#undef FILL
    return table;
}

} // namespace vnt
