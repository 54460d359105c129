// Writing of LP files.

#include "solver/formats/files.h"
#include "solver/formats/lpformat.h"
#include "solver/formats/lpscanner.h"
#include "solver/formats/modelfile.h"

#include <cmath>

namespace vnt {

// Terms, a few on each line.
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
    void product(double value, int i, int j)
    {
        term(value, i);
        *out += i == j ? " ^ 2" : " * " + cols[j];
    }
    int count = 0;

  private:
    std::string *out;
    const std::vector<std::string> &cols;
};

static void write_quadratic(const model &m, const file_names &names, std::string *out)
{
    if (!m.quadratic()) return;
    *out += " + [";
    term_writer terms(out, names.cols);
    matrix_view q = m.q.by_column();
    for (int j = 0; j < m.numcols(); j++) {
        for (int64_t k = q.begin[j]; k < q.begin[j + 1]; k++) {
            int i = q.index[k];
            if (i <= j) terms.product(i == j ? q.value[k] : 2 * q.value[k], i, j);
        }
    }
    *out += " ] / 2";
}

// All columns, also those of cost 0: the order in which they appear here is that of the columns.
static void write_objective(const model &m, const file_names &names, std::string *out)
{
    *out += m.sense == VNT_MAX ? "maximize\n " : "minimize\n ";
    *out += names.objective + ":";
    term_writer terms(out, names.cols);
    for (int j = 0; j < m.numcols(); j++)
        terms.term(m.objective[j], j);
    write_quadratic(m, names, out);
    if (m.offset != 0) {
        *out += (m.offset < 0 ? " - " : " + ") + number_text(std::fabs(m.offset));
    }
    *out += "\n";
}

static void write_row(const model &m, const file_names &names, int i, std::string *out)
{
    static const std::string at_most = " <= ";
    *out += " " + names.rows[i] + ":";
    if (m.row_sense[i] == 'R') *out += " " + number_text(m.row_lower(i)) + " <=";
    matrix_view rows = m.a.by_row();
    term_writer terms(out, names.cols);
    for (int64_t k = rows.begin[i]; k < rows.begin[i + 1]; k++) {
        terms.term(rows.value[k], rows.index[k]);
    }
    if (terms.count == 0 && m.numcols() > 0) terms.term(0, 0);
    switch (m.row_sense[i]) {
    case 'G': *out += " >= " + number_text(m.rhs[i]); break;
    case 'E': *out += " = " + number_text(m.rhs[i]); break;
    case 'L': *out += at_most + number_text(m.rhs[i]); break;
    default: *out += at_most + number_text(m.row_upper(i));
    }
    *out += "\n";
}

static std::string bound_text(double value)
{
    if (value >= VNT_INFINITY) return "inf";
    return value <= -VNT_INFINITY ? "-inf" : number_text(value);
}

// Binary columns between other bounds are written as general ones: many readers give what is in
// the binary section the bounds 0 and 1.
static char type_of(const model &m, int j)
{
    char type = m.typed() ? m.ctype[j] : 'C';
    return type == 'B' && (m.lower[j] != 0 || m.upper[j] != 1) ? 'I' : type;
}

static void write_bound(const model &m, const file_names &names, int j, std::string *out)
{
    const std::string &name = names.cols[j];
    double low = m.lower[j], high = m.upper[j];
    bool lower_free = low <= -VNT_INFINITY, upper_free = high >= VNT_INFINITY;
    if (type_of(m, j) == 'B' || (low == 0 && upper_free)) return;
    if (lower_free && upper_free) {
        *out += " " + name + " free\n";
    } else if (low == high) {
        *out += " " + name + " = " + bound_text(low) + "\n";
    } else if (upper_free) {
        *out += " " + name + " >= " + bound_text(low) + "\n";
    } else if (low == 0 && high >= 0) { // an upper bound below 0 would remove the lower one
        *out += " " + name + " <= " + bound_text(high) + "\n";
    } else {
        *out += " " + bound_text(low) + " <= " + name + " <= " + bound_text(high) + "\n";
    }
}

static void write_types(const model &m, const file_names &names, const char *section,
                        std::string_view types, std::string *out)
{
    bool there = false;
    for (int j = 0; j < m.numcols(); j++) {
        if (types.find(type_of(m, j)) == types.npos) continue;
        if (!there) *out += std::string(section) + "\n";
        there = true;
        *out += " " + names.cols[j] + "\n";
    }
}

static void write_indicator(const indicator &c, const std::string &name, const file_names &names,
                            std::string *out)
{
    *out += " " + name + ": " + names.cols[c.column] + (c.complemented ? " = 0 ->" : " = 1 ->");
    term_writer terms(out, names.cols);
    for (size_t k = 0; k < c.index.size(); k++)
        terms.term(c.value[k], c.index[k]);
    if (terms.count == 0) terms.term(0, c.column);
    *out += c.sense == 'L' ? " <= " : c.sense == 'G' ? " >= " : " = ";
    *out += number_text(c.rhs) + "\n";
}

static void write_sets(const model &m, const file_names &names, std::string *out)
{
    if (!m.sets.empty()) *out += "sos\n";
    for (size_t k = 0; k < m.sets.size(); k++) {
        const special_set &s = m.sets[k];
        *out += " " + names.sets[k] + ": S" + s.type + "::";
        for (size_t e = 0; e < s.index.size(); e++)
            *out += " " + names.cols[s.index[e]] + ":" + number_text(s.weight[e]);
        *out += "\n";
    }
}

// `m` has lazy constraints and user cuts as rows at the end, too.
static std::string write_all(const model &m, bool *made)
{
    file_names names(m, suits_lp);
    *made = names.made;
    std::string out;
    write_objective(m, names, &out);
    out += "subject to\n";
    int cuts = m.numrows() - static_cast<int>(m.user_cuts.size());
    int lazy = cuts - static_cast<int>(m.lazies.size());
    for (int i = 0; i < lazy; i++)
        write_row(m, names, i, &out);
    for (size_t k = 0; k < m.indicators.size(); k++)
        write_indicator(m.indicators[k], names.indicators[k], names, &out);
    for (int i = lazy; i < m.numrows(); i++) {
        if (i == lazy && lazy < cuts) out += "lazy constraints\n";
        if (i == cuts) out += "user cuts\n";
        write_row(m, names, i, &out);
    }
    out += "bounds\n";
    for (int j = 0; j < m.numcols(); j++)
        write_bound(m, names, j, &out);
    write_types(m, names, "general", "IN", &out);
    write_types(m, names, "binary", "B", &out);
    write_types(m, names, "semi-continuous", "SN", &out);
    write_sets(m, names, &out);
    return out + "end\n";
}

std::string lp_write(const model &m, bool *made)
{
    bool beside = !m.lazies.empty() || !m.user_cuts.empty();
    return beside ? write_all(m.with_all_rows(), made) : write_all(m, made);
}

} // namespace vnt
