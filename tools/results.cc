#include "tools/results.h"

#include "tools/files.h"

#include <cerrno>
#include <fcntl.h>
#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vnt {

using json = nlohmann::ordered_json;

results::results(const std::string &name)
    : file(name), fd(open(name.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, 0666))
{
    if (fd < 0) file_fail(file);
    try {
        struct stat there;
        if (fstat(fd, &there) != 0) file_fail(file);
        if (!S_ISREG(there.st_mode)) // it is read and cut off, too
            throw failure{EXIT_UNREADABLE, file + ": a regular file is expected"};
        if (flock(fd, LOCK_EX | LOCK_NB) != 0)
            throw failure{EXIT_UNREADABLE, file + ": another sweep writes it"};
        read();
    } catch (const failure &) {
        release();
        throw;
    }
}

results::~results()
{
    release();
}

void results::release()
{
    if (fd >= 0) close(fd);
    fd = -1;
}

// JSON is UTF-8; a name of other bytes is known by what the file makes of it.
static std::string text_of(const json &value)
{
    return value.dump(-1, ' ', false, json::error_handler_t::replace);
}

// The name and the exit status of a line; false for what no sweep has written.
static bool parse(const std::string &line, std::map<std::string, int> *ends)
{
    const json object = json::parse(line, nullptr, false);
    if (!object.is_object()) return false;
    const auto model = object.find("model"), exit = object.find("exit");
    if (model == object.end() || !model->is_string()) return false;
    if (exit == object.end() || !exit->is_number_integer()) return false;
    (*ends)[text_of(*model)] = exit->get<int>();
    return true;
}

void results::read()
{
    std::string text;
    if (!file_readall(fd, &text)) file_fail(file);
    size_t begin = 0, number = 1;
    for (size_t end; (end = text.find('\n', begin)) != std::string::npos; begin = end + 1, number++)
        if (!parse(text.substr(begin, end - begin), &ends))
            throw failure{EXIT_UNREADABLE,
                          fmt::format("{}: line {} is not a result of a sweep", file, number)};
    if (begin == text.size()) return;
    if (text[begin] != '{')
        throw failure{EXIT_UNREADABLE, file + ": its end is not a result of a sweep"};
    if (ftruncate(fd, static_cast<off_t>(begin)) != 0) file_fail(file);
}

// A part of a line must not stay before the next one.
static bool write_line(int fd, const std::string &line)
{
    const off_t begin = lseek(fd, 0, SEEK_END);
    ssize_t written;
    do
        written = write(fd, line.data(), line.size());
    while (written < 0 && errno == EINTR);
    if (written == static_cast<ssize_t>(line.size())) return fsync(fd) == 0 || errno == EINVAL;
    const int error = written < 0 ? errno : ENOSPC;
    if (begin >= 0 && ftruncate(fd, begin) != 0) return false;
    errno = error;
    return false;
}

void results::add(const std::string &model, const std::string &report)
{
    const json object = json::parse(report);
    json line = {{"model", model}};
    line.update(object);
    if (!write_line(fd, text_of(line) + "\n")) file_fail(file);
    ends[text_of(model)] = object.value("exit", static_cast<int>(EXIT_INTERNAL));
}

std::optional<int> results::find(const std::string &model) const
{
    const auto found = ends.find(text_of(model));
    if (found == ends.end()) return std::nullopt;
    return found->second;
}

} // namespace vnt
