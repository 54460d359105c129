#include "docs/reference/manual.h"

#include "docs/reference/rows.h"

#include <algorithm>
#include <fstream>
#include <regex>

namespace vnt {

std::map<std::string, std::string> states_read(const std::string &path)
{
    static const std::regex row("\\| `(\\w+)` \\|.*\\| ([a-z ]+) \\|");
    std::map<std::string, std::string> states;
    std::ifstream in(path);
    std::smatch found;
    for (std::string line; std::getline(in, line);) {
        if (std::regex_match(line, found, row)) states[found[1]] = found[2];
    }
    return states;
}

std::string page_name(const std::string &title)
{
    std::string name = std::regex_replace(title, std::regex("[^A-Za-z]+"), "-");
    for (char &c : name)
        c = static_cast<char>(tolower(c));
    return name.empty() ? "general" : name;
}

// Whether the comment has a line that says what is returned.
static bool result_told(const header_function &f)
{
    return std::any_of(f.comment.begin(), f.comment.end(),
                       [](const std::string &line) { return line.starts_with("Returns 0"); });
}

std::string result_text(const header_function &f)
{
    if (!f.name.starts_with("VNT")) return ""; // its comment says
    if (f.gives_object) return "The object, or null on failure.";
    if (returns_value(f)) return "What the description says; 0 on failure unless said otherwise.";
    return result_told(f) ? "" : "0, or one of VNTERR_*.";
}

static bool supported(const header_function &f, const manual_context &c)
{
    auto state = c.states.find(f.name);
    return state == c.states.end() || state->second != "not supported";
}

std::string errors_text(const header_function &f, const manual_context &c)
{
    std::string out;
    if (!f.name.starts_with("VNT") || result_told(f)) return out; // its comment says
    for (const std::string &e : error_names(f, supported(f, c)))
        out += (out.empty() ? "" : ", ") + e;
    return out;
}

std::string state_text(const header_function &f, const manual_context &c)
{
    return supported(f, c) ? "" : "The open solver does not support this function.";
}

namespace {

// Text for a manual page: no line begins with a control character, no backslash means more.
std::string plain(const std::string &text)
{
    std::string out = std::regex_replace(text, std::regex("\\\\"), "\\e");
    if (!out.empty() && (out[0] == '.' || out[0] == '\'')) out = "\\&" + out;
    return out;
}

std::string section(const std::string &title, const std::string &text)
{
    return text.empty() ? "" : ".SH " + title + "\n" + text;
}

// Paragraphs; lines that stay as they are become an example.
std::string running_text(const comment_lines &lines)
{
    std::string out;
    bool example = false;
    for (const std::string &p : paragraphs(lines)) {
        bool as_is = p.starts_with("    ");
        if (as_is != example) out += as_is ? ".PP\n.EX\n" : ".EE\n";
        if (!as_is) out += ".PP\n";
        out += plain(as_is ? p.substr(4) : p) + "\n";
        example = as_is;
    }
    return out + (example ? ".EE\n" : "");
}

std::string synopsis(const manual_context &c, const std::string &declaration)
{
    return ".nf\n.B #include <" + c.include + ">\n.PP\n.B \"" +
           std::regex_replace(declaration, std::regex("\n"), "\"\n.B \"") + "\"\n.fi\n";
}

std::string parameters(const header_function &f)
{
    std::string out;
    for (const parameter_row &r : parameter_rows(f)) {
        out += ".TP\n.I " + r.name + "\n" + r.direction + ": " + r.type;
        out += r.length.empty() ? "\n" : ", elements: " + r.length + "\n";
    }
    return out;
}

std::string see_also(const header_group &g, const std::string &but, const manual_context &c)
{
    std::string out = ".BR " + c.overview + " (3)";
    for (const header_function &f : g.functions) {
        if (f.name != but) out += ",\n.BR " + f.name + " (3)";
    }
    return out + "\n";
}

std::string title_line(const std::string &name, const manual_context &c)
{
    return ".TH " + name + " 3 \"\" \"vanto " + c.version + "\" \"Library Functions\"\n";
}

std::string lowered(std::string text)
{
    text[0] = static_cast<char>(tolower(text[0]));
    return text;
}

std::string function_page(const header_group &g, const header_function &f, const manual_context &c)
{
    return title_line(f.name, c) +
           section("NAME", f.name + " \\- " + plain(lowered(first_sentence(f.comment))) + "\n") +
           section("SYNOPSIS", synopsis(c, f.declaration)) +
           section("DESCRIPTION", running_text(f.comment)) + section("PARAMETERS", parameters(f)) +
           section("RETURN VALUE", running_text({result_text(f)})) +
           section("ERRORS", running_text({errors_text(f, c)})) +
           section("NOTES", running_text(g.text) + running_text({state_text(f, c)})) +
           section("SEE ALSO", see_also(g, f.name, c));
}

std::string constants(const header &h)
{
    std::string out;
    for (const header_enum &e : h.enums) {
        out += running_text(e.comment);
        for (const header_constant &k : e.constants)
            out += ".TP\n.BR " + k.name + " \" = " + k.value + "\"\n" + plain(k.comment) + "\n";
    }
    return out;
}

std::string overview(const header &h, const manual_context &c)
{
    std::string functions;
    for (const header_group &g : h.groups) {
        if (g.functions.empty()) continue;
        functions += ".SS " + (g.title.empty() ? "General" : g.title) + "\n";
        std::string names;
        for (const header_function &f : g.functions)
            names += (names.empty() ? ".BR " : ",\n.BR ") + f.name + " (3)";
        functions += names + "\n";
    }
    return title_line(c.overview, c) + section("NAME", c.overview + " \\- " + c.purpose + "\n") +
           section("SYNOPSIS", synopsis(c, "")) + section("DESCRIPTION", running_text(h.text)) +
           section("FUNCTIONS", functions) + section("CONSTANTS", constants(h));
}

} // namespace

page_map manual_pages(const header &h, const manual_context &c)
{
    page_map pages = {{c.overview + ".3", overview(h, c)}};
    for (const header_group &g : h.groups) {
        for (const header_function &f : g.functions)
            pages[f.name + ".3"] = function_page(g, f, c);
    }
    return pages;
}

} // namespace vnt
