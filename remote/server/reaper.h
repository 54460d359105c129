// reaper.h: the thread that collects workers that have ended, and that ends the server.

#pragma once

namespace vnt {

// Thread function; the argument is the server.  It ends the process.
void *reaper_thread(void *server);

} // namespace vnt
