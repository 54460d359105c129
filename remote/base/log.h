// log.h: the server's log and the trace, two channels of diagnostic text.
//
// The log belongs to the server and its workers: lines of a level, behind a prefix of process id
// and level, on one stream that the server's options choose.  The trace is switched on by the
// environment variable TESK_VANTO_REMOTE_OBJECT_TRACE and goes to standard error; code that also
// runs where there is no server writes there.
//
// Threads: any; prefix and text of a line are written under one internal lock.

#pragma once

#include <cstdio>

namespace vnt {

enum log_level : int { LOG_ERROR = 1, LOG_WARNING = 2, LOG_INFO = 3, LOG_DEBUG = 4 };

// Writes one line when the log is open and its level is at least `level`.
[[gnu::format(printf, 2, 3)]] void log_line(int level, const char *format, ...);

// Writes a line of level 1 and aborts.
[[noreturn, gnu::format(printf, 1, 2)]] void log_fatal(const char *format, ...);

// Logs a failing system call with errno, at level 1.
void log_syscall(const char *name);

// Formats onto the log stream and flushes it: no prefix, no line break of its own.
[[gnu::format(printf, 1, 2)]] void tcpiplogmsg(const char *format, ...);

// The stream, standard error at first; null silences the log.  The old stream is not closed.
void log_setstream(FILE *stream);
FILE *log_getstream(void);

// The level, 2 at first.
void log_setlevel(int level);
int log_getlevel(void);

// Held across fork(): a child must not inherit a half-written line.
void log_lock(void);
void log_unlock(void);

// Writes one trace line when the variable's number is at least `level`.
[[gnu::format(printf, 2, 3)]] void trace_line(int level, const char *format, ...);

// Formats onto standard error and flushes it.
[[gnu::format(printf, 1, 2)]] void message_printstderr(const char *format, ...);

} // namespace vnt
