#include "tools/files.h"

#include "tools/exits.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sys/stat.h>
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

static bool is_folder(const std::string &file)
{
    struct stat there;
    return stat(file.c_str(), &there) == 0 && S_ISDIR(there.st_mode);
}

void file_check_readable(const std::string &file)
{
    if (access(file.c_str(), R_OK) != 0) file_fail(file);
    errno = EISDIR;
    if (is_folder(file)) file_fail(file);
}

void file_check_writable(const std::string &file)
{
    if (access(file.c_str(), F_OK) != 0) { // the folder is named with its slash
        const std::string folder = file.substr(0, file.rfind('/') + 1);
        if (access(folder.empty() ? "." : folder.c_str(), W_OK | X_OK) != 0) file_fail(file);
        return;
    }
    if (access(file.c_str(), W_OK) != 0) file_fail(file);
    errno = EISDIR;
    if (is_folder(file)) file_fail(file);
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
