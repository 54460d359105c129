#include "tools/commandline.h"

#include "tools/number.h"

#include <climits>
#include <fmt/format.h>

namespace vnt {

static constexpr size_t NAMES = 26, MEANING = 80 - NAMES; // columns

// Breaks the lines of a text at blanks.
static std::string text_fold(std::string text)
{
    for (size_t begin = 0; text.size() - begin >= MEANING;) {
        const size_t blank = text.rfind(' ', begin + MEANING - 1);
        if (blank == text.npos || blank <= begin) break;
        text[blank] = '\n';
        begin = blank + 1;
    }
    return text;
}

namespace {
class help_format : public CLI::Formatter {
  public:
    std::string make_option_opts(const CLI::Option *o) const override
    {
        if (o->get_type_size() == 0 || o->get_positional()) return "";
        const std::string type = o->get_type_name();
        return ' ' + type.substr(0, type.find(":{")); // behind it a set of values
    }
    std::string make_option_desc(const CLI::Option *o) const override
    {
        return text_fold(o->get_description());
    }
};
} // namespace

void commandline_style(CLI::App &app)
{
    app.formatter(std::make_shared<help_format>());
    app.get_formatter()->column_width(NAMES);
}

static std::string complaint(const std::string &value, const char *expected)
{
    return fmt::format("'{}': {} is expected", value, expected);
}

value_check value_nonempty(const char *expected)
{
    return
        [=](const std::string &value) { return value.empty() ? complaint(value, expected) : ""; };
}

template <class T> static value_check number_check(const char *expected, T least, T most)
{
    return [=](const std::string &value) {
        T number;
        const bool fits = number_parse(value, &number) && number >= least && number <= most;
        return fits ? "" : complaint(value, expected);
    };
}

value_check value_whole(const char *expected, int least)
{
    return number_check(expected, least, INT_MAX);
}

value_check value_real(const char *expected, double least, double most)
{
    return number_check(expected, least, most);
}

} // namespace vnt
