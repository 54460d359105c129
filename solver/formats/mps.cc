#include "solver/formats/mps.h"

#include "solver/formats/files.h"
#include "solver/formats/modelfile.h"

#include <algorithm>
#include <cmath>
#include <unordered_map>

namespace vnt {

using words = line_words;

// Values of a row's index for names that are not rows of the model.
enum : int { OBJECTIVE_ROW = -1, LEFT_OUT_ROW = -2 };

class mps_reader {
  public:
    mps_reader(const std::string &text, bool fixed) : lines(text), fixed(fixed) {}
    model read();
    std::string remarks;

  private:
    void header(std::string_view line);
    void data(const words &w);
    words fixed_fields(std::string_view line) const;
    words split(std::string_view line) const;

    void add_row(const words &w);
    void add_column_line(const words &w);
    void marker(std::string_view kind);
    void start_column(std::string_view name);
    void add_entry(std::string_view row, std::string_view value);
    void set_sense(std::string_view word);
    void add_rhs(std::string_view row, double value);
    void add_range(std::string_view row, double value);
    void add_bound(const words &w);
    void add_set_line(const words &w);
    void add_set_member(std::string_view name, std::string_view weight);
    void add_quadratic(const words &w);
    void add_indicator(const words &w);
    bool first_vector(std::string_view name);
    void take_indicators(model *m);
    void set_bound(std::string_view kind, int col, double value);
    void set_upper(int col, double value);
    template <class add> void pairs(const words &w, const add &one);

    double number(std::string_view word) const;
    int row_of(std::string_view name) const;
    int column_of(std::string_view name) const;

