#include "remote/server/allowed.h"

#include <arpa/inet.h>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <netinet/in.h>

namespace vnt {

// An address of IPv4 begins with this where one of IPv6 is wanted.
static constexpr unsigned char MAPPED[12] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff};

static void map(unsigned char *to, const void *ipv4)
{
    memcpy(to, MAPPED, sizeof MAPPED);
    memcpy(to + sizeof MAPPED, ipv4, 4);
}

static bool address_parse(const char *text, unsigned char *address, unsigned *bits)
{
    in_addr ipv4;
    *bits = 128;
    if (inet_pton(AF_INET6, text, address) == 1) return true;
    if (inet_pton(AF_INET, text, &ipv4) != 1) return false;
    *bits = 32;
    map(address, &ipv4);
    return true;
}

bool allowed_parse(const char *text, allowed_range *range)
{
    char host[INET6_ADDRSTRLEN];
    const char *slash = strchr(text, '/');
    size_t length = slash != nullptr ? static_cast<size_t>(slash - text) : strlen(text);
    if (length >= sizeof host) return false;
    memcpy(host, text, length);
    host[length] = '\0';
    unsigned whole;
    if (!address_parse(host, range->address, &whole)) return false;
    range->bits = 128;
    if (slash == nullptr) return true;
    char *end;
    unsigned long bits = strtoul(slash + 1, &end, 10);
    if (slash[1] < '0' || slash[1] > '9' || *end != '\0' || bits > whole) return false;
    range->bits = static_cast<unsigned>(bits) + 128 - whole;
    return true;
}

static bool is_within(const allowed_range &range, const unsigned char *address)
{
    const unsigned whole = range.bits / 8, rest = range.bits % 8;
    if (memcmp(range.address, address, whole) != 0) return false;
    return rest == 0 || ((range.address[whole] ^ address[whole]) >> (8 - rest)) == 0;
}

bool allowed_find(const allowed_range *ranges, size_t count, const sockaddr_storage *from)
{
    unsigned char address[16];
    if (from->ss_family == AF_INET)
        map(address, &reinterpret_cast<const sockaddr_in *>(from)->sin_addr);
    else if (from->ss_family == AF_INET6)
        memcpy(address, &reinterpret_cast<const sockaddr_in6 *>(from)->sin6_addr, sizeof address);
    else
        return false;
    for (size_t i = 0; i < count; i++)
        if (is_within(ranges[i], address)) return true;
    return false;
}

} // namespace vnt
