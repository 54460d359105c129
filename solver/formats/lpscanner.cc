#include "solver/formats/lpscanner.h"

#include "solver/formats/files.h"

#include <algorithm>
#include <cctype>

namespace vnt {

static constexpr struct {
    const char *word;
    lp_section section;
} section_words[] = {
    {"minimize", SECTION_MINIMIZE},
    {"minimise", SECTION_MINIMIZE},
    {"minimum", SECTION_MINIMIZE},
    {"min", SECTION_MINIMIZE},
    {"maximize", SECTION_MAXIMIZE},
    {"maximise", SECTION_MAXIMIZE},
    {"maximum", SECTION_MAXIMIZE},
    {"max", SECTION_MAXIMIZE},
    {"subject", SECTION_ROWS},
    {"such", SECTION_ROWS},
    {"st", SECTION_ROWS},
    {"s.t.", SECTION_ROWS},
    {"st.", SECTION_ROWS},
    {"bounds", SECTION_BOUNDS},
    {"bound", SECTION_BOUNDS},
    {"general", SECTION_GENERAL},
    {"generals", SECTION_GENERAL},
    {"gen", SECTION_GENERAL},
    {"integer", SECTION_GENERAL},
    {"integers", SECTION_GENERAL},
    {"int", SECTION_GENERAL},
    {"binary", SECTION_BINARY},
    {"binaries", SECTION_BINARY},
    {"bin", SECTION_BINARY},
    {"semi-continuous", SECTION_SEMI},
    {"semis", SECTION_SEMI},
    {"semi", SECTION_SEMI},
    {"sos", SECTION_SOS},
    {"sos1", SECTION_SOS1},
    {"sos2", SECTION_SOS2},
    {"end", SECTION_END},
};

std::string small_letters(std::string_view word)
{
    std::string small(word);
    for (char &c : small)
        c = static_cast<char>(tolower(static_cast<unsigned char>(c)));
    return small;
}

lp_section section_of(std::string_view word)
{
    std::string small = small_letters(word);
    for (auto [name, section] : section_words) {
        if (small == name) return section;
    }
    return SECTION_NONE;
}

static bool name_letter(char c)
{
    return isalnum(static_cast<unsigned char>(c)) || (c & 0x80) != 0 ||
           std::string_view("!\"#$%&(),.;?@_`'{}~/|").find(c) != std::string_view::npos;
}

bool infinity_word(std::string_view word)
{
    std::string small = small_letters(word);
    return small == "inf" || small == "infinity";
}

static bool begins_number(std::string_view text)
{
    auto digit = [&](size_t i) {
        return i < text.size() && isdigit(static_cast<unsigned char>(text[i]));
    };
    return digit(0) || (!text.empty() && text[0] == '.' && digit(1));
}

// A name may contain brackets in pairs, but not begin with one: x[1], not x].
static size_t name_length(std::string_view text)
{
    size_t n = 0, open = 0, closed = 0; // closed: the length up to where no bracket is open
    for (; n < text.size() && n - closed < 256; n++) { // bounds the search for a closing bracket
        char c = text[n];
        if (c == '[' && n > 0) {
            open++;
        } else if (c == ']' && open > 0) {
            open--;
        } else if (!name_letter(c)) {
            break;
        }
        if (open == 0) closed = n + 1;
    }
    return closed;
}

bool suits_lp(const std::string &name)
{
    return name_length(name) == name.size() && name[0] != '.' && !begins_number(name) &&
           section_of(name) == SECTION_NONE && !infinity_word(name) &&
           small_letters(name) != "free";
}

void lp_scanner::skip()
{
    while (!rest.empty()) {
        if (rest[0] == '\\') {
            rest.remove_prefix(std::min(rest.find('\n'), rest.size()));
        } else if (rest[0] == '\n') {
            lines++;
            fresh = true;
            rest.remove_prefix(1);
        } else if (rest[0] == ' ' || rest[0] == '\t' || rest[0] == '\r') {
            rest.remove_prefix(1);
        } else {
            return;
        }
    }
}

bool lp_scanner::followed_by(char c)
{
    skip();
    return !rest.empty() && rest[0] == c;
}

bool lp_scanner::followed_by_two(char c)
{
    return followed_by(c) && rest.size() > 1 && rest[1] == c;
}

void lp_scanner::take_number()
{
    size_t n = 0;
    auto digits = [&] {
        while (n < rest.size() && isdigit(static_cast<unsigned char>(rest[n])))
            n++;
    };
    digits();
    if (n < rest.size() && rest[n] == '.') n++;
    digits();
    if (n < rest.size() && (rest[n] == 'e' || rest[n] == 'E')) {
        size_t sign = n + 1 < rest.size() && (rest[n + 1] == '+' || rest[n + 1] == '-') ? 2 : 1;
        if (n + sign < rest.size() && isdigit(static_cast<unsigned char>(rest[n + sign]))) {
            n += sign;
            digits();
        }
    }
    number_read(rest.substr(0, n), &number);
    rest.remove_prefix(n);
    token = TOKEN_NUMBER;
}

void lp_scanner::take_relation()
{
    char first = rest[0];
    size_t n = 1;
    if (rest.size() > 1 &&
        (rest[1] == '=' || (first == '=' && (rest[1] == '<' || rest[1] == '>')))) {
        if (first == '=' && rest[1] != '=') first = rest[1];
        n = 2;
    }
    relation = first == '<' ? 'L' : first == '>' ? 'G' : 'E';
    rest.remove_prefix(n);
    token = TOKEN_RELATION;
}

// "subject to" and "such that" are two words.
void lp_scanner::take_section_rest()
{
    std::string first = small_letters(word);
    const char *second = first == "subject" ? "to" : first == "such" ? "that" : nullptr;
    if (second == nullptr) return;
    skip();
    size_t n = name_length(rest);
    if (small_letters(rest.substr(0, n)) == second) rest.remove_prefix(n);
}

void lp_scanner::take_symbol(char c, size_t length)
{
    token = TOKEN_SYMBOL;
    symbol = c;
    rest.remove_prefix(length);
}

// Sections of two words; the first word alone is a name.
void lp_scanner::take_two_words()
{
    static constexpr struct {
        const char *first, *second;
        lp_section section;
    } pairs[] = {{"lazy", "constraints", SECTION_LAZY}, {"user", "cuts", SECTION_CUTS}};
    std::string_view after = rest.substr(std::min(rest.find_first_not_of(" \t"), rest.size()));
    size_t n = name_length(after);
    for (auto [one, two, its] : pairs) {
        if (small_letters(word) != one || small_letters(after.substr(0, n)) != two) continue;
        section = its;
        rest = after.substr(n);
    }
}

void lp_scanner::take_name()
{
    size_t n = name_length(rest);
    bool first = fresh;
    // The only word with a hyphen.
    if (first && small_letters(rest.substr(0, 15)) == "semi-continuous") n = 15;
    if (n == 0) file_malformed(lines, "unexpected character \"%c\"", rest[0]);
    word = rest.substr(0, n);
    rest.remove_prefix(n);
    fresh = false;
    section = first ? section_of(word) : SECTION_NONE;
    token = TOKEN_NAME;
    if (first) take_two_words();
    if (section == SECTION_NONE || followed_by(':')) return;
    token = TOKEN_SECTION;
    take_section_rest();
}

void lp_scanner::next()
{
    skip();
    line = lines;
    if (rest.empty()) {
        token = TOKEN_END;
        return;
    }
    char c = rest[0];
    if (std::string_view("[]^*").find(c) != std::string_view::npos) {
        take_symbol(c, 1);
    } else if (rest.substr(0, 2) == "->") {
        take_symbol('>', 2);
    } else if (rest.substr(0, 3) == "<->") {
        throw failure{VNTERR_FILE_FEATURE,
                      printed("line %d: indicators that hold both ways are not supported", line)};
    } else if (c == '<' || c == '>' || c == '=') {
        take_relation();
    } else if (c == '+' || c == '-') {
        token = TOKEN_SIGN;
        number = c == '+' ? 1 : -1;
        rest.remove_prefix(1);
    } else if (c == ':') {
        token = TOKEN_COLON;
        rest.remove_prefix(1);
    } else if (begins_number(rest)) {
        take_number();
    } else {
        take_name();
        return;
    }
    fresh = false;
}

} // namespace vnt
