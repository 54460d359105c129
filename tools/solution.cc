#include "tools/solution.h"

#include "tools/exits.h"
#include "tools/files.h"
#include "tools/number.h"

#include <cerrno>
#include <fmt/format.h>
#include <fstream>

namespace vnt {

void solution_write(const std::string &file, const std::vector<std::string> &comments,
                    const std::vector<named_value> &values)
{
    std::string text;
    for (const std::string &comment : comments)
        text += "# " + comment + "\n";
    for (const named_value &v : values)
        text += fmt::format("{} {}\n", v.name, v.value);
    file_write(file, text);
}

static std::ifstream file_open(const std::string &file)
{
    errno = 0;
    std::ifstream in(file);
    if (in.peek() == EOF && errno != 0) file_fail(file);
    return in;
}

static named_value line_parse(const std::string &line, const std::string &where)
{
    named_value pair = {};
    const size_t last = line.find_last_not_of(" \t\r"), blank = line.find_last_of(" \t", last);
    if (blank != line.npos) {
        const std::string_view value = std::string_view(line).substr(blank + 1, last - blank);
        pair.name = line.substr(0, line.find_last_not_of(" \t", blank) + 1);
        if (!pair.name.empty() && number_parse(value, &pair.value)) return pair;
    }
    throw failure{EXIT_MALFORMED, where + ": a name and a value are expected"};
}

std::vector<named_value> solution_read(const std::string &file)
{
    std::ifstream in = file_open(file);
    std::vector<named_value> values;
    int number = 0;
    for (std::string line; std::getline(in, line);) {
        number++;
        const size_t first = line.find_first_not_of(" \t\r");
        if (first == line.npos || line[first] == '#') continue;
        values.push_back(line_parse(line.substr(first), fmt::format("{}: line {}", file, number)));
    }
    return values;
}

bool solution_is_solvers(const std::string &file)
{
    std::ifstream in = file_open(file);
    std::string first, second;
    in >> first >> second;
    return second == "of" && (first == "solution" || first == "starts");
}

} // namespace vnt
