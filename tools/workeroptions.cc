#include "tools/workeroptions.h"

#include "remote/base/address.h"
#include "tools/number.h"
#include "tools/trial.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <netdb.h>
#include <stdexcept>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace vnt {

namespace {
using text = const std::string &;

// An option whose name ends in "=" takes a value, which `check` looks at; it returns what is wrong,
// or nothing.
struct option_row {
    const char *name;
    const char *value;
    std::string (*check)(text value);
    const char *meaning;
};
} // namespace

static std::string number_check(text value, int base, int64_t least, int64_t most)
{
    int64_t number;
    if (number_parse(value, &number, base) && number >= least && number <= most) return "";
    return fmt::format("a number from {} to {}{} is expected", least, most,
                       base == 10 ? "" : fmt::format(", written in base {},", base));
}

static std::string port_check(text value)
{
    return number_check(value, 10, 0, UINT16_MAX);
}

static std::string seconds_check(text value)
{
    return number_check(value, 10, 0, INT32_MAX);
}

static std::string limit_check(text value)
{
    return number_check(value, 10, 1, INT32_MAX);
}

static std::string level_check(text value)
{
    return number_check(value, 10, INT32_MIN, INT32_MAX);
}

static std::string polling_check(text value)
{
    return number_check(value, 9, 0, UINT32_MAX);
}

static std::string mode_check(text value)
{
    return number_check(value, 8, 0, 0777).empty() ? "" : "a mode from 0 to 0777 is expected";
}

static std::string nonempty_check(text value)
{
    return value.empty() ? "a value is expected" : "";
}

// The file is made if it is missing, as the server itself would do a moment later.
static std::string file_check(text value)
{
    int fd = open(value.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NONBLOCK, 0666);
    if (fd < 0 && errno != ENXIO) return strerror(errno); // a pipe may have no reader yet
    if (fd >= 0) close(fd);
    return "";
}

static std::string directory_check(text value)
{
    struct stat there;
    if (stat(value.c_str(), &there) != 0) return strerror(errno);
    return S_ISDIR(there.st_mode) ? "" : "a directory is expected";
}

// Whether a server lives behind a socket that is there, the server itself finds out.
static std::string socket_check(text value)
{
    struct stat there;
    if (value.empty() || value.size() >= sizeof sockaddr_un::sun_path)
        return fmt::format("a path of 1 to {} bytes is expected", sizeof sockaddr_un::sun_path - 1);
    if (stat(value.c_str(), &there) == 0 && !S_ISSOCK(there.st_mode))
        return "a file that is no socket is in the way";
    const std::string::size_type slash = value.rfind('/');
    return directory_check(slash == std::string::npos ? "." : value.substr(0, slash + 1));
}

// The server would not name the host that has no address.
static std::string host_check(text value)
{
    if (value.empty()) return "a host name or an address is expected";
    addrinfo hints = {}, *found = nullptr;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_V4MAPPED | AI_ADDRCONFIG;
    const int code = getaddrinfo(value.c_str(), nullptr, &hints, &found);
    if (code != 0) return gai_strerror(code);
    freeaddrinfo(found);
    return "";
}

static std::string address_check(text value)
{
    if (const char *path = address_path(value.c_str())) return socket_check(path);
    char place[ADDRESS_MAX], *host;
    if (value.size() >= sizeof place) return "an address has less than 1024 characters";
    strcpy(place, value.c_str());
    const char *port = address_split(place, &host);
    const std::string wrong = port != nullptr ? port_check(port) : "";
    if (*host == '\0') return "HOST:PORT or unix:PATH is expected";
    if (!wrong.empty()) return wrong;
    const std::string nowhere = host_check(host);
    return nowhere.empty() ? "" : fmt::format("{}: {}", host, nowhere);
}

