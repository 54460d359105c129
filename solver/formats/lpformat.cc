#include "solver/formats/lpformat.h"

#include "solver/formats/files.h"
#include "solver/formats/lpscanner.h"
#include "solver/formats/modelfile.h"

#include <algorithm>
#include <cmath>
#include <unordered_map>

namespace vnt {

// A sum of terms and numbers.
struct lp_sum {
    std::vector<int> index;
    std::vector<double> value;
    double constant = 0;
    double bracket = 0; // the factor of a bracket that ends the sum; 0 without one
};

class lp_reader {
  public:
    explicit lp_reader(const std::string &text) : in(text) { parts.rowwise = true; }
    model read();
    std::string remarks; // a line for everything that may be a mistake

  private:
    [[noreturn]] void malformed(const char *what) const { file_malformed(in.line, "%s", what); }
    std::string_view label();
    lp_sum sum();
    void term(lp_sum *s, double factor);
    int column(std::string_view name);
    int named_column(std::string_view name);
    int known_column();
    bool value(double *number);
    double needed_value();
    char relation();

    void objective();
    void add_cost(int col, double value);
    struct quadratic_term {
        double factor;
        int first, second;
    };
    void quadratic(double factor);
    quadratic_term product();
    bool halved();
    void add_quadratic(int i, int j, double value);
    void rows(lp_section section);
    void row();
    void finish_row(std::string_view name, lp_sum &s, double side, char sense);
    void finish_range(std::string_view name, lp_sum &s, double low, double high);
    void indicator_row(std::string_view name, const lp_sum &condition, double value);
    void bounds();
    void bound();
    void bound_from(int col, char relation, double number);
    void lower_bound(int col, double number);
    void upper_bound(int col, double number);
    void types(lp_section section);
    void sets(lp_section section);
    void begin_set(std::string_view name, char type);
    void set_member(std::string_view name);

    lp_scanner in;
    model_parts parts;
    std::unordered_map<std::string_view, int> columns;
    std::vector<size_t> place;                     // of a column's term in the current sum
    std::unordered_map<uint64_t, size_t> products; // where two columns' quadratic entry is
    std::vector<char> bounded;                     // 1: has a bound of its own, 2: a lower one
};

// Reads an optional name with its colon.
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
    auto [at, fresh] = columns.emplace(name, static_cast<int>(parts.col_names.size()));
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
    if (at >= s->index.size() || s->index[at] != col) {
        at = s->index.size();
        s->index.push_back(col);
        s->value.push_back(0);
    }
    s->value[at] += factor; // terms of one column are added
    if (!number_isfinite(s->value[at])) malformed("an infinite coefficient");
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
            in.next();
            // Not a term but a bound on the left of a row.
            if (number || !s.index.empty() || s.constant != 0 || in.token != TOKEN_RELATION)
                malformed("infinity is no term");
            s.constant = factor * VNT_INFINITY;
        } else if (number) {
            s.constant += factor;
        } else if (in.at('[')) {
            s.bracket = factor;
            return s;
        } else if (there) {
            malformed("a sign without a term");
        } else {
            return s;
        }
        if (in.token != TOKEN_SIGN) return s; // the next row may have no name
    }
}

void lp_reader::add_cost(int col, double value)
{
    parts.objective[col] += value;
    if (!number_isfinite(parts.objective[col])) malformed("an infinite cost");
}

void lp_reader::objective()
{
    parts.sense = in.section == SECTION_MAXIMIZE ? VNT_MAX : VNT_MIN;
    in.next();
    std::string_view name = label();
    if (!name.empty()) parts.objname = name;
    for (lp_sum s = sum();; s = sum()) {
        for (size_t k = 0; k < s.index.size(); k++)
            add_cost(s.index[k], s.value[k]);
        parts.offset += s.constant;
        if (s.bracket == 0) break;
        quadratic(s.bracket);
        if (in.token != TOKEN_SIGN) break;
    }
    if (std::fabs(parts.offset) >= VNT_INFINITY) malformed("an infinite constant");
}

// One term in a bracket: x ^ 2 or x * y.
lp_reader::quadratic_term lp_reader::product()
{
    quadratic_term t = {1, -1, -1};
    for (; in.token == TOKEN_SIGN; in.next())
        t.factor *= in.number;
    if (in.token == TOKEN_NUMBER) {
        t.factor *= in.number;
        in.next();
    }
    if (in.token != TOKEN_NAME) malformed("no column in a quadratic term");
    t.first = t.second = column(in.word);
    in.next();
    bool square = in.at('^');
    if (!square && !in.at('*')) malformed("neither a square nor a product");
    in.next();
    if (square ? in.token != TOKEN_NUMBER || in.number != 2 : in.token != TOKEN_NAME)
        malformed("neither a square nor a product");
    if (!square) t.second = column(in.word);
    in.next();
    return t;
}

