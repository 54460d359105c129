// allowed.h: the addresses whose connections a server takes.
//
// Ownership: the list belongs to the options.
// Threads: any; the list does not change once the server runs.

#pragma once

#include <cstddef>
#include <sys/socket.h>

namespace vnt {

// An address of IPv6, one of IPv4 within it, and how many bits of it count.
struct allowed_range {
    unsigned char address[16];
    unsigned bits;
};

// Reads ADDRESS/BITS or ADDRESS.  Returns false for a text that is neither.
bool allowed_parse(const char *text, allowed_range *range);

// Whether the address is in one of the ranges.  Those that are neither of IPv4 nor of IPv6 are not.
bool allowed_find(const allowed_range *ranges, size_t count, const sockaddr_storage *address);

} // namespace vnt
