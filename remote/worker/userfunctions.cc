#include "remote/worker/userfunctions.h"

#include "remote/base/log.h"
#include "remote/message/errors.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>

namespace vnt {

typedef void (*registration)(void *h);

static registration lookup(void *handle, const char *function)
{
    return reinterpret_cast<registration>(dlsym(handle, function));
}

// The first file of the name that opens; null when none does.  A path that is too long ends the
// search.
static library *find_library(const char *name, const search_path &path)
{
    char file[LIBRARY_PATHMAX], full[LIBRARY_PATHMAX];
    library *found;
    if (snprintf(file, sizeof file, "lib%s.so", name) >= LIBRARY_PATHMAX) return nullptr;
    if (library_open(&found, file) == 0) return found;
    log_line(LOG_INFO, "Search paths:\n");
    for (int i = 0; i < path.count; i++)
        log_line(LOG_INFO, "[%d] %s\n", i, path.directories[i]);
    for (int i = 0; i < path.count; i++) {
        int length = snprintf(full, sizeof full, "%s/%s", path.directories[i], file);
        if (length >= LIBRARY_PATHMAX) return nullptr;
        if (library_open(&found, full) == 0) return found;
    }
    return nullptr;
}

// Finds the function in the library, which then stays open in the slot.
static registration find_in_library(library **slot, const char *name, const char *function,
                                    const search_path &path)
{
    *slot = find_library(name, path);
    if (*slot == nullptr) return nullptr;
    registration found = lookup((*slot)->handle, function);
    if (found != nullptr) return found;
    library_close(*slot);
    *slot = nullptr;
    return nullptr;
}

// LIBRARY=FUNCTION, split at the last "=".
static int load_one(library **slot, const char *value, const search_path &path, handler *h)
{
    log_line(LOG_INFO, "Process user function argument '%s'\n", value);
    const char *equals = strrchr(value, '=');
    const char *function = equals != nullptr ? equals + 1 : value;
    registration found = nullptr;
    char *name = nullptr;
    if (equals != nullptr) {
        name = strndup(value, static_cast<size_t>(equals - value));
        if (name == nullptr) return MESSAGE_NOMEMORY;
        if (strlen(name) > LIBRARY_PATHMAX) log_fatal("Path name too long\n");
        log_line(LOG_INFO, "\tLibrary is '%s'\n", name);
    }
    log_line(LOG_INFO, "\tLookup function '%s'\n", function);
    if (name != nullptr) found = find_in_library(slot, name, function, path);
    free(name);
    if (found == nullptr) found = lookup(RTLD_DEFAULT, function);
    if (found == nullptr) return MESSAGE_NOUSERFUNCTION;
    found(h);
    return 0;
}

int loaduserfunctions(library **table, int argc, char *const *argv, const search_path &path,
                      handler *h)
{
    static const char option[] = "-userfunction=";
    library **slot = table;
    for (int i = 0; i < argc; i++) {
        if (strncmp(argv[i], option, sizeof option - 1) != 0) continue;
        int rc = load_one(slot, argv[i] + sizeof option - 1, path, h);
        if (rc != 0) return rc;
        if (*slot != nullptr) slot++;
    }
    return 0;
}

} // namespace vnt
