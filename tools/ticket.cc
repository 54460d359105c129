#include "tools/ticket.h"

#include "tools/exits.h"
#include "tools/files.h"

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <fcntl.h>
#include <fmt/format.h>
#include <fstream>
#include <sstream>
#include <unistd.h>
#include <zlib.h>

namespace vnt {

static constexpr const char *firstline = "vntsolve ticket 2";

// Only the user may read it: a ticket is enough to take over the worker.
static bool write_synced(const std::string &file, const std::string &text)
{
    int fd = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0) return false;
    bool fine =
        write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size()) && fsync(fd) == 0;
    return close(fd) == 0 && fine;
}

// Detects a damaged record: the worker would use its values as addresses.
static std::string checksum(const std::string &record)
{
    auto bytes = reinterpret_cast<const Bytef *>(record.data());
    return fmt::format("{:08x}", crc32_z(crc32(0, nullptr, 0), bytes, record.size()));
}

// A name on one line: control characters and the percent sign as %XX.
static std::string escaped(const std::string &name)
{
    std::string text;
    for (char c : name) {
        if (static_cast<unsigned char>(c) < ' ' || c == '%' || c == '\177')
            text += fmt::format("%{:02x}", static_cast<unsigned char>(c));
        else
            text += c;
    }
    return text;
}

static std::string unescaped(const std::string &text)
{
    std::string name;
    for (size_t i = 0; i < text.size(); i++) {
        unsigned char c = static_cast<unsigned char>(text[i]);
        const char *digits = text.data() + i + 1;
        if (c == '%' && i + 2 < text.size() &&
            std::from_chars(digits, digits + 2, c, 16).ptr == digits + 2)
            i += 2;
        name += static_cast<char>(c);
    }
    return name;
}

void ticket_write(const std::string &file, const ticket &t)
{
    double started = std::chrono::duration<double>(t.started.time_since_epoch()).count();
    std::string text =
        fmt::format("{}\nserver {}\nmodel {}\nstarted {:.3f}\ncheck {}\n\n{}", firstline,
                    escaped(t.server), escaped(t.model), started, checksum(t.record), t.record);
    std::string fresh = file + ".new";
    if (write_synced(fresh, text) && rename(fresh.c_str(), file.c_str()) == 0) return;
    int error = errno;
    unlink(fresh.c_str());
    errno = error;
    file_fail(file);
}

// Reads a line that begins with the word and returns the rest of it.
static std::string entry(std::istream &in, const std::string &word)
{
    std::string line;
    std::getline(in, line);
    if (!line.starts_with(word + ' ')) in.setstate(std::ios::failbit);
    return line.substr(std::min(line.size(), word.size() + 1));
}

// Some hundred bytes are a ticket; a device may never end.
static std::string text_read(const std::string &file)
{
    errno = 0;
    std::ifstream in(file, std::ios::binary);
    if (!in) file_fail(file);
    std::string text(1 << 20, '\0');
    in.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<size_t>(in.gcount()));
    return text;
}

ticket ticket_read(const std::string &file)
{
    std::istringstream in(text_read(file));
    ticket t;
    std::string first, blank;
    std::getline(in, first);
    t.server = unescaped(entry(in, "server"));
    t.model = unescaped(entry(in, "model"));
    double started = strtod(entry(in, "started").c_str(), nullptr);
    std::string check = entry(in, "check");
    std::getline(in, blank);
    std::ostringstream rest;
    rest << in.rdbuf();
    t.record = rest.str();
    if (!in || first != firstline || !blank.empty() || check != checksum(t.record))
        throw failure{EXIT_MALFORMED,
                      fmt::format("{}: not as --detach and --resilient write it", file)};
    t.started = std::chrono::system_clock::time_point(
        std::chrono::milliseconds(static_cast<int64_t>(started * 1000)));
    return t;
}

} // namespace vnt
