#include "solver/formats/listfile.h"

#include <charconv>
#include <cmath>

namespace vnt {

static bool blank(std::string_view line)
{
    return line.find_first_not_of(" \t") == std::string_view::npos;
}

bool list_reader::next()
{
    do {
        if (!lines.next(&line)) return false;
    } while (blank(line));
    return true;
}

void list_reader::need(const char *wanted)
{
    if (!next()) fail(printed("the file ends where %s should follow", wanted));
}

bool list_reader::another()
{
    need("\"end\"");
    return !begins("end");
}

void list_reader::head(const char *wanted)
{
    need(printed("\"%s\"", wanted).c_str());
    if (!begins(wanted)) fail(printed("\"%s\" should stand here", wanted));
}

bool list_reader::begins(const char *words)
{
    std::string_view wanted = words;
    if (line.substr(0, wanted.size()) != wanted) return false;
    if (line.size() > wanted.size() && line[wanted.size()] != ' ') return false;
    line.remove_prefix(std::min(line.size(), wanted.size() + 1));
    return true;
}

std::string_view list_reader::word()
{
    size_t end = std::min(line.find(' '), line.size());
    std::string_view taken = line.substr(0, end);
    line.remove_prefix(std::min(line.size(), end + 1));
    return taken;
}

// A quotation from a file, shortened.
static std::string quoted(std::string_view text)
{
    return "\"" + std::string(text.substr(0, 200)) + "\"";
}

int64_t list_reader::integer(int64_t least, int64_t most)
{
    std::string_view text = word();
    int64_t value = 0;
    auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || stop != text.data() + text.size())
        fail(quoted(text) + " is no integer");
    if (value < least || value > most) fail(quoted(text) + " is out of range");
    return value;
}

double list_reader::number()
{
    std::string_view text = word();
    double value = 0;
    if (!number_read(text, &value)) fail(quoted(text) + " is no number");
    if (!std::isfinite(value)) fail(quoted(text) + " is not finite");
    return value + 0.0; // no -0
}

int list_reader::place(const name_list &names)
{
    int i = names.find(std::string(line));
    if (i < 0) fail("nothing is called " + quoted(line));
    return i;
}

int list_reader::fresh_place(const name_list &names, std::vector<bool> *seen)
{
    int i = place(names);
    if ((*seen)[i]) fail("the column stands there twice");
    (*seen)[i] = true;
    return i;
}

std::string listed_name(const name_list &names, int i)
{
    std::string name = names.at(i);
    if (names.find(name) == i && name.find_first_of("\r\n") == name.npos) return name;
    throw failure{VNTERR_FILE_FEATURE, "the name " + quoted(one_line(name)) +
                                           " could not be read back: "
                                           "other elements have it too, or it holds a line end"};
}

void list_reader::fail(const std::string &text) const
{
    file_malformed(lines.number(), "%s", text.c_str());
}

} // namespace vnt
