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

static void read_worker(worker_status &w, std::istringstream &line)
{
    line >> w.id;
    for (std::string word; line >> word;) {
        if (word == "state")
            line >> w.state;
        else if (word == "for")
            line >> w.instate;
        else if (word == "age")
            line >> w.age;
        else if (word == "idle")
            line >> w.idle;
        else if (word == "in")
            line >> w.in;
        else if (word == "out")
            line >> w.out;
        else if (word == "client")
            std::getline(line >> std::ws, w.client);
        else
            line >> word; // the value of one that is not known
    }
}

static void read_count(named_counts &counts, std::istringstream &line)
{
    auto &count = counts.emplace_back();
    line >> count.first >> count.second;
}

static void read_line(server_status &s, const std::string &name, std::istringstream &line)
{
    if (name == "version")
        line >> s.version;
    else if (name == "address")
        std::getline(line >> std::ws, s.address);
    else if (name == "pid")
        line >> s.pid;
    else if (name == "uptime")
        line >> s.uptime;
    else if (name == "draining")
        line >> s.draining;
    else if (name == "option")
        std::getline(line >> std::ws, s.options.emplace_back());
    else if (name == "accepted")
        line >> s.accepted;
    else if (name == "served")
        line >> s.served;
    else if (name == "in")
        line >> s.in;
    else if (name == "out")
        line >> s.out;
    else if (name == "refused")
        read_count(s.refused, line);
    else if (name == "ended")
        read_count(s.ended, line);
    else if (name == "worker")
        read_worker(s.workers.emplace_back(), line);
}

server_status status_parse(const std::string &document)
{
    server_status s;
    std::istringstream lines(document);
    for (std::string text; std::getline(lines, text);) {
        std::istringstream line(text);
        std::string name;
        line >> name;
        if (name == "end") return s;
        read_line(s, name, line);
    }
    throw failure{EXIT_CONNECTION, "the server's answer is not complete"};
}

[[noreturn]] static void fail(const std::string &socket)
{
    throw failure{EXIT_CONNECTION, fmt::format("{}: {}", socket, strerror(errno))};
}

// Sends a line and returns all that comes back.
static std::string ask(const std::string &socket, const std::string &request)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (socket.size() >= sizeof address.sun_path) errno = ENAMETOOLONG, fail(socket);
    memcpy(address.sun_path, socket.data(), socket.size());
    const descriptor c(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const timeval patience = {10, 0};
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