static constexpr option_row options[] = {
    {"-host=", "ADDRESS", host_check, "where to listen: host name or address (127.0.0.1)"},
    {"-port=", "NUMBER", port_check, "port to listen on; 0 takes a free one (12345)"},
    {"-address=", "ADDRESS", address_check,
     "HOST:PORT, both at once, or unix:PATH instead of them"},
    {"-socket-mode=", "OCTAL", mode_check, "mode of the file of unix:PATH (0600)"},
    {"-logfile=", "FILE", file_check, "where the server logs (standard error)"},
    {"-loglevel=", "NUMBER", level_check, "1 errors, 2 warnings, 3 information, 4 everything (2)"},
    {"-info", nullptr, nullptr, "the same as -loglevel=3"},
    {"-debug", nullptr, nullptr, "the same as -loglevel=4"},
    {"-log-time", nullptr, nullptr, "begin each line of the log with the time, in UTC"},
    {"-pidfile=", "FILE", file_check, "where to write the process id"},
    {"-status=", "PATH", socket_check, "the Unix socket that tells what the server does (none)"},
    {"-action-timeout=", "SECONDS", seconds_check,
     "how long a new connection may take to say what it wants (10)"},
    {"-polling=", "NUMBER", polling_check,
     "how often ended workers are collected, in milliseconds, base 9"},
    {"-allow=", "ADDRESS/BITS", nonempty_check, "whom to serve (everyone); may repeat"},
    {"-worker-limit=", "NUMBER", limit_check, "how many workers there may be (any number)"},
    {"-parked-limit=", "SECONDS", limit_check, "how long a worker may be parked (any time)"},
    {"-library=", "NAME", nonempty_check, "a shared library to load at start; may repeat"},
    {"-nothreads", nullptr, nullptr, "workers serve control requests without a thread"},
    {"-libpath=", "DIRECTORY", directory_check, "where to look for user functions; may repeat"},
    {"-userfunction=", "LIBRARY=FUNCTION", nonempty_check,
     "a user function to load into each worker; may repeat"},
    {"--check-solver LIBRARY [SECONDS]", nullptr, nullptr,
     "try whether workers can solve with it (60)"},
    {"-help", nullptr, nullptr, "the short help"},
    {"--help", nullptr, nullptr, "this text"},
    {"--version", nullptr, nullptr, "the version"},
};

static const option_row *option_find(text argument)
{
    for (const option_row &row : options) {
        const bool fits =
            row.value != nullptr ? argument.starts_with(row.name) : argument == row.name;
        if (fits) return &row;
    }
    return nullptr;
}

// "--port=1", "port=1" and "-port" are the likely mistakes.
static std::string advice(text argument)
{
    size_t begin = std::min(argument.find_first_not_of('-'), argument.size());
    std::string name = "-" + argument.substr(begin, argument.find('=') - begin);
    for (const option_row &row : options)
        if (name == row.name || name + "=" == row.name)
            return fmt::format("write {}{}", row.name, row.value != nullptr ? row.value : "");
    return "vntworker --help lists what is accepted";
}

static void argument_check(text argument)
{
    const option_row *row = option_find(argument);
    if (row == nullptr)
        throw std::runtime_error(
            fmt::format("unknown argument '{}': {}", argument, advice(argument)));
    if (row->check == nullptr) return;
    const std::string wrong = row->check(argument.substr(strlen(row->name)));
    if (!wrong.empty()) throw std::runtime_error(fmt::format("{}: {}", argument, wrong));
}

void workeroptions_check(const std::vector<std::string> &arguments, const std::string &program)
{
    for (const std::string &argument : arguments)
        argument_check(argument);
    trial_run(arguments, program);
}

std::string workeroptions_help()
{
    std::string text = "Usage: vntworker [OPTION]...\n"
                       "Serves optimization problems to clients, each in a worker of its own.\n\n";
    for (const option_row &row : options)
        text += fmt::format("  {:<33} {}\n",
                            std::string(row.name) + (row.value != nullptr ? row.value : ""),
                            row.meaning);
    return text + "\nWithout options that say where to listen, TESK_VANTO_TCPIP_HOST and\n"
                  "TESK_VANTO_TCPIP_PORT do.  SIGTERM, SIGINT and SIGHUP stop the server and all\n"
                  "its workers.  There is no authentication: listen on a private address only.\n";
}

} // namespace vnt
