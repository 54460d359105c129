#include "remote/server/title.h"

#include "remote/base/holders.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace vnt {

namespace {
struct memory_range {
    char *begin;
    size_t size;
};
} // namespace

// Where the command line lies: the 48th and 49th field of the process's state.  The second one is a
// name in parentheses that may hold anything.  A program may have passed the server other arguments
// than its own, so their addresses say nothing.
static memory_range command_line_find(void)
{
    char text[1024];
    descriptor_holder file(open("/proc/self/stat", O_RDONLY | O_CLOEXEC));
    ssize_t n = file.fd >= 0 ? read(file.fd, text, sizeof text - 1) : 0;
    if (n <= 0) return {};
    text[n] = '\0';
    const char *at = strrchr(text, ')');
    for (int field = 2; at != nullptr && field < 48; field++)
        at = strchr(at + 1, ' ');
    uintptr_t begin, end;
    if (at == nullptr || sscanf(at, "%zu %zu", &begin, &end) != 2 || end <= begin) return {};
    return {reinterpret_cast<char *>(begin), end - begin};
}

static bool arguments_copy(int argc, char **argv)
{
    for (int i = 0; i < argc; i++) {
        char *copy = strdup(argv[i]);
        if (copy == nullptr) return false;
        argv[i] = copy;
    }
    return true;
}

void title_set(const char *client, int argc, char **argv)
{
    const memory_range line = command_line_find();
    const char *program = program_invocation_short_name;
    char title[256];
    int n = snprintf(title, sizeof title, "%s: %s", program, client);
    if (n < 0 || line.size == 0 || !arguments_copy(argc, argv)) return;
    memset(line.begin, 0, line.size); // its last byte stays 0: else the system reads on behind it
    memcpy(line.begin, title, strnlen(title, line.size - 1));
}

} // namespace vnt
