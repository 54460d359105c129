#include "docs/reference/header.h"

#include <fstream>
#include <regex>

namespace vnt {

namespace {

std::string trimmed(const std::string &text)
{
    size_t from = text.find_first_not_of(" \n"), to = text.find_last_not_of(" \n");
    return from == std::string::npos ? "" : text.substr(from, to - from + 1);
}

// The comma-separated parts between the parentheses of a declaration; parentheses within hold.
std::vector<std::string> parameter_texts(const std::string &declaration)
{
    std::vector<std::string> parts(1);
    int depth = 0;
    for (size_t i = declaration.find('('); i < declaration.size(); i++) {
        char c = declaration[i];
        if (c == ')' && --depth == 0) break;
        if (c == ',' && depth == 1) {
            parts.emplace_back();
        } else if (depth > 0) {
            parts.back() += c;
        }
        if (c == '(') depth++;
    }
    return parts;
}

header_parameter parameter_of(const std::string &written)
{
    std::string text = std::regex_replace(trimmed(written), std::regex("\\s+"), " ");
    std::smatch found;
    if (std::regex_search(text, found, std::regex("\\(\\*(\\w+)\\)"))) return {text, found[1]};
    std::regex_search(text, found, std::regex("(\\w+)$"));
    return {trimmed(found.prefix()), found[1]};
}

header_function function_of(const std::string &declaration, const comment_lines &comment)
{
    header_function f = {"", declaration, comment, {}, false};
    std::string before = declaration.substr(0, declaration.find('('));
    std::smatch found;
    std::regex_search(before, found, std::regex("(\\w+)$"));
    f.name = found[1];
    std::string result = found.prefix();
    f.gives_object = result.find("ptr") != std::string::npos;
    for (const std::string &text : parameter_texts(declaration)) {
        if (trimmed(text) != "void") f.parameters.push_back(parameter_of(text));
    }
    return f;
}

// "    NAME = 1, // comment", several of them on one line, or a #define.
void add_constants(header_enum &e, const std::string &line)
{
    static const std::regex one("(VNT\\w+)(?: = |\\s+)('?[-\\w.]+'?)(?:,|\\s|$)");
    size_t slashes = line.find("//");
    std::string code = line.substr(0, slashes);
    for (std::sregex_iterator i(code.begin(), code.end(), one), end; i != end; ++i)
        e.constants.push_back({(*i)[1], (*i)[2], ""});
    if (slashes != std::string::npos && !e.constants.empty())
        e.constants.back().comment = trimmed(line.substr(slashes + 2));
}

// A block: a comment and the code below it.
struct block {
    comment_lines comment, code;
};

std::string title_of(const std::string &line)
{
    return trimmed(line.substr(4, line.find(" --", 4) - 4));
}

class reader {
  public:
    void take(block b);
    header out;

  private:
    void add_code(const block &b);
    bool opened = false;
};

void reader::take(block b)
{
    bool titled = !b.comment.empty() && b.comment[0].starts_with("--- ");
    if (!opened) {
        out.text = b.comment;
        out.groups.push_back({"", {}, {}});
        opened = true;
    } else if (titled) {
        out.groups.push_back({title_of(b.comment[0]), {}, {}});
        b.comment.erase(b.comment.begin());
        out.groups.back().text = b.comment;
        b.comment.clear();
    }
    add_code(b);
}

void reader::add_code(const block &b)
{
    std::string declaration;
    bool listing = false;
    for (const std::string &line : b.code) {
        if (line.starts_with("enum") || line.starts_with("#define VNT")) {
            listing = line.starts_with("enum");
            out.enums.push_back({b.comment, {}});
            add_constants(out.enums.back(), line);
        } else if (listing) {
            add_constants(out.enums.back(), line);
        } else if (line[0] != '#') {
            declaration += (declaration.empty() ? "" : "\n") + line;
        }
        bool ends = line.back() == ';';
        if (ends && !listing && declaration.find('(') != std::string::npos &&
            !declaration.starts_with("typedef"))
            out.groups.back().functions.push_back(function_of(declaration, b.comment));
        if (ends) {
            declaration.clear();
            listing = false;
        }
    }
}

} // namespace

header header_read(const std::string &path)
{
    std::ifstream in(path);
    reader r;
    block b;
    auto finish = [&] {
        if (!b.comment.empty() || !b.code.empty()) r.take(std::move(b));
        b = {};
    };
    for (std::string line; std::getline(in, line);) {
        bool comment = line.starts_with("//");
        // A comment below code begins a block of its own.
        if (line.empty() || (comment && !b.code.empty())) finish();
        if (line.empty()) continue;
        if (comment) {
            b.comment.push_back(line.size() > 3 ? line.substr(3) : "");
        } else {
            b.code.push_back(line);
        }
    }
    finish();
    return std::move(r.out);
}

std::vector<std::string> paragraphs(const comment_lines &lines)
{
    std::vector<std::string> out;
    bool open = false; // the last paragraph goes on
    for (const std::string &line : lines) {
        bool as_is = line.starts_with("    ");
        if (as_is || line.empty()) open = false;
        if (line.empty()) continue;
        if (open) {
            out.back() += ' ' + line;
        } else {
            out.push_back(line);
        }
        open = !as_is;
    }
    for (std::string &p : out) {
        if (!p.starts_with("    ")) p = std::regex_replace(p, std::regex(" +"), " ");
    }
    return out;
}

std::string first_sentence(const comment_lines &lines)
{
    std::vector<std::string> all = paragraphs(lines);
    if (all.empty()) return "";
    size_t stop = all[0].find(". ");
    if (stop != std::string::npos) return all[0].substr(0, stop);
    return all[0].substr(0, all[0].find_last_not_of('.') + 1);
}

} // namespace vnt
