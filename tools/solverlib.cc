#include "tools/solverlib.h"

#include "tools/exits.h"

#include <dlfcn.h>
#include <fmt/format.h>

static void *find(void *library, const char *function)
{
    void *address = dlsym(library, function);
    if (address == nullptr) throw failure{EXIT_INTERNAL, fmt::format("{}", dlerror())};
    return address;
}

solver_library solverlib_open(const char *name)
{
    void *library = dlopen(name, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) throw failure{EXIT_INTERNAL, fmt::format("{}", dlerror())};
    solver_library table;
#define FILL(function)                                                                             \
    table.function = reinterpret_cast<decltype(&::function)>(find(library, #function));
    SOLVER_FUNCTIONS(FILL)
#undef FILL
    return table;
}
