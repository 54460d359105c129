// environment.h: environment variables and their defaults.
//
// Threads: any, as long as none changes the environment.

#pragma once

#include "vanto_remote.h"

#include <cstdlib>

namespace vnt {

// The value of a variable; `otherwise`, which may be null, when it is unset or empty.
inline const char *environment_get(const char *name, const char *otherwise)
{
    const char *value = getenv(name);
    return value != nullptr && *value != '\0' ? value : otherwise;
}

// Where the server listens and clients connect.  `otherwise` is the caller's default.
inline const char *environment_host(const char *otherwise)
{
    return environment_get("TESK_VANTO_TCPIP_HOST", otherwise);
}
inline const char *environment_port(const char *otherwise)
{
    return environment_get("TESK_VANTO_TCPIP_PORT", otherwise);
}

} // namespace vnt
