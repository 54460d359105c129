#include "remote/base/log.h"

#include "remote/base/environment.h"
#include "remote/base/io.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vnt {

static constexpr int LINE_WAIT = 100; // milliseconds

static std::atomic<int> log_fd = STDERR_FILENO;
static int reopened_fd = -1; // what log_fd_set() opened
static std::atomic<int> loglevel = LOG_WARNING;
static std::atomic<bool> log_time;
static std::atomic<unsigned> dropped; // lines, since the last that was written

namespace {
// Restores errno: callers log in the middle of handling an error.
struct errno_keeper {
    ~errno_keeper() { errno = saved; }
    const int saved = errno;
};

// A text of at most the size that a pipe takes in one piece.
struct log_text {
    char bytes[PIPE_BUF];
    size_t length = 0;
};
} // namespace

[[gnu::format(printf, 2, 0)]] static void text_vadd(log_text *t, const char *format, va_list args)
{
    size_t room = sizeof t->bytes - t->length;
    int n = vsnprintf(t->bytes + t->length, room, format, args);
    if (n > 0) t->length += std::min<size_t>(static_cast<size_t>(n), room - 1);
}

[[gnu::format(printf, 2, 3)]] static void text_add(log_text *t, const char *format, ...)
{
    va_list args;
    va_start(args, format);
    text_vadd(t, format, args);
    va_end(args);
}

// The C library's calendar takes a lock, which a worker could inherit locked.
static void text_add_time(log_text *t)
{
    using namespace std::chrono;
    const auto now = floor<milliseconds>(system_clock::now());
    const auto day = floor<days>(now);
    const year_month_day date(day);
    const hh_mm_ss time(now - day);
    text_add(t, "%04d-%02u-%02uT%02d:%02d:%02d.%03dZ ", static_cast<int>(date.year()),
             static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
             static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
             static_cast<int>(time.seconds().count()), static_cast<int>(time.subseconds().count()));
}

static void text_add_prefix(log_text *t, int level)
{
    if (log_time) text_add_time(t);
    text_add(t, "[%10d:%04d] ", static_cast<int>(getpid()), level);
}

// The wait comes first: a write to a descriptor that could not be reopened may block.
static bool text_write(const log_text *t, int64_t deadline)
{
    int fd = log_fd;
    return io_wait(fd, POLLOUT, -1, deadline) > 0 &&
           io_write_all(fd, t->bytes, t->length, -1, deadline) == 0;
}

static bool dropped_report(int64_t deadline)
{
    unsigned count = dropped.exchange(0);
    if (count == 0) return true;
    log_text t;
    text_add_prefix(&t, LOG_ERROR);
    text_add(&t, "%u log lines were dropped\n", count);
    if (text_write(&t, deadline)) return true;
    dropped += count;
    return false;
}

static void text_write_or_drop(const log_text *t)
{
    int64_t deadline = clock_after_ms(dropped == 0 ? LINE_WAIT : 0);
    if (!dropped_report(deadline) || !text_write(t, deadline)) dropped++;
}

void tcpiplogmsg(const char *format, ...)
{
    if (log_fd < 0) return;
    errno_keeper keep;
    log_text t;
    va_list args;
    va_start(args, format);
    text_vadd(&t, format, args);
    va_end(args);
    text_write_or_drop(&t);
}

static void line_vwrite(int level, const char *format, va_list args)
{
    if (log_fd < 0 || loglevel < level) return;
    errno_keeper keep;
    log_text t;
    text_add_prefix(&t, level);
    text_vadd(&t, format, args);
    if (t.length == sizeof t.bytes - 1) t.bytes[t.length - 1] = '\n';
    text_write_or_drop(&t);
}

void log_line(int level, const char *format, ...)
{
    va_list args;
    va_start(args, format);
    line_vwrite(level, format, args);
    va_end(args);
}

void log_fatal(const char *format, ...)
{
    va_list args;
    va_start(args, format);
    line_vwrite(LOG_ERROR, format, args);
    va_end(args);
    abort();
}

void log_syscall(const char *name)
{
    int code = errno;
    const char *text = strerrordesc_np(code);
    if (text != nullptr)
        log_line(LOG_ERROR, "%s(): %s [errno=%d]\n", name, text, code);
    else
        log_line(LOG_ERROR, "%s(): Unknown error %d\n", name, code);
}

// Opens the same pipe or terminal again, in non-blocking mode.  Returns -1 when that fails, and for
// other kinds of file, which do not block for long.
static int reopen(int fd)
{
    struct stat status;
    if (fd < 0 || fstat(fd, &status) != 0) return -1;
    if (!S_ISFIFO(status.st_mode) && !S_ISCHR(status.st_mode)) return -1;
    char path[32];
    snprintf(path, sizeof path, "/proc/self/fd/%d", fd);
    return open(path, O_WRONLY | O_APPEND | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
}

void log_fd_set(int fd)
{
    errno_keeper keep;
    int old = reopened_fd;
    reopened_fd = reopen(fd);
    log_fd = reopened_fd >= 0 ? reopened_fd : fd;
    dropped = 0; // a new worker inherits the server's count
    if (old >= 0) close(old);
}

void log_level_set(int level)
{
    loglevel = level;
}

int log_level_get(void)
{
    return loglevel;
}

void log_time_set(bool wanted)
{
    log_time = wanted;
}

[[gnu::format(printf, 1, 0)]] static void stderr_vprint(const char *format, va_list args)
{
    vfprintf(stderr, format, args);
    fflush(stderr);
}

void message_printstderr(const char *format, ...)
{
    va_list args;
    va_start(args, format);
    stderr_vprint(format, args);
    va_end(args);
}

// The variable is read afresh for each line, so that it can be switched in a running process.
static int trace_level_get(void)
{
    const char *text = environment_get("TESK_VANTO_REMOTE_OBJECT_TRACE", nullptr);
    return text != nullptr ? static_cast<int32_t>(atol(text)) : INT32_MIN;
}

void trace_line(int level, const char *format, ...)
{
    if (trace_level_get() < level) return;
    flockfile(stderr); // keeps prefix and text together
    fprintf(stderr, "VANTO REMOTE OBJECT [%ld] %2d ", static_cast<long>(getpid()), level);
    va_list args;
    va_start(args, format);
    stderr_vprint(format, args);
    va_end(args);
    funlockfile(stderr);
}

} // namespace vnt
