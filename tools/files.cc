#include "tools/files.h"

#include "tools/exits.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <unistd.h>

namespace vnt {

void file_fail(const std::string &file)
{
    throw failure{EXIT_UNREADABLE, file + ": " + strerror(errno)};
}

void file_write(const std::string &file, const std::string &text)
{
    FILE *out = fopen(file.c_str(), "we");
    if (out == nullptr) file_fail(file);
    bool written = fwrite(text.data(), 1, text.size(), out) == text.size();
    if (fclose(out) != 0 || !written) file_fail(file);
}

bool file_readall(int fd, std::string *text)
{
    char piece[65536];
    for (;;) {
        ssize_t got = read(fd, piece, sizeof piece);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return got == 0;
        text->append(piece, static_cast<size_t>(got));
    }
}

} // namespace vnt
