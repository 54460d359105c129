// address.h: "host:port" as users write it.
//
// Threads: any.

#pragma once

#include <cstring>

namespace vnt {

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

} // namespace vnt
