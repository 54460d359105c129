#include "solver/formats/mps.h"

#include "solver/formats/files.h"
#include "solver/formats/modelfile.h"

#include <algorithm>
#include <cmath>
#include <unordered_map>

namespace vnt {

using words = line_words;

// Where a row name leads that is no row of the model.
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
    void set_bound(std::string_view kind, int col, double value);
    void set_upper(int col, double value);
    template <class add> void pairs(const words &w, const add &one);

    double number(std::string_view word) const;
    int row_of(std::string_view name) const;
    int column_of(std::string_view name) const;

    line_reader lines;
    bool fixed;
    std::string_view section;
    bool ended = false;
    bool integer = false; // between the markers
    std::unordered_map<std::string_view, int> rows, columns;
    std::string_view objective, objective_wanted;
    std::vector<char> bounded; // has the column a bound of its own?  2: a lower one
    std::vector<int> entered;  // the column that last had an entry in the row; objective last
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

// The fields of a fixed-format line, each where it must stand; empty ones are left out.  What is
// between them must be blank: in a line that is not of this format, fields would be cut.
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

words mps_reader::split(std::string_view line) const
{
    return fixed ? fixed_fields(line) : words_of(line);
}

// A section's first line.
void mps_reader::header(std::string_view line)
{
    words w = words_of(line);
    section = w[0];
    if (section == "NAME") {
        size_t at = line.find_first_not_of(" \t", 4);
        if (at != line.npos) parts.name = line.substr(at, line.find_last_not_of(" \t") - at + 1);
    } else if (section == "ENDATA") {
        ended = true;
    } else if (section == "OBJSENSE" || section == "OBJNAME") {
        if (w.size() > 1) data(words_of(w[1]));
    } else if (section == "COLUMNS") {
        entered.assign(parts.rownames.size() + 1, -1);
    } else if (section != "ROWS" && section != "RHS" && section != "RANGES" &&
               section != "BOUNDS") {
        static constexpr std::string_view known[] = {
            "QUADOBJ", "QMATRIX", "QSECTION", "QCMATRIX",   "CSECTION", "SOS",
            "SOS1",    "SOS2",    "SETS",     "INDICATORS", "LAZYCONS", "USERCUTS"};
        bool feature = std::find(std::begin(known), std::end(known), section) != std::end(known);
        throw failure{feature ? VNTERR_FILE_FEATURE : VNTERR_FILE_FORMAT,
                      printed("line %d: section %.*s is not supported", lines.number(),
                              int(std::min<size_t>(section.size(), 80)), section.data())};
    }
}

void mps_reader::data(const words &w)
{
    if (section == "ROWS") {
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
        file_malformed(lines.number(), "row type %c is none of N, L, E and G", type);
    }
    int place = static_cast<int>(parts.rownames.size());
    if (type == 'N') {
        bool chosen = objective_wanted.empty() ? objective.empty() : w[1] == objective_wanted;
        if (chosen) objective = w[1];
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
    int col = static_cast<int>(parts.colnames.size());
    if (col > 0 && parts.colnames.back() == name) return;
    if (!columns.emplace(name, col).second) {
        file_malformed(lines.number(), "the column's entries are not together");
    }
    parts.add_column(name, integer ? 'I' : 'C');
    bounded.push_back(0);
}

void mps_reader::add_entry(std::string_view row, std::string_view word)
{
    int i = row_of(row), col = static_cast<int>(parts.colnames.size()) - 1;
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
    for (size_t k = w.size() % 2; k + 1 < w.size(); k += 2)
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
    if (parts.rowsense[i] == 'R') file_malformed(lines.number(), "a second range of the row");
    if (parts.rowsense[i] == 'L') value = -std::fabs(value);
    if (parts.rowsense[i] == 'G') value = std::fabs(value);
    parts.rowsense[i] = 'R';
    parts.range[i] = value;
}

void mps_reader::add_bound(const words &w)
{
    static constexpr std::string_view alone[] = {"FR", "MI", "PL", "BV"};
    bool valued = std::find(std::begin(alone), std::end(alone), w[0]) == std::end(alone);
    // The name of the vector may be missing, and a value may follow where none is asked for.
    size_t least = valued ? 3 : 2;
    if (w.size() < least || w.size() > 4) file_malformed(lines.number(), "not a bound");
    bool vector = w.size() == 4 || (!valued && w.size() == 3 && columns.count(w[2]) > 0);
    int col = column_of(w[vector ? 2 : 1]);
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
        parts.ctype[col] = parts.ctype[col] == 'C' ? 'S' : 'N';
        parts.upper[col] = value;
    } else {
        file_malformed(lines.number(), "unknown kind of bound");
    }
}

model mps_reader::read()
{
    std::string_view line;
    while (!ended && lines.next(&line)) {
        if (line.empty() || line[0] == '*') continue;
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
    if (!objective.empty()) parts.objname = objective;
    return parts.take();
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

// Writing.

static std::string line_of(const char *kind, const std::string &name, const std::string &what)
{
    return std::string(" ") + kind + " " + name + " " + what + "\n";
}

// `of` names what stands at the front of each line.
static void write_value(const std::string &of, const std::string &row, double value,
                        std::string *out)
{
    *out += "    ";
    *out += of;
    *out += "  ";
    *out += row;
    *out += "  ";
    append_number(value, out);
    *out += '\n';
}

static void write_rows(const model &m, const file_names &names, std::string *out)
{
    *out += "ROWS\n N  " + names.objective + "\n";
    for (int i = 0; i < m.numrows(); i++) {
        // A range makes of an equation what it must be.
        *out += std::string(" ") + (m.rowsense[i] == 'R' ? 'E' : m.rowsense[i]) + "  " +
                names.rows[i] + "\n";
    }
}

static void write_columns(const model &m, const file_names &names, std::string *out)
{
    *out += "COLUMNS\n";
    matrix_view cols = m.a.by_column();
    bool integer = false;
    auto mark = [&](const char *kind) {
        *out += std::string("    MARKER  'MARKER'  '") + kind + "'\n";
        integer = !integer;
    };
    for (int j = 0; j < m.numcols(); j++) {
        char type = m.type == VNT_PROB_LP ? 'C' : m.ctype[j];
        if ((type == 'I' || type == 'N') != integer) mark(integer ? "INTEND" : "INTORG");
        // A column without entries still needs a line.
        if (m.objective[j] != 0 || cols.begin[j] == cols.begin[j + 1]) {
            write_value(names.cols[j], names.objective, m.objective[j], out);
        }
        for (int64_t k = cols.begin[j]; k < cols.begin[j + 1]; k++) {
            write_value(names.cols[j], names.rows[cols.index[k]], cols.value[k], out);
        }
    }
    if (integer) mark("INTEND");
}

static void write_rhs(const model &m, const file_names &names, std::string *out)
{
    *out += "RHS\n";
    if (m.offset != 0) write_value("rhs", names.objective, -m.offset, out);
    for (int i = 0; i < m.numrows(); i++) {
        if (m.rhs[i] != 0) write_value("rhs", names.rows[i], m.rhs[i], out);
    }
    if (m.rowsense.find('R') == std::string::npos) return;
    *out += "RANGES\n";
    for (int i = 0; i < m.numrows(); i++) {
        if (m.rowsense[i] == 'R') write_value("rng", names.rows[i], m.range[i], out);
    }
}

static void write_bounds_of(char type, double low, double high, const std::string &name,
                            std::string *out)
{
    bool semi = type == 'S' || type == 'N';
    if (type == 'B') {
        *out += line_of("BV", "bnd", name);
        if (low == 0 && high == 1) return;
    }
    if (semi) *out += line_of("SC", "bnd", name + " " + number_text(high));
    if (low == high && !semi) {
        *out += line_of("FX", "bnd", name + " " + number_text(low));
        return;
    }
    bool lower_free = low <= -VNT_INFINITY, upper_free = high >= VNT_INFINITY;
    if (lower_free && upper_free && !semi) {
        *out += line_of("FR", "bnd", name);
        return;
    }
    // The lower bound first: an upper one below 0 would take the default away.
    if (lower_free) {
        *out += line_of("MI", "bnd", name);
    } else if (low != 0 || type == 'B' || high < 0) {
        *out += line_of("LO", "bnd", name + " " + number_text(low));
    }
    if (semi) return;
    if (!upper_free) {
        *out += line_of("UP", "bnd", name + " " + number_text(high));
    } else if (type != 'C') {
        *out += line_of("PL", "bnd", name);
    }
}

std::string mps_write(const model &m, bool *made)
{
    file_names names(m, [](const std::string &name) { return name != "'MARKER'"; });
    *made = names.made;
    std::string out = "NAME  " + one_line(m.name) + "\n";
    if (m.sense == VNT_MAX) out += "OBJSENSE\n    MAX\n";
    write_rows(m, names, &out);
    write_columns(m, names, &out);
    write_rhs(m, names, &out);
    out += "BOUNDS\n";
    for (int j = 0; j < m.numcols(); j++) {
        char type = m.type == VNT_PROB_LP ? 'C' : m.ctype[j];
        write_bounds_of(type, m.lower[j], m.upper[j], names.cols[j], &out);
    }
    return out + "ENDATA\n";
}

} // namespace vnt
