// metrics.h: a server's status in the text format that Prometheus reads.

#pragma once

#include "tools/serverstatus.h"

namespace vnt {

// Without a status the server does not answer: vanto_up is 0, and all others are missing.
std::string metrics_text(const std::optional<server_status> &status);

} // namespace vnt
