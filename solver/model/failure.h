// failure.h: the exception with which the open solver's code reports failures.
//
// The wrappers of calls.h catch it at the entry point, where it becomes the call's status and, with
// a text, a line of the error channel.

#pragma once

#include "vanto.h"

#include <clocale>
#include <cstdarg>
#include <cstdio>
#include <string>

namespace vnt {

struct failure {
    int status;       // VNTERR_*
    std::string text; // for the error channel; empty if the status says everything
};

// While it lives the thread writes numbers with a point, whatever locale the caller has.
class decimal_point {
  public:
    decimal_point() : callers(uselocale(plain())) {}
    ~decimal_point() { uselocale(callers); }
    decimal_point(const decimal_point &) = delete;
    decimal_point &operator=(const decimal_point &) = delete;

  private:
    static locale_t plain()
    {
        static const locale_t locale = newlocale(LC_NUMERIC_MASK, "C", nullptr);
        return locale;
    }
    const locale_t callers;
};

// Formats like printf, to any length.
[[gnu::format(printf, 1, 0)]] inline std::string printed_list(const char *format, va_list args)
{
    const decimal_point point;
    va_list again;
    va_copy(again, args);
    const int length = vsnprintf(nullptr, 0, format, again);
    va_end(again);
    std::string text(length > 0 ? length : 0, '\0');
    if (length > 0) vsnprintf(text.data(), text.size() + 1, format, args);
    return text;
}
[[gnu::format(printf, 1, 2)]] inline std::string printed(const char *format, ...)
{
    va_list args;
    va_start(args, format);
    std::string text = printed_list(format, args);
    va_end(args);
    return text;
}

// Unless `holds`, ends the call with the status.
inline void require(bool holds, int status)
{
    if (!holds) throw failure{status, {}};
}

// Fails for a null argument if something is needed from it.
inline void require_there(const void *argument, bool needed = true)
{
    require(argument != nullptr || !needed, VNTERR_NULL_POINTER);
}

// Stores a result at the caller's pointer unless that is null.
template <class type> void put(type *where, type value)
{
    if (where != nullptr) *where = value;
}

} // namespace vnt
