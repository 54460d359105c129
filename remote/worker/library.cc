#include "remote/worker/library.h"

#include "remote/base/log.h"
#include "remote/message/errors.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>

namespace vnt {

int library_open(library **out, const char *file)
{
    size_t size = strlen(file) + 1;
    *out = nullptr;
    library *l = static_cast<library *>(malloc(sizeof(library) + size));
    if (l == nullptr) return MESSAGE_NOMEMORY;
    l->handle = dlopen(file, RTLD_LAZY | RTLD_GLOBAL);
    if (l->handle == nullptr) {
        trace_line(3, "Failed to load library '%s': %s\n", file, dlerror());
        free(l);
        return MESSAGE_NOLIBRARY;
    }
    l->name = static_cast<char *>(memcpy(l + 1, file, size));
    trace_line(99, "Library '%s' loaded\n", file);
    *out = l;
    return 0;
}

int library_openname(library **out, const char *name)
{
    char file[LIBRARY_PATHMAX];
    *out = nullptr;
    if (strlen(name) + 2 <= LIBRARY_PATHMAX) {
        int rc = library_open(out, name);
        if (rc != MESSAGE_NOLIBRARY) return rc;
    }
    if (snprintf(file, sizeof file, "lib%s.so", name) >= LIBRARY_PATHMAX) return MESSAGE_INVALID;
    return library_open(out, file);
}

void library_close(library *l)
{
    if (l == nullptr) return;
    dlclose(l->handle);
    free(l);
}

} // namespace vnt
