// toptable.h: a server's status for people, and as JSON.

#pragma once

#include "tools/serverstatus.h"

#include <map>

namespace vnt {

// The load of each worker in processors, by its id.
using worker_loads = std::map<int, double>;

// Between two looks at a server, `seconds` apart; over its whole life for a worker that the first
// one lacks.
worker_loads loads_between(const server_status *before, const server_status &now, double seconds);

// Lines of at most `width` columns, at most `height` of them; the busiest workers come first.
std::string top_table(const server_status &s, const worker_loads &loads, int width, int height);

// One JSON object, as docs/schema/server.json describes it.
std::string top_json(const server_status &s);

// A span of time and an amount in at most five columns.
std::string span_text(double seconds);
std::string amount_text(double bytes);

} // namespace vnt
