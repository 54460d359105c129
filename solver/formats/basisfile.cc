#include "solver/formats/basisfile.h"

#include "solver/formats/listfile.h"

namespace vnt {

std::string basis_write(const vntlp &p)
{
    const model &m = p.m;
    std::string out = "NAME  " + one_line(m.name) + "\n";
    int row = 0; // the next that may be nonbasic: there are as many as basic columns
    for (int j = 0; j < m.numcols(); j++) {
        if (p.cstat[j] == VNT_BASIS_UPPER) out += " UL  " + listed_name(m.col_names, j) + "\n";
        if (p.cstat[j] != VNT_BASIS_BASIC) continue;
        while (row < m.numrows() && p.rstat[row] == VNT_BASIS_BASIC)
            row++;
        if (row == m.numrows()) break;
        const char *kind = p.rstat[row] == VNT_BASIS_UPPER ? " XU  " : " XL  ";
        out += kind + listed_name(m.col_names, j) + "  " + listed_name(m.row_names, row++) + "\n";
    }
    return out + "ENDATA\n";
}

static int place_of(const name_list &names, std::string_view name)
{
    return names.find(std::string(name));
}

static int place_in(const name_list &names, std::string_view name, int line)
{
    int i = place_of(names, name);
    if (i < 0) {
        file_malformed(line, "nothing is called \"%.*s\"", int(std::min<size_t>(name.size(), 200)),
                       name.data());
    }
    return i;
}

// The column and the row of a pair, whose names may hold blanks: the first blank with a column on
// its left and a row on its right separates them.  The time for that grows with the square of the
// line's length, so that a very long line is taken as two words.
static std::pair<int, int> pair_in(const vntlp &p, std::string_view names, int line)
{
    static constexpr size_t very_long = 10000;
    size_t first = names.size() < very_long ? names.find(' ') : names.npos;
    for (size_t at = first; at != names.npos; at = names.find(' ', at + 1)) {
        int col = place_of(p.m.col_names, names.substr(0, at));
        if (col < 0) continue;
        int row = place_of(p.m.row_names, names.substr(names.find_first_not_of(' ', at)));
        if (row >= 0) return {col, row};
    }
    line_words w = words_of(names);
    if (w.size() < 2) file_malformed(line, "a name is missing");
    return {place_in(p.m.col_names, w[0], line), place_in(p.m.row_names, w[1], line)};
}

static void read_line(const vntlp &p, std::string_view kind, std::string_view names, int line,
                      std::vector<int> &cols, std::vector<int> &rows)
{
    bool pair = kind == "XU" || kind == "XL";
    if (!pair && kind != "UL" && kind != "LL") file_malformed(line, "not a line of a basis");
    if (names.empty()) file_malformed(line, "a name is missing");
    if (!pair) {
        int col = place_of(p.m.col_names, names);
        if (col < 0) col = place_in(p.m.col_names, words_of(names)[0], line);
        cols[col] = kind == "UL" ? VNT_BASIS_UPPER : VNT_BASIS_LOWER;
        return;
    }
    auto [col, row] = pair_in(p, names, line);
    if (cols[col] == VNT_BASIS_BASIC || rows[row] != VNT_BASIS_BASIC) {
        file_malformed(line, "the column or the row was there before");
    }
    cols[col] = VNT_BASIS_BASIC;
    rows[row] = kind == "XU" ? VNT_BASIS_UPPER : VNT_BASIS_LOWER;
}

// The rest of the line behind a word of it, without the blanks at its ends.
static std::string_view behind(std::string_view line, std::string_view word)
{
    line.remove_prefix(word.end() - line.begin());
    size_t first = line.find_first_not_of(" \t"), last = line.find_last_not_of(" \t");
    return first == line.npos ? "" : line.substr(first, last - first + 1);
}

void basis_read(vntlp &p, const std::string &text)
{
    std::vector<int> cols(p.m.numcols()), rows(p.m.numrows(), VNT_BASIS_BASIC);
    for (int j = 0; j < p.m.numcols(); j++)
        cols[j] = p.nonbasic_status(j);
    line_reader lines(text);
    std::string_view line;
    bool ended = false;
    while (!ended && lines.next(&line)) {
        auto w = words_of(line);
        if (w.empty() || line[0] == '*' || w[0] == "NAME") continue;
        ended = w[0] == "ENDATA";
        if (!ended) read_line(p, w[0], behind(line, w[0]), lines.number(), cols, rows);
    }
    if (!ended) file_malformed(lines.number(), "the file ends without ENDATA");
    p.set_basis(std::move(cols), std::move(rows));
}

} // namespace vnt
