#include "docs/reference/rows.h"

#include <map>

namespace vnt {

// The words of each row as they are written: "ENV, LP, OUT(x, RANGE(begin, end))".
static const std::map<std::string, std::string> &written_rows(void)
{
    static const std::map<std::string, std::string> rows = {
#define SOLVER_CALL(name, function, ...) {#function, #__VA_ARGS__},
#include "remote/calls/solvercalls.def"
    };
    return rows;
}

// The counts of the solver that sizes name.
static const std::map<std::string, std::string> counts = {
    {"NUMCOLS", "columns"},
    {"NUMROWS", "rows"},
    {"NUMQCONSTRS", "quadratic constraints"},
    {"NUMSOS", "sets"},
    {"NUMMIPSTARTS", "MIP starts"},
    {"NUMINDCONSTRS", "indicator constraints"},
    {"NUMPWL", "piecewise-linear constraints"},
    {"NUMFILTERS", "filters"},
    {"NUMSOLNS", "solutions in the pool"},
    {"NUMDBLANNOTATIONS", "double annotations"},
    {"NUMLONGANNOTATIONS", "long annotations"},
    {"NUMNODES", "nodes"},
    {"NUMARCS", "arcs"},
    {"REDNUMCOLS", "columns of the presolved problem"},
    {"REDNUMROWS", "rows of the presolved problem"},
    {"CONFNUMROWS", "rows of the conflict"},
    {"CONFNUMCOLS", "columns of the conflict"},
};

// Splits at the separator, except within parentheses.
static std::vector<std::string> split(const std::string &text, const std::string &separator)
{
    std::vector<std::string> parts(1);
    int depth = 0;
    for (size_t i = 0; i < text.size(); i++) {
        depth += text[i] == '(' ? 1 : text[i] == ')' ? -1 : 0;
        if (depth == 0 && text.compare(i, separator.size(), separator) == 0) {
            parts.emplace_back();
            i += separator.size() - 1;
        } else {
            parts.back() += text[i];
        }
    }
    return parts;
}

// A word and what stands in its parentheses.
struct word {
    std::string name;
    std::vector<std::string> arguments;
};

static word word_of(const std::string &text)
{
    size_t open = text.find('(');
    if (open == std::string::npos) return {text, {}};
    return {text.substr(0, open), split(text.substr(open + 1, text.size() - open - 2), ", ")};
}

static std::string length_term(const std::string &text)
{
    word w = word_of(text);
    if (w.name == "RANGE") return w.arguments[1] + " - " + w.arguments[0] + " + 1";
    if (w.name == "UNSIZED") return "as far as the arrays before it say";
    if (!w.arguments.empty()) return w.arguments[0]; // COUNT, FIXED, STARTS
    auto known = counts.find(w.name);
    return known != counts.end() ? known->second : w.name;
}

static std::string length_of(const std::string &size)
{
    std::string out;
    for (const std::string &term : split(size, " + "))
        out += (out.empty() ? "" : " + ") + length_term(term);
    return out;
}

// "const double *" has elements of type double, "const char *const *" of type "const char *".
static std::string element_of(const std::string &type)
{
    if (type == "const char *const *") return "const char *";
    std::string element = type.starts_with("const ") ? type.substr(6) : type;
    element.pop_back();
    if (element.back() == ' ') element.pop_back();
    return element;
}

static parameter_row described(const header_parameter &p, const word &w)
{
    parameter_row row = {p.name, p.type, "in", ""};
    if (w.name.starts_with("OUT") && w.name != "OUTFILE") row.direction = "out";
    if (w.name == "PLAINSTRING" || w.name == "STORE") row.direction = "out";
    if (w.name == "INOUT" || w.name == "LP_BY_ADDRESS" || w.name == "NET_BY_ADDRESS")
        row.direction = "in, out";
    if (w.name == "STORE") row.length = length_of(w.arguments[0]);
    if (w.name == "INFILE_CONTENTS") row.length = "length";
    bool array = w.arguments.size() == 2 && w.name != "INDEX";
    if (array) row.length = length_of(w.arguments[1]);
    if (!row.length.empty() || w.name.starts_with("OUTVALUE") || w.name.starts_with("OUTCHAR"))
        row.type = element_of(p.type);
    return row;
}

// What a type alone tells.
static parameter_row guessed(const header_parameter &p)
{
    bool into = p.type.find('*') == std::string::npos || p.type.find('(') != std::string::npos ||
                p.type.starts_with("const ") || p.type.starts_with("void ") ||
                p.type.starts_with("volatile ");
    return {p.name, p.type, into ? "in" : "out", ""};
}

std::vector<parameter_row> parameter_rows(const header_function &f)
{
    std::vector<parameter_row> rows;
    auto found = written_rows().find(f.name);
    std::vector<std::string> words;
    if (found != written_rows().end()) words = split(found->second, ", ");
    for (size_t i = 0; i < f.parameters.size(); i++) {
        rows.push_back(i < words.size() ? described(f.parameters[i], word_of(words[i]))
                                        : guessed(f.parameters[i]));
    }
    return rows;
}

bool returns_value(const header_function &f)
{
    return !f.gives_object && !f.comment.empty() && f.comment[0].starts_with("Returns ");
}

// What goes wrong with a parameter, by its name and direction.
struct parameter_error {
    const char *name; // or how the name begins
    const char *direction;
    const char *status;
};
static constexpr parameter_error parameter_errors[] = {
    {"env", "in", "VNTERR_NO_ENVIRONMENT"},
    {"lp", "in", "VNTERR_NO_PROBLEM"},
    {"net", "in", "VNTERR_NO_PROBLEM"},
    {"begin", "in", "VNTERR_INDEX_RANGE"},
    {"indices", "in", "VNTERR_INDEX_RANGE"},
    {"which", "in", "VNTERR_INDEX_RANGE"},
    {"idx", "in", "VNTERR_INDEX_RANGE"},
    {"soln", "in", "VNTERR_INDEX_RANGE"},
    {"i", "in", "VNTERR_INDEX_RANGE"},
    {"j", "in", "VNTERR_INDEX_RANGE"},
    {"paramnum", "in", "VNTERR_BAD_PARAMETER"},
    {"whichparam*", "", "VNTERR_BAD_PARAMETER"},
    {"surplus_p", "out", "VNTERR_SPACE_TOO_SMALL"},
    {"index_p", "out", "VNTERR_NAME_NOT_FOUND"},
    {"content*", "in", "VNTERR_FILE_OPEN"},
    {"content*", "in", "VNTERR_FILE_FORMAT"},
};

static bool suits(const parameter_error &e, const parameter_row &r)
{
    std::string_view name = e.name;
    bool open = name.back() == '*';
    if (open) name.remove_suffix(1);
    bool named = open ? r.name.starts_with(name) : r.name == name;
    return named && r.direction.starts_with(e.direction);
}

static void note(std::vector<std::string> &errors, const std::string &status)
{
    for (const std::string &e : errors)
        if (e == status) return;
    errors.push_back(status);
}

std::vector<std::string> error_names(const header_function &f, bool supported)
{
    std::vector<std::string> errors;
    if (returns_value(f)) return errors;
    bool reads = false, names_file = false;
    for (const parameter_row &r : parameter_rows(f)) {
        reads |= r.name.starts_with("content");
        names_file |= r.name.starts_with("filename");
        bool object = r.name == "env" || r.name == "lp" || r.name == "net";
        for (const parameter_error &e : parameter_errors)
            if (suits(e, r) && (supported || object)) note(errors, e.status);
    }
    if (!supported) note(errors, "VNTERR_NOT_SUPPORTED");
    if (supported && names_file && !reads) note(errors, "VNTERR_FILE_CREATE");
    return errors;
}

} // namespace vnt
