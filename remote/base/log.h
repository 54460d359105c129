// log.h: the server's log and the trace, two channels of diagnostic text.
//
// The log belongs to the server and its workers.  Each line has a level and a prefix of process id
// and level, and of the time if that is wanted; the server's options choose the descriptor.  The
// trace, for code that also runs outside a server, goes to standard error if
// TESK_VANTO_REMOTE_OBJECT_TRACE is set.
//
// A log never stops its process.  Each line is one write, so lines do not mix without a lock, and a
// fork() cannot leave one held.  If the other end does not read, a line waits 100 ms and is then
// dropped; further lines do not wait.  Once there is room again, a line reports how many were
// dropped.
//
// Ownership: the log's descriptor is the caller's.
// Threads: any; log_fd_set() only while no other thread logs.
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

// Sets the log's descriptor, standard error at first; -1 silences it.  Pipes and terminals are
// opened again in non-blocking mode, because other processes share the mode of the given
// descriptor; the new descriptor lasts until the next call.
void log_fd_set(int fd);

// The level, 2 at first.
void log_level_set(int level);
int log_level_get(void);

// Whether lines begin with the time, in UTC; they do not at first.
void log_time_set(bool wanted);

// Writes one trace line if the variable's number is at least `level`.
[[gnu::format(printf, 2, 3)]] void trace_line(int level, const char *format, ...);

// Formats onto standard error and flushes it.
[[gnu::format(printf, 1, 2)]] void message_printstderr(const char *format, ...);

} // namespace vnt
