// owned.h: the descriptors that belong to the server process.
//
// A worker that kept one of them would keep the port taken, another client's connection open, or
// another worker's input from ending.  So the server notes every descriptor that it opens, and a
// new worker closes what is noted.
//
// Threads: any.  One lock, below all others, is held while a descriptor is closed and across
// fork(), so that a noted descriptor is an open one.

#pragma once

namespace vnt {

// Makes the table, for as many descriptors as the process may open.  Errors: -1 and errno.
int owned_create(void);
void owned_destroy(void);

// Notes a descriptor and returns it.  -1 passes through, so that a call that opens one can stand
// inside.  -1 and EMFILE when the table has no place; the descriptor is closed then.
int owned_add(int fd);

// Closes a noted descriptor; -1 is fine.
void owned_close(int fd);

// pipe() whose ends are noted and closed on exec().  Errors: -1 and errno, both ends -1.
int owned_pipe(int *readend, int *writeend);

// Held across fork().
void owned_lock(void);
void owned_unlock(void);

// In a new worker, the lock held: closes all noted descriptors but those of `keep`.
void owned_closeothers(const int *keep, int count);

} // namespace vnt
