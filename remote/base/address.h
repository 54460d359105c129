// address.h: where servers are, as users write it: "host:port", "host" or "unix:path".
//
// Threads: any.

#pragma once

#include <cstddef>
#include <cstring>

namespace vnt {

constexpr size_t ADDRESS_MAX = 1024; // of an address, its terminator included

// Takes off the brackets that may surround a host, in place.  Returns the host.
inline char *address_unbracket(char *host)
{
    size_t n = strlen(host);
    if (n < 2 || host[0] != '[' || host[n - 1] != ']') return host;
    host[n - 1] = '\0';
    return host + 1;
}

// Splits "host:port" at its last colon, in place; a colon inside brackets is the host's.  Returns
// the port, null without one.
inline char *address_split(char *text, char **host)
{
    size_t n = strlen(text);
    char *colon = n > 0 && text[n - 1] == ']' ? nullptr : strrchr(text, ':');
    if (colon != nullptr) *colon = '\0';
    *host = address_unbracket(text);
    return colon != nullptr ? colon + 1 : nullptr;
}

// The path of "unix:path"; null for other addresses, such as port 4000 of a host named unix.
const char *address_path(const char *text);

// Whether this is an address to connect to.  It tells nothing about what is there.
bool address_is_valid(const char *text);

} // namespace vnt