    line_reader lines;
    bool fixed;
    std::string_view section;
    std::string_view vector; // the first one of the section, the only one that counts
    bool others_said = false;
    bool ended = false;
    bool integer = false; // between the markers
    std::unordered_map<std::string_view, int> rows, columns;
    std::string_view objective, objective_wanted;
    std::vector<char> bounded; // has the column a bound of its own?  2: a lower one
    std::vector<int> entered;  // the column that last had an entry in the row; objective last
    std::unordered_map<uint64_t, double> quadratic;    // by column and row, as it stands there
    bool quadratic_whole = false;                      // are both triangles there?
    std::vector<std::pair<int, indicator>> conditions; // by row
    model_parts parts;
};

double mps_reader::number(std::string_view word) const
{
    double value;
    if (!number_read(word, &value)) {
        file_malformed(lines.number(), "\"%.*s\" is no number",
                       int(std::min<size_t>(word.size(), 80)), word.data());
    }
    return value;
}

[[noreturn]] static void unknown(int line, const char *what, std::string_view name)
{
    file_malformed(line, "there is no %s \"%.*s\"", what, int(std::min<size_t>(name.size(), 200)),
                   name.data());
}

int mps_reader::row_of(std::string_view name) const
{
    auto found = rows.find(name);
    if (found == rows.end()) unknown(lines.number(), "row", name);
    return found->second;
}

int mps_reader::column_of(std::string_view name) const
{
    auto found = columns.find(name);
    if (found == columns.end()) unknown(lines.number(), "column", name);
    return found->second;
}

// The fields of a fixed-format line at their columns, without the empty ones.  The gaps between
// them must be blank; otherwise the line is in another format and the fields would be cut.
words mps_reader::fixed_fields(std::string_view line) const
{
    static constexpr struct {
        size_t from, to;
    } fields[] = {{1, 3}, {4, 12}, {14, 22}, {24, 36}, {39, 47}, {49, 61}};
    words w;
    size_t end = 0;
    for (auto [from, to] : fields) {
        if (line.substr(0, from).find_first_not_of(' ', end) != line.npos)
            file_malformed(lines.number(), "something between the fields");
        if (from >= line.size()) break;
        end = to;
        std::string_view field = line.substr(from, to - from);
        size_t first = field.find_first_not_of(' ');
        if (first == field.npos) continue;
        w.add(field.substr(first, field.find_last_not_of(' ') - first + 1));
    }
    return w;
}

// A lone dollar behind the first two words begins a comment.
words mps_reader::split(std::string_view line) const
{
    words w = fixed ? fixed_fields(line) : words_of(line);
    for (size_t k = 2; k < std::min(w.size(), words::most); k++) {
        if (w[k] == "$") w.count = k;
    }
    return w;
}

static bool among(std::string_view word, std::initializer_list<std::string_view> list)
{
    return std::find(list.begin(), list.end(), word) != list.end();
}

// NAME name FREE: the file declares that it is in free format.
static std::string_view without_free(std::string_view name)
{
    size_t end = name.find_last_not_of(" \t");
    name = name.substr(0, end == name.npos ? 0 : end + 1);
    size_t cut = name.size() < 5 ? 0 : name.size() - 5;
    return name.substr(cut) == " FREE" ? name.substr(0, name.find_last_not_of(' ', cut) + 1) : name;
}

// A section's first line.
void mps_reader::header(std::string_view line)
{
    words w = words_of(line);
    section = w[0];
    vector = {};
    others_said = false;
    if (section == "NAME") {
        size_t at = line.find_first_not_of(" \t", 4);
        if (at != line.npos) parts.name = without_free(line.substr(at));
    } else if (section == "ENDATA") {
        ended = true;
    } else if (section == "OBJSENSE" || section == "OBJNAME") {
        if (w.size() > 1) data(words_of(w[1]));
    } else if (section == "COLUMNS") {
        entered.assign(parts.row_names.size() + 1, -1);
    } else if (section == "ROWS") {
        if (parts.kind != model_parts::ROW) file_malformed(lines.number(), "ROWS come first");
    } else if (section == "LAZYCONS") {
        parts.kind = model_parts::LAZY;
    } else if (section == "USERCUTS") {
        parts.kind = model_parts::CUT;
    } else if (!among(section, {"RHS", "RANGES", "BOUNDS", "SOS", "SOS1", "SOS2", "QUADOBJ",
                                "QSECTION", "QMATRIX", "INDICATORS"})) {
        bool feature = among(section, {"QCMATRIX", "CSECTION", "SETS"});
        throw failure{feature ? VNTERR_FILE_FEATURE : VNTERR_FILE_FORMAT,
                      printed("line %d: section %.*s is not supported", lines.number(),
                              int(std::min<size_t>(section.size(), 80)), section.data())};
    }
}

// Does the line belong to the first right-hand side, ranges or bounds of the file?
bool mps_reader::first_vector(std::string_view name)
{
    if (vector.empty()) vector = name;
    if (name.empty() || name == vector) return true;
    if (!others_said) {
        remarks +=
            printed("line %d: only the first vector in section %.*s counts\n", lines.number(),
                    int(std::min<size_t>(section.size(), 80)), section.data());
    }
    others_said = true;
    return false;
}

void mps_reader::data(const words &w)
{
    if (among(section, {"ROWS", "LAZYCONS", "USERCUTS"})) {
        add_row(w);
    } else if (section == "COLUMNS") {
        add_column_line(w);
    } else if (section == "RHS") {
        pairs(w, [this](auto row, double value) { add_rhs(row, value); });
    } else if (section == "RANGES") {
        pairs(w, [this](auto row, double value) { add_range(row, value); });
    } else if (section == "BOUNDS") {
        add_bound(w);
    } else if (section == "OBJSENSE") {
        set_sense(w[0]);
    } else if (section == "OBJNAME") {
        objective_wanted = w[0];
    } else if (section.substr(0, 3) == "SOS") {
        add_set_line(w);
    } else if (section.substr(0, 1) == "Q") {
        add_quadratic(w);
    } else if (section == "INDICATORS") {
        add_indicator(w);
    } else {
        file_malformed(lines.number(), "data outside of a section");
    }
}

void mps_reader::set_sense(std::string_view word)
{
    std::string_view start = word.substr(0, 3);
    if (start == "MAX" || start == "max" || start == "Max") {
        parts.sense = VNT_MAX;
    } else if (start != "MIN" && start != "min" && start != "Min") {
        file_malformed(lines.number(), "neither MIN nor MAX");
    }
}

void mps_reader::add_row(const words &w)
{
    if (w.size() != 2 || w[0].size() != 1) file_malformed(lines.number(), "no row type and name");
    char type = static_cast<char>(toupper(w[0][0]));
    if (std::string_view("NLEG").find(type) == std::string_view::npos) {
        file_malformed(lines.number(), "row type %c is not N, L, E or G", type);
    }
    int place = static_cast<int>(parts.row_names.size());
    if (type == 'N' && parts.kind != model_parts::ROW)
        file_malformed(lines.number(), "a lazy constraint or user cut of type N");
    if (type == 'N') {
        bool chosen = objective_wanted.empty() ? objective.empty() : w[1] == objective_wanted;
        if (chosen) objective = w[1];
        if (!chosen) {
            remarks += printed("line %d: free row \"%.*s\" is left out\n", lines.number(),
                               int(std::min<size_t>(w[1].size(), 200)), w[1].data());
        }
        place = chosen ? OBJECTIVE_ROW : LEFT_OUT_ROW;
    }
    if (!rows.emplace(w[1], place).second) file_malformed(lines.number(), "the row is there twice");
    if (type != 'N') parts.add_row(type, w[1]);
}

void mps_reader::marker(std::string_view kind)
{
    if (kind == "'INTORG'") {
        integer = true;
    } else if (kind == "'INTEND'") {
        integer = false;
    } else {
        file_malformed(lines.number(), "unknown marker");
    }
}

void mps_reader::start_column(std::string_view name)
{
    int col = static_cast<int>(parts.col_names.size());
    if (col > 0 && parts.col_names.back() == name) return;
    if (!columns.emplace(name, col).second) {
        file_malformed(lines.number(), "the column's entries are not together");
    }
    parts.add_column(name, integer ? 'I' : 'C');
    bounded.push_back(0);
}

void mps_reader::add_entry(std::string_view row, std::string_view word)
{
    int i = row_of(row), col = static_cast<int>(parts.col_names.size()) - 1;
    double value = number(word);
    if (!number_isfinite(value)) file_malformed(lines.number(), "an infinite coefficient");
    if (i == LEFT_OUT_ROW) return;
    int &last = i == OBJECTIVE_ROW ? entered.back() : entered[i];
    if (last == col) file_malformed(lines.number(), "the same row twice in a column");
    last = col;
    if (i == OBJECTIVE_ROW) {
        parts.objective[col] = value;
    } else {
        parts.add_entry(i, value);
    }
}

void mps_reader::add_column_line(const words &w)
{
    if (w.size() == 3 && w[1] == "'MARKER'") return marker(w[2]);
    if (w.size() != 3 && w.size() != 5) {
        file_malformed(lines.number(), "no column name with one or two pairs of row and value");
    }
    start_column(w[0]);
    for (size_t k = 1; k + 1 < w.size(); k += 2)
        add_entry(w[k], w[k + 1]);
}

// One or two pairs of row and number, after the name of the vector where there is one.
template <class add> void mps_reader::pairs(const words &w, const add &one)
{
    if (w.size() < 2 || w.size() > 5) {
        file_malformed(lines.number(), "no pairs of row and value");
    }
    size_t first = w.size() % 2;
    if (!first_vector(first == 1 ? w[0] : std::string_view())) return;
    for (size_t k = first; k + 1 < w.size(); k += 2)
        one(w[k], number(w[k + 1]));
}

void mps_reader::add_rhs(std::string_view row, double value)
{
    int i = row_of(row);
    if (i == OBJECTIVE_ROW) {
        if (!number_isfinite(value)) file_malformed(lines.number(), "an infinite constant");
        parts.offset = -value;
    } else if (i >= 0) {
        parts.rhs[i] = value;
    }
}

// The range reaches from the right-hand side to the side that the row leaves open.  In an
// equation the sign tells where to.
void mps_reader::add_range(std::string_view row, double value)
{
    int i = row_of(row);
    if (i < 0) return;
    if (parts.row_sense[i] == 'R') file_malformed(lines.number(), "a second range of the row");
    if (parts.row_sense[i] == 'L') value = -std::fabs(value);
    if (parts.row_sense[i] == 'G') value = std::fabs(value);
    parts.row_sense[i] = 'R';
    parts.range[i] = value;
}

void mps_reader::add_bound(const words &w)
{
    static constexpr std::string_view alone[] = {"FR", "MI", "PL", "BV"};
    bool valued = std::find(std::begin(alone), std::end(alone), w[0]) == std::end(alone);
    // The name of the vector may be missing, and a value may follow where none is asked for.  The
    // bound of a semi-continuous column may be missing.
    if (w[0] == "SC") {
        double value;
        valued = w.size() == 4 ||
                 (w.size() == 3 && number_read(w[2], &value) && columns.count(w[2]) == 0);
    }
    size_t least = valued ? 3 : 2;
    if (w.size() < least || w.size() > 4) file_malformed(lines.number(), "not a bound");
    bool vector = w.size() == 4 || (!valued && w.size() == 3 && columns.count(w[2]) > 0);
    int col = column_of(w[vector ? 2 : 1]);
    if (!first_vector(vector ? w[1] : std::string_view())) return;
    set_bound(w[0], col, valued ? number(w[w.size() - 1]) : 0);
}

void mps_reader::set_upper(int col, double value)
{
    parts.upper[col] = value;
    if (value < 0 && bounded[col] != 2 && parts.lower[col] == 0) {
        parts.lower[col] = -VNT_INFINITY;
        remarks += printed("line %d: an upper bound below 0 takes the lower bound of 0 away\n",
                           lines.number());
    }
}

void mps_reader::set_bound(std::string_view kind, int col, double value)
{
    if (!bounded[col]) bounded[col] = 1;
    if (kind == "LI" || kind == "UI") {
        parts.ctype[col] = 'I';
        kind = kind == "LI" ? "LO" : "UP";
    }
    if (kind == "UP") {
        set_upper(col, value);
    } else if (kind == "LO") {
        parts.lower[col] = value;
        bounded[col] = 2;
    } else if (kind == "FX") {
        parts.lower[col] = parts.upper[col] = value;
        bounded[col] = 2;
    } else if (kind == "FR") {
        parts.lower[col] = -VNT_INFINITY;
        parts.upper[col] = VNT_INFINITY;
    } else if (kind == "MI") {
        parts.lower[col] = -VNT_INFINITY;
        bounded[col] = 2;
    } else if (kind == "PL") {
        parts.upper[col] = VNT_INFINITY;
    } else if (kind == "BV") {
        parts.ctype[col] = 'B';
        parts.lower[col] = 0;
        parts.upper[col] = 1;
    } else if (kind == "SC") {
        // By convention a missing value, or 0, means no upper bound.
        parts.ctype[col] = parts.ctype[col] == 'C' ? 'S' : 'N';
        parts.upper[col] = value == 0 ? VNT_INFINITY : value;
    } else {
        file_malformed(lines.number(), "unknown kind of bound");
    }
}

void mps_reader::add_set_member(std::string_view name, std::string_view weight)
{
    if (parts.sets.empty()) file_malformed(lines.number(), "a column before its set");
    special_set &set = parts.sets.back();
    int col = column_of(name);
    if (std::find(set.index.begin(), set.index.end(), col) != set.index.end())
        file_malformed(lines.number(), "a column twice in a set");
    double value = number(weight);
    if (std::fabs(value) >= VNT_INFINITY) file_malformed(lines.number(), "an infinite weight");
    set.index.push_back(col);
    set.weight.push_back(value);
}

// S1 name, where "SOS" may stand in between and a priority, which is not used, behind; and then
// column and weight on lines of their own, where "SOS" may stand in front.
void mps_reader::add_set_line(const words &w)
{
    size_t more = w.size() > 2 && w[w[0] == "SOS" ? 0 : 1] == "SOS" ? 1 : 0;
    if (w[0] != "S1" && w[0] != "S2") {
        if (w.size() != 2 + more) file_malformed(lines.number(), "no column and weight of a set");
        return add_set_member(w[more], w[more + 1]);
    }
    double weight;
    if (w.size() == 2 && columns.count(w[0]) > 0 && !parts.sets.empty() &&
        number_read(w[1], &weight))
        return add_set_member(w[0], w[1]); // a column with the name of a type
    std::string name = w.size() > 1 + more ? std::string(w[1 + more])
                                           : "s" + std::to_string(parts.sets.size() + 1);
    parts.sets.push_back({name, w[0][1], {}, {}});
}

// QUADOBJ and QSECTION hold one triangle of the matrix, QMATRIX both.
void mps_reader::add_quadratic(const words &w)
{
    if (w.size() != 3) file_malformed(lines.number(), "not two columns and a number");
    int i = column_of(w[0]), j = column_of(w[1]);
    double value = number(w[2]);
    if (!number_isfinite(value)) file_malformed(lines.number(), "an infinite coefficient");
    bool whole = quadratic_whole = section == "QMATRIX";
    if (!whole && i < j) std::swap(i, j);
    uint64_t key = static_cast<uint64_t>(i) << 32 | static_cast<uint32_t>(j);
    if (!quadratic.emplace(key, value).second) file_malformed(lines.number(), "an entry twice");
    if (!whole || i >= j) parts.quadratic.push_back({i, j, value});
}

// IF row column value
void mps_reader::add_indicator(const words &w)
{
    if (w.size() != 4 || w[0] != "IF" || (w[3] != "0" && w[3] != "1"))
        file_malformed(lines.number(), "not IF, a row, a column and 0 or 1");
    int i = row_of(w[1]);
    if (i < 0) file_malformed(lines.number(), "a free row cannot depend on an indicator");
    if (parts.row_kind[i] != model_parts::ROW)
        file_malformed(lines.number(), "a lazy constraint or user cut cannot depend on one");
    indicator c = {};
    c.type = INDICATOR_IF;
    c.column = column_of(w[2]);
    c.complemented = w[3] == "0";
    conditions.emplace_back(i, std::move(c));
}

// Turns the rows named in INDICATORS into indicator constraints.
void mps_reader::take_indicators(model *m)
{
    if (conditions.empty()) return;
    std::vector<int> place(m->numrows(), 0);
    matrix_view rows = m->a.by_row();
    for (auto &[i, c] : conditions) {
        if (place[i] < 0) file_malformed(lines.number(), "two indicators of one row");
        if (m->row_sense[i] == 'R') file_malformed(lines.number(), "an indicator of a range");
        if (std::fabs(m->rhs[i]) >= VNT_INFINITY)
            file_malformed(lines.number(), "an indicator of a free row");
        place[i] = -1;
        c.name = m->row_names.at(i);
        c.sense = m->row_sense[i];
        c.rhs = m->rhs[i];
        c.index.assign(rows.index + rows.begin[i], rows.index + rows.begin[i + 1]);
        c.value.assign(rows.value + rows.begin[i], rows.value + rows.begin[i + 1]);
        m->indicators.push_back(std::move(c));
    }
    int left = 0;
    for (int &p : place)
        p = p < 0 ? -1 : left++;
    m->keep_rows(place, left);
    m->make_discrete();
}

// Whether both triangles of a QMATRIX agree.
static bool symmetric(const std::unordered_map<uint64_t, double> &entries)
{
    return std::all_of(entries.begin(), entries.end(), [&](const auto &e) {
        auto mirror = entries.find(e.first << 32 | e.first >> 32);
        return mirror != entries.end() && mirror->second == e.second;
    });
}

model mps_reader::read()
{
    std::string_view line;
    while (!ended && lines.next(&line)) {
        if (line.empty() || line[0] == '*' || line[0] == '$') continue;
        if (line[0] != ' ' && line[0] != '\t') {
            header(line);
        } else if (words w = split(line); !w.empty()) {
            data(w);
        }
    }
    if (!ended) file_malformed(lines.number(), "the file ends without ENDATA");
    for (size_t j = 0; j < bounded.size(); j++) {
        if (!bounded[j] && parts.ctype[j] == 'I') parts.upper[j] = 1;
    }
    if (quadratic_whole && !symmetric(quadratic))
        file_malformed(lines.number(), "the quadratic matrix is not symmetric");
    if (!objective.empty()) parts.objname = objective;
    remarks += wide_binaries(parts);
    model m = parts.take();
    take_indicators(&m);
    return m;
}

model mps_read(const std::string &text, std::string *remarks)
{
    mps_reader reader(text, false);
    try {
        model m = reader.read();
        *remarks += reader.remarks;
        return m;
    } catch (const failure &first) {
        if (first.status != VNTERR_FILE_FORMAT) throw;
        // Names with blanks make sense in fixed format only.
        try {
            mps_reader again(text, true);
            model m = again.read();
            *remarks += again.remarks;
            return m;
        } catch (const failure &) {
        }
        throw;
    }
}

} // namespace vnt
