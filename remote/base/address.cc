#include "remote/base/address.h"

#include <cstdlib>

namespace vnt {

static bool is_number(const char *text)
{
    return *text != '\0' && text[strspn(text, "0123456789")] == '\0';
}

const char *address_path(const char *text)
{
    static constexpr char PREFIX[] = "unix:";
    const size_t length = sizeof PREFIX - 1;
    if (strncmp(text, PREFIX, length) != 0 || is_number(text + length)) return nullptr;
    return text + length;
}

static bool is_port(const char *text)
{
    unsigned long number = strtoul(text, nullptr, 10);
    return is_number(text) && number > 0 && number <= 65535;
}

bool address_is_valid(const char *text)
{
    const char *path = address_path(text);
    if (path != nullptr) return *path != '\0';
    char copy[ADDRESS_MAX], *host;
    const size_t length = strlen(text);
    if (length >= sizeof copy || strpbrk(text, " \t\r\n\v\f") != nullptr) return false;
    memcpy(copy, text, length + 1);
    const char *port = address_split(copy, &host);
    return *host != '\0' && (port == nullptr || is_port(port));
}

} // namespace vnt
