#include "remote/server/process.h"

#include "remote/server/owned.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace vnt {

// Reads the beginning of a file of the process as text, which is empty if it cannot be read.
template <size_t SIZE> static void text_read(pid_t id, const char *file, char (&text)[SIZE])
{
    char path[32];
    snprintf(path, sizeof path, "/proc/%d/%s", id, file);
    int fd = owned_add(open(path, O_RDONLY | O_CLOEXEC));
    const ssize_t n = fd >= 0 ? read(fd, text, SIZE - 1) : 0;
    text[n > 0 ? n : 0] = '\0';
    owned_close(fd);
}

bool process_is_stopped(pid_t id)
{
    char text[64]; // "ID (NAME) STATE ..."
    text_read(id, "stat", text);
    const char *name_end = strrchr(text, ')');
    const char state = name_end != nullptr && name_end[1] == ' ' ? name_end[2] : '\0';
    return state == 'T' || state == 't';
}

unsigned long process_find_request(pid_t id)
{
    char name[32];
    text_read(id, "comm", name);
    const char *number = strrchr(name, ' ');
    return number != nullptr ? strtoul(number, nullptr, 10) : 0;
}

} // namespace vnt