// Reads the factor 1/2 that most files put behind the bracket.
bool lp_reader::halved()
{
    if (in.token != TOKEN_NAME || (in.word != "/2" && in.word != "/")) return false;
    bool apart = in.word == "/";
    in.next();
    if (!apart) return true;
    if (in.token != TOKEN_NUMBER || in.number != 2) malformed("a bracket is halved or left");
    in.next();
    return true;
}

// A product of two columns makes two entries of the matrix, a square one; the matrix is multiplied
// by 1/2.
void lp_reader::quadratic(double factor)
{
    in.next();
    std::vector<quadratic_term> terms;
    while (!in.at(']')) {
        terms.push_back(product());
        if (in.token != TOKEN_SIGN && !in.at(']')) malformed("a bracket does not end");
    }
    in.next();
    if (!halved()) factor *= 2;
    for (auto [value, i, j] : terms) {
        value *= factor;
        add_quadratic(std::max(i, j), std::min(i, j), i == j ? value : value / 2);
    }
}

// Terms of the same columns are added.
void lp_reader::add_quadratic(int i, int j, double value)
{
    uint64_t key = static_cast<uint64_t>(i) << 32 | static_cast<uint32_t>(j);
    auto [at, fresh] = products.emplace(key, parts.quadratic.size());
    if (fresh) parts.quadratic.push_back({i, j, 0});
    double &sum = parts.quadratic[at->second].value;
    sum += value;
    if (!number_isfinite(sum)) malformed("an infinite coefficient");
}

// A row's side without the constant of its sum.  An infinite side stays infinite.
static double side_without(double constant, double side)
{
    return std::fabs(side) >= VNT_INFINITY ? side : side - constant;
}

void lp_reader::finish_row(std::string_view name, lp_sum &s, double side, char sense)
{
    if (s.bracket != 0) {
        throw failure{VNTERR_FILE_FEATURE,
                      printed("line %d: quadratic rows are not supported", in.line)};
    }
    std::string made = "c" + std::to_string(parts.rhs.size() + 1);
    parts.add_row(sense, name.empty() ? std::string_view(made) : name);
    parts.rhs.back() = side_without(s.constant, side);
    for (size_t k = 0; k < s.index.size(); k++)
        parts.add_entry(s.index[k], s.value[k]);
}

// With an infinite side the row has the other side only.  Sides that contradict each other become
// two rows: a row of sense R would take them in ascending order.
void lp_reader::finish_range(std::string_view name, lp_sum &s, double low, double high)
{
    low = side_without(s.constant, low);
    high = side_without(s.constant, high);
    s.constant = 0;
    if (low <= -VNT_INFINITY) return finish_row(name, s, high, 'L');
    if (high >= VNT_INFINITY) return finish_row(name, s, low, 'G');
    finish_row(name, s, low, low <= high ? 'R' : 'G');
    if (low <= high) return parts.set_range(low, high);
    std::string other = parts.row_names.back() + "_upper";
    remarks += printed("line %d: row \"%.200s\" cannot hold; its upper side becomes row "
                       "\"%.200s\"\n",
                       in.line, parts.row_names.back().c_str(), other.c_str());
    finish_row(other, s, high, 'L');
}

// name: column = 0 or 1 -> row
void lp_reader::indicator_row(std::string_view name, const lp_sum &condition, double value)
{
    bool simple = condition.index.size() == 1 && condition.value[0] == 1 &&
                  condition.constant == 0 && (value == 0 || value == 1);
    if (parts.kind != model_parts::ROW) malformed("an indicator among lazy constraints or cuts");
    if (!simple) malformed("an indicator is a column that is 0 or 1");
    in.next();
    lp_sum s = sum();
    if (s.bracket != 0) malformed("an indicator's row is linear");
    char sense = relation();
    double side = needed_value() - s.constant;
    if (!number_isfinite(side)) malformed("an infinite right-hand side");
    std::string made = "i" + std::to_string(parts.indicators.size() + 1);
    parts.indicators.push_back({name.empty() ? made : std::string(name), INDICATOR_IF,
                                condition.index[0], value == 0, sense, side, s.index, s.value});
}

