// log.h: the server's log and the trace, two channels of diagnostic text.
//
// The log belongs to the server and its workers: lines of a level, behind a prefix of process id
// and level, on one descriptor that the server's options choose.  The trace is switched on by the
// environment variable TESK_VANTO_REMOTE_OBJECT_TRACE and goes to standard error; code that also
// runs outside a server writes there.
//
// A log never stops its process.  Each line is one write, so no lock is needed to keep lines apart
// and none can be left held by a fork().  Where the other end does not read, a line waits 100 ms
// and is then dropped; the lines after it do not wait at all.  Once there is room again, a line
// with the number of dropped ones comes first.
//
// Ownership: the log's descriptor is the caller's.
// Threads: any; log_setfd() only while no other thread logs.
// errno stays as it was.

#pragma once

namespace vnt {

enum log_level : int { LOG_ERROR = 1, LOG_WARNING = 2, LOG_INFO = 3, LOG_DEBUG = 4 };

// Writes one line when the log is open and its level is at least `level`.  A line of more than
// 4096 bytes is cut.
[[gnu::format(printf, 2, 3)]] void log_line(int level, const char *format, ...);

// Writes a line of level 1 and aborts.
[[noreturn, gnu::format(printf, 1, 2)]] void log_fatal(const char *format, ...);

// Logs a failing system call with errno, at level 1.
void log_syscall(const char *name);

// Formats onto the log: no prefix, no line break of its own.
[[gnu::format(printf, 1, 2)]] void tcpiplogmsg(const char *format, ...);

// Where the log goes, standard error at first; -1 silences it.  Pipes and terminals are opened
// once more, because the log must not block and other processes share the descriptor's mode; that
// descriptor lasts until the next call.
void log_setfd(int fd);

// The level, 2 at first.
void log_setlevel(int level);
int log_getlevel(void);

// Writes one trace line when the variable's number is at least `level`.
[[gnu::format(printf, 2, 3)]] void trace_line(int level, const char *format, ...);

// Formats onto standard error and flushes it.
[[gnu::format(printf, 1, 2)]] void message_printstderr(const char *format, ...);

} // namespace vnt
