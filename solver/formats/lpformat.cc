#include "solver/formats/lpformat.h"

#include "solver/formats/files.h"
#include "solver/formats/modelfile.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <unordered_map>

namespace vnt {

// Tokens: a number, a name, a relation, a sign, a colon; or the beginning of a section.
enum lp_token {
    TOKEN_END,
    TOKEN_NUMBER,
    TOKEN_NAME,
    TOKEN_RELATION, // L, G or E
    TOKEN_SIGN,
    TOKEN_COLON,
    TOKEN_SECTION
};

enum lp_section {
    SECTION_NONE,
    SECTION_MINIMIZE,
    SECTION_MAXIMIZE,
    SECTION_ROWS,
    SECTION_BOUNDS,
    SECTION_GENERAL,
    SECTION_BINARY,
    SECTION_SEMI,
    SECTION_SOS,
    SECTION_END
};

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
    {"sos1", SECTION_SOS},
    {"sos2", SECTION_SOS},
    {"end", SECTION_END},
};

static std::string small_letters(std::string_view word)
{
    std::string small(word);
    for (char &c : small)
        c = static_cast<char>(tolower(static_cast<unsigned char>(c)));
    return small;
}

static lp_section section_of(std::string_view word)
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

static bool infinity_word(std::string_view word)
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

// Cuts a text into tokens.  What begins a section is known by its word and its place at the
// beginning of a line.
class lp_scanner {
  public:
    explicit lp_scanner(std::string_view text) : rest(text) { next(); }

    lp_token token = TOKEN_END;
    std::string_view word; // of a name
    double number = 0;     // of a number; of a sign, 1 or -1
    char relation = 0;     // of a relation
    lp_section section = SECTION_NONE;
    int line = 1; // of the token

    void next();
    // Is the character after this token that one?  Looks past blanks.
    bool followed_by(char c);

  private:
    void skip();
    void take_number();
    void take_relation();
    void take_name();
    void take_section_rest();

    std::string_view rest;
    int lines = 1;
    bool fresh = true; // at the beginning of a line
};

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
    size_t n = 0;
    while (n < rest.size() && name_letter(rest[n]))
        n++;
    if (small_letters(rest.substr(0, n)) == second) rest.remove_prefix(n);
}

