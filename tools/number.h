// number.h: numbers as text.

#pragma once

#include <charconv>
#include <string_view>

namespace vnt {

// Parses the whole text as a number; a base may be given for whole ones.
template <class T, class... Base> bool number_parse(std::string_view text, T *value, Base... base)
{
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), *value, base...);
    return error == std::errc() && end == text.data() + text.size();
}

} // namespace vnt
