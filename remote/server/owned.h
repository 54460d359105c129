// owned.h: the descriptors that belong to the server process.
//
// A worker that inherited one of them would keep the port in use, another client's connection open,
// or another worker's input from ending.  So the server notes every descriptor that it opens, and a
// new worker closes the noted ones.
//
// Threads: any.  One lock, taken last, is held while a descriptor is closed and across fork(), so
// that every noted descriptor is open.

#pragma once

namespace vnt {

// Makes the table, for as many descriptors as the process may open.  Errors: -1 and errno.
int owned_create(void);
void owned_destroy(void);

// Notes a descriptor and returns it.  Returns -1 for -1, so that the result of open() and the like
// can be passed directly.  -1 and EMFILE when the table is full; the descriptor is then closed.
int owned_add(int fd);

// Closes a noted descriptor; -1 is fine.
void owned_close(int fd);

// pipe() whose ends are noted and closed on exec().  Errors: -1 and errno, both ends -1.
int owned_pipe(int *read_end, int *write_end);

// Held during fork().
void owned_lock(void);
void owned_unlock(void);

// In a new worker, the lock held: closes all noted descriptors but those of `keep`.
void owned_close_others(const int *keep, int count);

} // namespace vnt
