#include "tools/serverstatus.h"

#include "tools/files.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <sstream>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace vnt {

namespace {
class descriptor {
  public:
    explicit descriptor(int fd) : fd(fd) {}
    ~descriptor()
    {
        if (fd >= 0) close(fd);
    }
    descriptor(const descriptor &) = delete;
    descriptor &operator=(const descriptor &) = delete;
    const int fd;
};
} // namespace

template <class Number> static void value_read(std::istringstream &line, Number &number)
{
    line >> number;
}

static void value_read(std::istringstream &line, std::string &rest)
{
    std::getline(line >> std::ws, rest);
}

static void value_read(std::istringstream &line, texts &all)
{
    value_read(line, all.emplace_back());
}

static void value_read(std::istringstream &line, named_counts &counts)
{
    auto &[name, count] = counts.emplace_back();
    line >> name >> count;
}

static void worker_read(std::istringstream &line, worker_status &w)
{
    line >> w.id;
    for (std::string word, value; line >> word;) {
        if (word == "client") return value_read(line, w.client);
        line >> value;
        if (word == "state") w.state = value;
        worker_facts([&](const fact &f, auto member) {
            if (word != f.word) return;
            std::istringstream text(value);
            value_read(text, w.*member);
        });
    }
}

static void line_read(std::istringstream &line, const std::string &word, server_status &s)
{
    if (word == "version") value_read(line, s.version);
    if (word == "address") value_read(line, s.address);
    if (word == "pid") value_read(line, s.pid);
    if (word == "worker") worker_read(line, s.workers.emplace_back());
    server_facts([&](const fact &f, auto member) {
        if (word == f.word) value_read(line, s.*member);
    });
}

server_status status_parse(const std::string &document)
{
    server_status s;
    std::istringstream lines(document);
    for (std::string text; std::getline(lines, text);) {
        std::istringstream line(text);
        std::string word;
        line >> word;
        if (word == "end") return s;
        line_read(line, word, s);
    }
    throw failure{EXIT_CONNECTION, "no whole status came: is it the socket of vntworker -status=?"};
}

[[noreturn]] static void fail(const std::string &socket)
{
    const char *why = errno == EAGAIN ? "no answer" : strerror(errno);
    throw failure{EXIT_CONNECTION, fmt::format("{}: {}", socket, why)};
}

static constexpr time_t PATIENCE = 10; // seconds

// Sends a line and returns all that comes back.
static std::string ask(const std::string &socket, const std::string &request)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (socket.size() >= sizeof address.sun_path) errno = ENAMETOOLONG, fail(socket);
    memcpy(address.sun_path, socket.data(), socket.size());
    const descriptor c(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const timeval patience = {PATIENCE, 0};
    setsockopt(c.fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    setsockopt(c.fd, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience); // a connect waits, too
    if (connect(c.fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0)
        fail(socket);
    std::string answer;
    if (send(c.fd, request.data(), request.size(), MSG_NOSIGNAL) < 0) fail(socket);
    if (!file_readall(c.fd, &answer)) fail(socket);
    return answer;
}

// Fields of the process's state, counted behind its name, which may hold anything.  A process that
// is not the server's is another one: the server runs elsewhere, and its socket is forwarded.
static void process_look(worker_status &w, int server)
{
    static const double tick = static_cast<double>(sysconf(_SC_CLK_TCK));
    static const auto page = static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
    const descriptor file(open(fmt::format("/proc/{}/stat", w.id).c_str(), O_RDONLY | O_CLOEXEC));
    std::string text;
    if (file.fd < 0 || !file_readall(file.fd, &text)) return;
    std::istringstream fields(text.substr(text.rfind(')') + 1));
    std::string skipped;
    int parent = 0;
    uint64_t user = 0, system = 0, pages = 0;
    fields >> skipped >> parent;
    for (int i = 5; i < 14; i++)
        fields >> skipped;
    fields >> user >> system;
    for (int i = 16; i < 24; i++)
        fields >> skipped;
    if (!(fields >> pages) || parent != server) return;
    w.cpu = static_cast<double>(user + system) / tick;
    w.memory = pages * page;
}

server_status status_fetch(const std::string &socket)
{
    server_status s = status_parse(ask(socket, "status\n"));
    for (worker_status &w : s.workers)
        if (w.id > 0) process_look(w, s.pid);
    return s;
}

void status_end(const std::string &socket, int id)
{
    const std::string answer = ask(socket, fmt::format("end {}\n", id));
    if (answer == fmt::format("ended {}\n", id)) return;
    throw failure{EXIT_INTERNAL, answer.substr(0, answer.find('\n'))};
}

uint64_t counts_sum(const named_counts &counts)
{
    uint64_t sum = 0;
    for (const auto &[name, count] : counts)
        sum += count;
    return sum;
}

} // namespace vnt
