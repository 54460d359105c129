#include "remote/base/log.h"

#include "remote/base/holders.h"

#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <pthread.h>
#include <unistd.h>

namespace vnt {

static pthread_mutex_t loglock = PTHREAD_MUTEX_INITIALIZER;
static FILE *logstream = stderr;
static int loglevel = LOG_WARNING;

void log_lock(void)
{
    pthread_mutex_lock(&loglock);
}
void log_unlock(void)
{
    pthread_mutex_unlock(&loglock);
}

static void writetext(FILE *stream, const char *format, va_list args)
{
    vfprintf(stream, format, args);
    fflush(stream);
}

void tcpiplogmsg(const char *format, ...)
{
    if (logstream == nullptr) return;
    va_list args;
    va_start(args, format);
    writetext(logstream, format, args);
    va_end(args);
}

static void writeline(int level, const char *format, va_list args)
{
    int saved = errno; // callers log in the middle of handling an error
    mutex_holder hold(&loglock);
    if (logstream != nullptr && loglevel >= level) {
        tcpiplogmsg("[%10d:%04d] ", static_cast<int>(getpid()), level);
        writetext(logstream, format, args);
    }
    errno = saved;
}

void log_line(int level, const char *format, ...)
{
    va_list args;
    va_start(args, format);
    writeline(level, format, args);
    va_end(args);
}

void log_fatal(const char *format, ...)
{
    va_list args;
    va_start(args, format);
    writeline(LOG_ERROR, format, args);
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

void log_setstream(FILE *stream)
{
    mutex_holder hold(&loglock);
    logstream = stream;
}

FILE *log_getstream(void)
{
    mutex_holder hold(&loglock);
    return logstream;
}

void log_setlevel(int level)
{
    mutex_holder hold(&loglock);
    loglevel = level;
}

int log_getlevel(void)
{
    mutex_holder hold(&loglock);
    return loglevel;
}

void message_printstderr(const char *format, ...)
{
    va_list args;
    va_start(args, format);
    writetext(stderr, format, args);
    va_end(args);
}

// The variable is read afresh for each line, so that it can be switched in a running process.
static int tracelevel(void)
{
    const char *text = getenv("TESK_VANTO_REMOTE_OBJECT_TRACE");
    return text != nullptr ? static_cast<int32_t>(atol(text)) : INT32_MIN;
}

void trace_line(int level, const char *format, ...)
{
    if (tracelevel() < level) return;
    mutex_holder hold(&loglock);
    fprintf(stderr, "VANTO REMOTE OBJECT [%ld] %2d ", static_cast<long>(getpid()), level);
    va_list args;
    va_start(args, format);
    writetext(stderr, format, args);
    va_end(args);
}

} // namespace vnt