static char turned(char relation)
{
    return relation == 'L' ? 'G' : relation == 'G' ? 'L' : 'E';
}

// Reads a relation; fails without one.
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
    if (s.bracket != 0) return finish_row(name, s, 0, 'L');
    char first = relation();
    if (!s.index.empty()) {
        double side = needed_value();
        if (in.at('>') && first == 'E') return indicator_row(name, s, side);
        return finish_row(name, s, side, first);
    }
    double low = s.constant, high = low;
    s = sum();
    if (in.token != TOKEN_RELATION && s.index.empty()) { // no term on either side
        std::swap(low, s.constant);
        return finish_row(name, s, low, first);
    }
    if (in.token != TOKEN_RELATION) return finish_row(name, s, low, turned(first));
    if (relation() != first || first == 'E') malformed("not a row between two bounds");
    high = needed_value();
    if (first == 'G') std::swap(low, high);
    finish_range(name, s, low, high);
}

void lp_reader::rows(lp_section section)
{
    parts.kind = section == SECTION_LAZY   ? model_parts::LAZY
                 : section == SECTION_CUTS ? model_parts::CUT
                                           : model_parts::ROW;
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

// Reads the name of a column that must exist.
int lp_reader::named_column(std::string_view name)
{
    size_t before = parts.col_names.size();
    int col = column(name);
    if (parts.col_names.size() > before) {
        remarks += printed("line %d: column \"%.200s\" is neither in the objective nor in a row\n",
                           in.line, parts.col_names.back().c_str());
    }
    return col;
}

int lp_reader::known_column()
{
    if (in.token != TOKEN_NAME) malformed("no column where there must be one");
    int col = named_column(in.word);
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

// A semi-continuous integer column is listed in both sections.
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

void lp_reader::begin_set(std::string_view name, char type)
{
    std::string made = "s" + std::to_string(parts.sets.size() + 1);
    parts.sets.push_back({name.empty() ? made : std::string(name), type, {}, {}});
}

void lp_reader::set_member(std::string_view name)
{
    special_set &set = parts.sets.back();
    int col = named_column(name);
    if (std::find(set.index.begin(), set.index.end(), col) != set.index.end())
        malformed("a column twice in a set");
    set.index.push_back(col);
    set.weight.push_back(needed_value());
    if (std::fabs(set.weight.back()) >= VNT_INFINITY) malformed("an infinite weight");
}

// name: S1:: column:weight column:weight ...  In a section for one type, that need not be there.
void lp_reader::sets(lp_section section)
{
    char type = section == SECTION_SOS1 ? '1' : section == SECTION_SOS2 ? '2' : 0;
    std::string_view name;
    bool begun = false; // is there a set for the next column?
    for (in.next(); in.token != TOKEN_SECTION && in.token != TOKEN_END;) {
        if (in.token != TOKEN_NAME || !in.followed_by(':')) malformed("neither set nor column");
        std::string_view word = in.word;
        in.next();
        in.next();
        if (in.token == TOKEN_COLON) { // the second one behind the type
            std::string kind = small_letters(word);
            if (kind != "s1" && kind != "s2") malformed("a set is of type S1 or S2");
            in.next();
            begin_set(name, kind[1]);
            begun = true;
            name = {};
        } else if (in.token == TOKEN_NAME) {
            name = word;
            begun = type != 0 && !in.followed_by_two(':');
            if (begun) begin_set(name, type);
        } else {
            if (!begun) malformed("a column before its set");
            set_member(word);
        }
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
        case SECTION_ROWS:
        case SECTION_LAZY:
        case SECTION_CUTS: rows(section); break;
        case SECTION_BOUNDS: bounds(); break;
        case SECTION_GENERAL:
        case SECTION_BINARY:
        case SECTION_SEMI: types(section); break;
        case SECTION_SOS:
        case SECTION_SOS1:
        case SECTION_SOS2: sets(section); break;
        default: malformed("a second objective");
        }
    }
    if (in.token == TOKEN_END) malformed("the file ends without end");
    if (in.token != TOKEN_SECTION) malformed("something that belongs to no section");
    remarks += wide_binaries(parts);
    return parts.take();
}

model lp_read(const std::string &text, std::string *remarks)
{
    lp_reader reader(text);
    model m = reader.read();
    *remarks += reader.remarks;
    return m;
}

} // namespace vnt
