// reaper.h: the thread that collects workers that have ended, and that ends the server.
//
// It runs when a worker has ended, and at least once per polling interval.  It destroys a record
// when everything that its worker wrote has been passed on, or when nothing of that has moved for
// the grace time.  Every SOCKET_LOOK it ends the connections of clients that are silent.
//
// Ownership: the reaper owns the records of ended workers.
// Threads: one.  It takes the server's lock for the list, and a record's lock for its state.

#pragma once

namespace vnt {

// Thread function; the argument is the server.  It ends the process.
void *reaper_thread(void *server);

} // namespace vnt
