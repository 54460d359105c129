// pool.h: a pool: a file that names servers, an address a line.
//
//     # the machines of the second floor
//     node1:12345
//     node2:12345
//     unix:/run/vanto/socket     # this one
//
// Blank lines do not count, and a "#" begins a comment at the start of a line or after a blank.  A
// path begins with "/": a pool means the same wherever it is read.
//
// Ownership: the caller releases what it has read.
//
// Threads: any.

#pragma once

#include "remote/base/address.h"

namespace vnt {

struct pool {
    char **addresses; // "host:port", "host" or "unix:path", as the file has them, in its order
    size_t count;
};

// Reads the file, which must name a server.  On failure the pool is empty, and `wrong` says why,
// for people: the file, the number of the line where one is at fault, and what is expected.
bool pool_read(pool *p, const char *file, char *wrong, size_t size);

void pool_release(pool *p);

// The file of "@file"; null for an address.
inline const char *pool_file(const char *text)
{
    return text[0] == '@' ? text + 1 : nullptr;
}

} // namespace vnt
