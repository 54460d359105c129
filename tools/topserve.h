// topserve.h: a server's status over HTTP: metrics for Prometheus and a page for browsers.

#pragma once

#include <string>

namespace vnt {

// Serves at HOST:PORT, port 0 takes a free one, until SIGINT or SIGTERM; looks at the status socket
// each `period` seconds.
// Errors: throws failure: EXIT_USAGE for an address, EXIT_CONNECTION when it cannot be listened on.
void top_serve(const std::string &socket, const std::string &address, double period);

} // namespace vnt
