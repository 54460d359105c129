#include "remote/base/pool.h"

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>

namespace vnt {

namespace {
struct file_close {
    void operator()(FILE *file) const { fclose(file); }
};
struct text_free {
    void operator()(char *text) const { free(text); }
};
} // namespace

static bool is_blank(char c)
{
    return isspace(static_cast<unsigned char>(c)) != 0;
}

// What a line says without its comment and the blanks around it, in place.
static char *line_strip(char *line)
{
    while (is_blank(*line))
        line++;
    char *end = line;
    for (char *at = line; *at != '\0' && (*at != '#' || (at > line && !is_blank(at[-1]))); at++)
        if (!is_blank(*at)) end = at + 1;
    *end = '\0';
    return line;
}

static bool is_member(const char *text)
{
    const char *path = address_path(text);
    if (path != nullptr) return *path == '/';
    return pool_file(text) == nullptr && address_is_valid(text);
}

static bool add(pool *p, const char *address)
{
    auto **grown =
        static_cast<char **>(realloc(p->addresses, (p->count + 1) * sizeof *p->addresses));
    if (grown == nullptr) return false;
    p->addresses = grown;
    p->addresses[p->count] = strdup(address);
    if (p->addresses[p->count] == nullptr) return false;
    p->count++;
    return true;
}

// Reads what is there; false after a failure, for which `wrong` has a text or else errno a cause.
static bool lines_read(pool *p, FILE *in, const char *file, char *wrong, size_t size)
{
    char *line = nullptr;
    size_t space = 0;
    bool fine = true;
    for (int number = 1; fine && getline(&line, &space, in) >= 0; number++) {
        char *address = line_strip(line);
        if (*address == '\0') continue;
        fine = is_member(address);
        if (!fine)
            snprintf(wrong, size, "%s:%d: '%s' is not HOST:PORT or unix:/PATH", file, number,
                     address);
        fine = fine && add(p, address);
    }
    std::unique_ptr<char, text_free> memory(line);
    return fine && feof(in) != 0;
}

bool pool_read(pool *p, const char *file, char *wrong, size_t size)
{
    *p = {};
    *wrong = '\0';
    std::unique_ptr<FILE, file_close> in(fopen(file, "re"));
    bool fine = in != nullptr && lines_read(p, in.get(), file, wrong, size);
    if (!fine && *wrong == '\0') snprintf(wrong, size, "%s: %s", file, strerror(errno));
    if (fine && p->count == 0) snprintf(wrong, size, "%s: there is no address in it", file);
    if (*wrong == '\0') return true;
    pool_release(p);
    return false;
}

void pool_release(pool *p)
{
    while (p->count > 0)
        free(p->addresses[--p->count]);
    free(p->addresses);
    p->addresses = nullptr;
}

} // namespace vnt
