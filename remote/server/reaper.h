// reaper.h: the thread that collects workers that have ended, and that ends the server.
//
// It looks once in a polling interval.  A record is torn down when everything that its worker wrote
// has been passed on, or nothing of that has moved for the time of grace.
//
// Ownership: ended workers' records are the reaper's.
// Threads: one.  It takes the server's lock for the list, and a record's lock for its marks.

#pragma once

namespace vnt {

// Thread function; the argument is the server.  It ends the process.
void *reaper_thread(void *server);

} // namespace vnt