void lp_scanner::take_name()
{
    size_t n = 0;
    while (n < rest.size() && name_letter(rest[n]))
        n++;
    bool first = fresh;
    // The only word with a hyphen.
    if (first && small_letters(rest.substr(0, 15)) == "semi-continuous") n = 15;
    if (n == 0) file_malformed(lines, "unexpected character \"%c\"", rest[0]);
    word = rest.substr(0, n);
    rest.remove_prefix(n);
    fresh = false;
    section = first ? section_of(word) : SECTION_NONE;
    token = TOKEN_NAME;
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
    if (c == '[' || c == '^' || c == '*') {
        throw failure{VNTERR_FILE_FEATURE,
                      printed("line %d: quadratic terms are not supported", line)};
    }
    if (rest.substr(0, 2) == "->") {
        throw failure{VNTERR_FILE_FEATURE, printed("line %d: indicators are not supported", line)};
    }
    if (c == '<' || c == '>' || c == '=') {
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

// A sum of terms and numbers.
struct lp_sum {
    std::vector<int> index;
    std::vector<double> value;
    double constant = 0;
};

class lp_reader {
  public:
    explicit lp_reader(const std::string &text) : in(text) { parts.rowwise = true; }
    model read();
    std::string remarks;

  private:
    [[noreturn]] void malformed(const char *what) const { file_malformed(in.line, "%s", what); }
    std::string_view label();
    lp_sum sum();
    void term(lp_sum *s, double factor);
    int column(std::string_view name);
    int known_column();
    bool value(double *number);
    double needed_value();
    char relation();

    void objective();
    void rows();
    void row();
    void finish_row(std::string_view name, lp_sum &s, double low, double high, char sense);
    void bounds();
    void bound();
    void bound_from(int col, char relation, double number);
    void lower_bound(int col, double number);
    void upper_bound(int col, double number);
    void types(lp_section section);

    lp_scanner in;
    model_parts parts;
    std::unordered_map<std::string_view, int> columns;
    std::vector<size_t> place; // of a column's term in the sum in hand
    std::vector<char> bounded; // 1: has a bound of its own, 2: a lower one
};

// A name and a colon, where they are there.
std::string_view lp_reader::label()
{
    if (in.token != TOKEN_NAME || !in.followed_by(':')) return {};
    std::string_view name = in.word;
    in.next();
    in.next();
    return name;
}

int lp_reader::column(std::string_view name)
{
    auto [at, fresh] = columns.emplace(name, static_cast<int>(parts.colnames.size()));
    if (fresh) {
        parts.add_column(name, 'C');
        bounded.push_back(0);
        place.push_back(SIZE_MAX);
    }
    return at->second;
}

void lp_reader::term(lp_sum *s, double factor)
{
    int col = column(in.word);
    in.next();
    size_t &at = place[col];
    if (at < s->index.size() && s->index[at] == col) {
        s->value[at] += factor; // a column that stands twice counts with the sum
        return;
    }
    at = s->index.size();
    s->index.push_back(col);
    s->value.push_back(factor);
}

lp_sum lp_reader::sum()
{
    lp_sum s;
    for (;;) {
        double factor = 1;
        bool there = false;
        for (; in.token == TOKEN_SIGN; in.next()) {
            factor *= in.number;
            there = true;
        }
        bool number = in.token == TOKEN_NUMBER;
        if (number) {
            factor *= in.number;
            in.next();
        }
        if (in.token == TOKEN_NAME && !in.followed_by(':') && !infinity_word(in.word)) {
            term(&s, factor);
        } else if (in.token == TOKEN_NAME && infinity_word(in.word)) {
            s.constant += factor * VNT_INFINITY;
            in.next();
        } else if (number) {
            s.constant += factor;
        } else if (there) {
            malformed("a sign without a term");
        } else {
            return s;
        }
        if (in.token != TOKEN_SIGN) return s; // the next row may have no name
    }
}

void lp_reader::objective()
{
    parts.sense = in.section == SECTION_MAXIMIZE ? VNT_MAX : VNT_MIN;
    in.next();
    std::string_view name = label();
    if (!name.empty()) parts.objname = name;
    lp_sum s = sum();
    for (size_t k = 0; k < s.index.size(); k++) {
        if (!number_isfinite(s.value[k])) malformed("an infinite cost");
        parts.objective[s.index[k]] = s.value[k];
    }
    parts.offset = s.constant;
}

void lp_reader::finish_row(std::string_view name, lp_sum &s, double low, double high, char sense)
{
    std::string made = "c" + std::to_string(parts.rhs.size() + 1);
    parts.add_row(sense, name.empty() ? std::string_view(made) : name);
    parts.rhs.back() = (sense == 'L' ? high : low) - s.constant;
    if (sense == 'R') parts.range.back() = high - low;
    for (size_t k = 0; k < s.index.size(); k++) {
        if (!number_isfinite(s.value[k])) malformed("an infinite coefficient");
        parts.add_entry(s.index[k], s.value[k]);
    }
}

static char turned(char relation)
{
    return relation == 'L' ? 'G' : relation == 'G' ? 'L' : 'E';
}

// The relation, which must be there.
char lp_reader::relation()
{
    if (in.token != TOKEN_RELATION) malformed("no relation where there must be one");
    char r = in.relation;
    in.next();
    return r;
}

double lp_reader::needed_value()
{
    double number;
    if (!value(&number)) malformed("no number where there must be one");
    return number;
}

// sum relation number, number relation sum, or number relation sum relation number.
void lp_reader::row()
{
    std::string_view name = label();
    lp_sum s = sum();
    char first = relation();
    if (!s.index.empty()) {
        double side = needed_value();
        return finish_row(name, s, side, side, first);
    }
    double low = s.constant, high = low;
    s = sum();
    if (in.token != TOKEN_RELATION) return finish_row(name, s, low, high, turned(first));
    if (relation() != first || first == 'E') malformed("not a row between two bounds");
    high = needed_value();
    if (first == 'G') std::swap(low, high);
    finish_row(name, s, low, high, 'R');
}

void lp_reader::rows()
{
    in.next();
    while (in.token != TOKEN_SECTION && in.token != TOKEN_END)
        row();
}

// A number with its signs, or infinity.
bool lp_reader::value(double *number)
{
    double sign = 1;
    bool there = in.token == TOKEN_SIGN;
    for (; in.token == TOKEN_SIGN; in.next())
        sign *= in.number;
    if (in.token == TOKEN_NUMBER) {
        *number = sign * in.number;
    } else if (in.token == TOKEN_NAME && infinity_word(in.word)) {
        *number = sign * VNT_INFINITY;
    } else if (there) {
        malformed("a sign without a number");
    } else {
        return false;
    }
    in.next();
    return true;
}

int lp_reader::known_column()
{
    if (in.token != TOKEN_NAME) malformed("no column where there must be one");
    int col = column(in.word);
    in.next();
    return col;
}

void lp_reader::lower_bound(int col, double number)
{
    parts.lower[col] = number;
    bounded[col] = 2;
}

void lp_reader::upper_bound(int col, double number)
{
    parts.upper[col] = number;
    if (!bounded[col]) bounded[col] = 1;
    if (number < 0 && bounded[col] != 2 && parts.lower[col] == 0) {
        parts.lower[col] = -VNT_INFINITY;
        remarks +=
            printed("line %d: an upper bound below 0 takes the lower bound of 0 away\n", in.line);
    }
}

// column relation number
void lp_reader::bound_from(int col, char relation, double number)
{
    if (relation != 'L') lower_bound(col, number);
    if (relation != 'G') upper_bound(col, number);
}

void lp_reader::bound()
{
    double number = 0;
    bool left = value(&number);
    char first = left ? relation() : 0;
    int col = known_column();
    if (left) bound_from(col, turned(first), number);
    if (in.token == TOKEN_RELATION) {
        char second = relation();
        bound_from(col, second, needed_value());
    } else if (in.token == TOKEN_NAME && small_letters(in.word) == "free" && !left) {
        in.next();
        bound_from(col, 'L', VNT_INFINITY);
        lower_bound(col, -VNT_INFINITY);
    } else if (!left) {
        malformed("a column without a bound");
    }
}

void lp_reader::bounds()
{
    in.next();
    while (in.token != TOKEN_SECTION && in.token != TOKEN_END)
        bound();
}

// A semi-continuous integer column stands in both sections.
static char with_type(char old, lp_section section)
{
    if (section == SECTION_BINARY) return 'B';
    if (section == SECTION_GENERAL) return old == 'S' || old == 'N' ? 'N' : 'I';
    return old == 'I' || old == 'N' ? 'N' : 'S';
}

void lp_reader::types(lp_section section)
{
    in.next();
    while (in.token != TOKEN_SECTION && in.token != TOKEN_END) {
        int col = known_column();
        parts.ctype[col] = with_type(parts.ctype[col], section);
        if (section == SECTION_BINARY && !bounded[col]) parts.upper[col] = 1;
    }
}

model lp_reader::read()
{
    if (in.token != TOKEN_SECTION ||
        (in.section != SECTION_MINIMIZE && in.section != SECTION_MAXIMIZE)) {
        malformed("the file does not begin with minimize or maximize");
    }
    objective();
    while (in.token == TOKEN_SECTION && in.section != SECTION_END) {
        lp_section section = in.section;
        switch (section) {
        case SECTION_ROWS: rows(); break;
        case SECTION_BOUNDS: bounds(); break;
        case SECTION_GENERAL:
        case SECTION_BINARY:
        case SECTION_SEMI: types(section); break;
        case SECTION_SOS:
            throw failure{VNTERR_FILE_FEATURE,
                          printed("line %d: special ordered sets are not supported", in.line)};
        default: malformed("a second objective");
        }
    }
    if (in.token == TOKEN_END) malformed("the file ends without end");
    if (in.token != TOKEN_SECTION) malformed("something that belongs to no section");
    return parts.take();
}

model lp_read(const std::string &text, std::string *remarks)
{
    lp_reader reader(text);
    model m = reader.read();
    *remarks += reader.remarks;
    return m;
}

// Writing.

static bool suits_lp(const std::string &name)
{
    if (name.empty() || begins_number(name) || section_of(name) != SECTION_NONE ||
        infinity_word(name) || small_letters(name) == "free") {
        return false;
    }
    return std::all_of(name.begin(), name.end(), name_letter);
}

// Collects terms, a few on each line.
class term_writer {
  public:
    term_writer(std::string *out, const std::vector<std::string> &cols) : out(out), cols(cols) {}
    void term(double value, int col)
    {
        if (count > 0 && count % 6 == 0) *out += "\n   ";
        *out += value < 0 || std::signbit(value) ? " - " : count > 0 ? " + " : " ";
        *out += number_text(std::fabs(value)) + " " + cols[col];
        count++;
    }
    int count = 0;

  private:
    std::string *out;
    const std::vector<std::string> &cols;
};

// All columns, those that cost nothing as well, so that they come back in their order.
static void write_objective(const model &m, const file_names &names, std::string *out)
{
    *out += m.sense == VNT_MAX ? "maximize\n " : "minimize\n ";
    *out += names.objective + ":";
    term_writer terms(out, names.cols);
    for (int j = 0; j < m.numcols(); j++)
        terms.term(m.objective[j], j);
    if (m.offset != 0) {
        *out += (m.offset < 0 ? " - " : " + ") + number_text(std::fabs(m.offset));
    }
    *out += "\n";
}

static void write_row(const model &m, const file_names &names, int i, std::string *out)
{
    static const std::string at_most = " <= ";
    *out += " " + names.rows[i] + ":";
    if (m.rowsense[i] == 'R') *out += " " + number_text(m.rowlower(i)) + " <=";
    matrix_view rows = m.a.by_row();
    term_writer terms(out, names.cols);
    for (int64_t k = rows.begin[i]; k < rows.begin[i + 1]; k++) {
        terms.term(rows.value[k], rows.index[k]);
    }
    if (terms.count == 0 && m.numcols() > 0) terms.term(0, 0);
    switch (m.rowsense[i]) {
    case 'G': *out += " >= " + number_text(m.rhs[i]); break;
    case 'E': *out += " = " + number_text(m.rhs[i]); break;
    case 'L': *out += at_most + number_text(m.rhs[i]); break;
    default: *out += at_most + number_text(m.rowupper(i));
    }
    *out += "\n";
}

static std::string bound_text(double value)
{
    if (value >= VNT_INFINITY) return "inf";
    return value <= -VNT_INFINITY ? "-inf" : number_text(value);
}

static void write_bound(const model &m, const file_names &names, int j, std::string *out)
{
    double low = m.lower[j], high = m.upper[j];
    bool binary = m.type != VNT_PROB_LP && m.ctype[j] == 'B';
    if (low == 0 && high == (binary ? 1 : VNT_INFINITY)) return;
    if (low == high) {
        *out += " " + names.cols[j] + " = " + bound_text(low) + "\n";
    } else {
        *out += " " + bound_text(low) + " <= " + names.cols[j] + " <= " + bound_text(high) + "\n";
    }
}

static void write_types(const model &m, const file_names &names, const char *section,
                        std::string_view types, std::string *out)
{
    if (m.type == VNT_PROB_LP || m.ctype.find_first_of(types) == std::string::npos) return;
    *out += std::string(section) + "\n";
    for (int j = 0; j < m.numcols(); j++) {
        if (types.find(m.ctype[j]) != types.npos) *out += " " + names.cols[j] + "\n";
    }
}

std::string lp_write(const model &m, bool *made)
{
    file_names names(m, suits_lp);
    *made = names.made;
    std::string out;
    write_objective(m, names, &out);
    out += "subject to\n";
    for (int i = 0; i < m.numrows(); i++)
        write_row(m, names, i, &out);
    out += "bounds\n";
    for (int j = 0; j < m.numcols(); j++)
        write_bound(m, names, j, &out);
    write_types(m, names, "general", "IN", &out);
    write_types(m, names, "binary", "B", &out);
    write_types(m, names, "semi-continuous", "SN", &out);
    return out + "end\n";
}

} // namespace vnt
