// Writing of MPS files.

#include "solver/formats/files.h"
#include "solver/formats/modelfile.h"
#include "solver/formats/mps.h"

#include <algorithm>

namespace vnt {

// Writes the lines of a model that has its lazy constraints and user cuts as rows at the end.  In
// fixed format fields begin in columns 2, 5, 15 and 25, names have up to 8 and numbers up to 12
// characters; in free format blanks separate them.
class mps_writer {
  public:
    mps_writer(const model &m, const file_names &names, bool fixed)
        : m(m), names(names), fixed(fixed)
    {
    }
    std::string write();

  private:
    void field(const std::string &text, size_t from);
    void line(const char *kind, const std::string &a, const std::string &b = "",
              const std::string &c = "");
    void value(const std::string &of, const std::string &row, double v)
    {
        line("", of, row, number_text(v));
    }
    void bound(const char *kind, int j) { line(kind, "bnd", names.cols[j]); }
    void bound(const char *kind, int j, double v)
    {
        line(kind, "bnd", names.cols[j], number_text(v));
    }

    void head();
    void row(int i);
    void rows();
    void mark(const char *kind);
    void columns();
    void column(int j);
    void sides();
    void ranges();
    void bounds(int j);
    void sets();
    void quadratic();
    void indicators();

    const model &m;
    const file_names &names;
    bool fixed;
    std::vector<std::vector<std::pair<size_t, double>>> of_indicators; // the entries of a column
    size_t start = 0;                                                  // of the line in hand
    std::string out;
};

void mps_writer::field(const std::string &text, size_t from)
{
    if (text.empty()) return;
    size_t at = out.size() - start;
    size_t pad = fixed && at < from ? from - at : at < 4 ? 4 - at : 2;
    out.append(at == 0 && from == 1 ? 1 : pad, ' ');
    out += text;
}

void mps_writer::line(const char *kind, const std::string &a, const std::string &b,
                      const std::string &c)
{
    start = out.size();
    field(kind, 1);
    field(a, 4);
    field(b, 14);
    field(c, 24);
    out += '\n';
}

static bool ends_free(const std::string &name)
{
    return name == "FREE" || name.ends_with(" FREE") || name.ends_with("\tFREE");
}

// Other readers expect fixed format unless the file declares free format.
void mps_writer::head()
{
    std::string name = one_line(m.name);
    if (fixed) {
        out += "NAME          " + name;
        if (ends_free(name)) out += '_'; // else the word would be read as the format
    } else {
        std::replace_if(
            name.begin(), name.end(), [](char c) { return c == ' ' || c == '\t'; }, '_');
        out += "NAME  " + (name.empty() ? "unnamed" : name) + "  FREE";
    }
    out += '\n';
    if (m.sense == VNT_MAX) out += "OBJSENSE\n    MAX\n";
}

void mps_writer::row(int i)
{
    // A range makes of an equation what it must be.
    char kind[] = {m.row_sense[i] == 'R' ? 'E' : m.row_sense[i], '\0'};
    line(kind, names.rows[i]);
}

void mps_writer::rows()
{
    out += "ROWS\n";
    line("N", names.objective);
    int cuts = m.numrows() - static_cast<int>(m.user_cuts.size());
    int lazy = cuts - static_cast<int>(m.lazies.size());
    for (int i = 0; i < lazy; i++)
        row(i);
    for (size_t k = 0; k < m.indicators.size(); k++) {
        char kind[] = {m.indicators[k].sense, '\0'};
        line(kind, names.indicators[k]);
    }
    for (int i = lazy; i < m.numrows(); i++) {
        if (i == lazy && lazy < cuts) out += "LAZYCONS\n";
        if (i == cuts) out += "USERCUTS\n";
        row(i);
    }
}
void mps_writer::mark(const char *kind)
{
    out += std::string("    MARKER    'MARKER'                 '") + kind + "'\n";
}

// The entries of indicators are listed with those of the rows.
void mps_writer::column(int j)
{
    matrix_view cols = m.a.by_column();
    const std::string &name = names.cols[j];
    size_t before = out.size();
    if (m.objective[j] != 0) value(name, names.objective, m.objective[j]);
    for (int64_t k = cols.begin[j]; k < cols.begin[j + 1]; k++)
        value(name, names.rows[cols.index[k]], cols.value[k]);
    for (auto [k, v] : of_indicators[j])
        value(name, names.indicators[k], v);
    // A column without entries still needs a line.
    if (out.size() == before) value(name, names.objective, 0);
}

void mps_writer::columns()
{
    out += "COLUMNS\n";
    bool integer = false;
    for (int j = 0; j < m.numcols(); j++) {
        char type = m.typed() ? m.ctype[j] : 'C';
        bool other = (type == 'I' || type == 'N') != integer;
        if (other) mark(integer ? "INTEND" : "INTORG");
        if (other) integer = !integer;
        column(j);
    }
    if (integer) mark("INTEND");
}

void mps_writer::sides()
{
    out += "RHS\n";
    if (m.offset != 0) value("rhs", names.objective, -m.offset);
    for (int i = 0; i < m.numrows(); i++) {
        if (m.rhs[i] != 0) value("rhs", names.rows[i], m.rhs[i]);
    }
    for (size_t k = 0; k < m.indicators.size(); k++) {
        if (m.indicators[k].rhs != 0) value("rhs", names.indicators[k], m.indicators[k].rhs);
    }
}

void mps_writer::ranges()
{
    if (m.row_sense.find('R') == std::string::npos) return;
    out += "RANGES\n";
    for (int i = 0; i < m.numrows(); i++) {
        if (m.row_sense[i] == 'R') value("rng", names.rows[i], m.range[i]);
    }
}

void mps_writer::bounds(int j)
{
    char type = m.typed() ? m.ctype[j] : 'C';
    double low = m.lower[j], high = m.upper[j];
    bool semi = type == 'S' || type == 'N';
    bool lower_free = low <= -VNT_INFINITY, upper_free = high >= VNT_INFINITY;
    if (type == 'B') bound("BV", j);
    if (type == 'B' && low == 0 && high == 1) return;
    // 0 would stand for no upper bound.
    if (semi) bound("SC", j, high == 0 ? VNT_INFINITY : high);
    if (low == high && !semi) return bound("FX", j, low);
    if (lower_free && upper_free && !semi) return bound("FR", j);
    // The lower bound first: an upper bound below 0 would remove the default of 0.
    if (lower_free) {
        bound("MI", j);
    } else if (low != 0 || type == 'B' || high < 0) {
        bound("LO", j, low);
    }
    if (semi && high != 0) return;
    if (!upper_free) {
        bound("UP", j, high);
    } else if (type != 'C') {
        bound("PL", j);
    }
}

void mps_writer::sets()
{
    if (!m.sets.empty()) out += "SOS\n";
    for (size_t k = 0; k < m.sets.size(); k++) {
        char kind[] = {'S', m.sets[k].type, '\0'};
        line(kind, names.sets[k]);
        for (size_t e = 0; e < m.sets[k].index.size(); e++)
            line("", names.cols[m.sets[k].index[e]], "", number_text(m.sets[k].weight[e]));
    }
}

void mps_writer::quadratic()
{
    if (!m.quadratic()) return;
    out += "QUADOBJ\n";
    matrix_view q = m.q.by_column();
    for (int j = 0; j < m.numcols(); j++) {
        for (int64_t k = q.begin[j]; k < q.begin[j + 1]; k++) {
            if (q.index[k] >= j) value(names.cols[j], names.cols[q.index[k]], q.value[k]);
        }
    }
}

void mps_writer::indicators()
{
    if (!m.indicators.empty()) out += "INDICATORS\n";
    for (size_t k = 0; k < m.indicators.size(); k++) {
        const indicator &c = m.indicators[k];
        line("IF", names.indicators[k], names.cols[c.column], c.complemented ? "0" : "1");
    }
}

std::string mps_writer::write()
{
    of_indicators.resize(m.numcols());
    for (size_t k = 0; k < m.indicators.size(); k++) {
        const indicator &c = m.indicators[k];
        for (size_t e = 0; e < c.index.size(); e++)
            of_indicators[c.index[e]].emplace_back(k, c.value[e]);
    }
    head();
    rows();
    columns();
    sides();
    ranges();
    out += "BOUNDS\n";
    for (int j = 0; j < m.numcols(); j++)
        bounds(j);
    quadratic();
    sets();
    indicators();
    return out + "ENDATA\n";
}

// Words that readers take for something else.
static bool has_meaning(const std::string &name)
{
    return name == "'MARKER'" || name == "$";
}

static bool suits_free(const std::string &name)
{
    return !has_meaning(name) && name.find_first_of(" \t") == std::string::npos;
}

static bool suits_fixed(const std::string &name)
{
    return name.size() <= 8 && name.find('\t') == std::string::npos && name.front() != ' ' &&
           name.back() != ' ' && !has_meaning(name);
}

// Could the file be read as one of free format, which the reader tries first?  There a set's name
// ends at a blank, and a column's name of three words is a column and its entry in a row.
static bool mistaken_for_free(const file_names &names)
{
    auto blanks = [](const std::string &name) { return std::count(name.begin(), name.end(), ' '); };
    return std::any_of(names.sets.begin(), names.sets.end(),
                       [&](const auto &name) { return blanks(name) > 0; }) ||
           std::any_of(names.cols.begin(), names.cols.end(),
                       [&](const auto &name) { return blanks(name) > 1; });
}

static bool number_fits(double value)
{
    return number_text(value).size() <= 12;
}

static bool numbers_fit(const double *values, int64_t count)
{
    return std::all_of(values, values + count, number_fits);
}

static bool numbers_fit(const std::vector<double> &values)
{
    return std::all_of(values.begin(), values.end(), number_fits);
}

static bool numbers_fit(const model &m)
{
    for (auto *values : {&m.objective, &m.lower, &m.upper, &m.rhs, &m.range}) {
        if (!numbers_fit(*values)) return false;
    }
    for (const special_set &s : m.sets) {
        if (!numbers_fit(s.weight)) return false;
    }
    for (const indicator &c : m.indicators) {
        if (!number_fits(c.rhs) || !numbers_fit(c.value)) return false;
    }
    return number_fits(-m.offset) && numbers_fit(m.a.by_column().value, m.a.entries()) &&
           numbers_fit(m.q.by_column().value, m.q.entries());
}

static bool all_suit_fixed(const file_names &names)
{
    for (auto *kind : {&names.rows, &names.cols, &names.sets, &names.indicators})
        for (const std::string &name : *kind)
            if (!suits_fixed(name)) return false;
    return suits_fixed(names.objective);
}

// The model's names if all suit the fixed format, else the names for the free format.  Invented
// ones may be short enough for the fixed format again.
static file_names names_for(const model &m)
{
    file_names fixed(m, suits_fixed);
    if (!fixed.made && fixed.objective == m.objname && !mistaken_for_free(fixed)) return fixed;
    return file_names(m, suits_free);
}

static std::string write_all(const model &m, bool *made)
{
    const file_names names = names_for(m);
    *made = names.made;
    return mps_writer(m, names, all_suit_fixed(names) && numbers_fit(m)).write();
}

std::string mps_write(const model &m, bool *made)
{
    bool beside = !m.lazies.empty() || !m.user_cuts.empty();
    return beside ? write_all(m.with_all_rows(), made) : write_all(m, made);
}

} // namespace vnt
