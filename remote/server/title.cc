#include "remote/server/title.h"

#include "remote/base/holders.h"
#include "remote/base/log.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/uio.h>
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

// The same in the server and its workers.  The server looks for it once, before the first one.
static memory_range command_line;

void title_prepare(void)
{
    command_line = command_line_find();
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

// Fills the text up to its end, so that nothing of a longer title stays behind it.  Returns how
// much of it goes into the line, whose last byte stays 0: else the system reads on behind it.
static size_t title_make(char (&title)[256], const char *client)
{
    const size_t size = std::min(sizeof title, command_line.size);
    memset(title, 0, sizeof title);
    snprintf(title, size, "%s: %s", program_invocation_short_name, client);
    return size;
}

void title_set(const char *client, int argc, char **argv)
{
    if (command_line.size == 0 || !arguments_copy(argc, argv)) return;
    char title[256];
    const size_t size = title_make(title, client);
    memset(command_line.begin, 0, command_line.size);
    memcpy(command_line.begin, title, size);
}

void title_change(pid_t worker, const char *client)
{
    char title[256];
    const iovec mine = {title, title_make(title, client)}, its = {command_line.begin, mine.iov_len};
    if (process_vm_writev(worker, &mine, 1, &its, 1, 0) < 0)
        log_line(LOG_DEBUG, "Child %d keeps its title: %s\n", worker, strerror(errno));
}

} // namespace vnt
