#include "solver/formats/basisfile.h"

#include "solver/formats/files.h"

namespace vnt {

std::string basis_write(const vntlp &p)
{
    const model &m = p.m;
    std::string out = "NAME  " + one_line(m.name) + "\n";
    int row = 0; // the next that may be nonbasic: there are as many as basic columns
    for (int j = 0; j < m.numcols(); j++) {
        if (p.cstat[j] == VNT_BASIS_UPPER) out += " UL  " + m.col_names.at(j) + "\n";
        if (p.cstat[j] != VNT_BASIS_BASIC) continue;
        while (row < m.numrows() && p.rstat[row] == VNT_BASIS_BASIC)
            row++;
        if (row == m.numrows()) break;
        const char *kind = p.rstat[row] == VNT_BASIS_UPPER ? " XU  " : " XL  ";
        out += kind + m.col_names.at(j) + "  " + m.row_names.at(row++) + "\n";
    }
    return out + "ENDATA\n";
}

static int place_in(const name_list &names, std::string_view name, int line)
{
    int i = names.find(std::string(name));
    if (i < 0) {
        file_malformed(line, "nothing is called \"%.*s\"", int(std::min<size_t>(name.size(), 200)),
                       name.data());
    }
    return i;
}

static void read_line(const vntlp &p, const line_words &w, int line, std::vector<int> &cols,
                      std::vector<int> &rows)
{
    bool pair = w[0] == "XU" || w[0] == "XL";
    if (!pair && w[0] != "UL" && w[0] != "LL") file_malformed(line, "not a line of a basis");
    if (w.size() < (pair ? 3 : 2)) file_malformed(line, "a name is missing");
    int col = place_in(p.m.col_names, w[1], line);
    if (!pair) {
        cols[col] = w[0] == "UL" ? VNT_BASIS_UPPER : VNT_BASIS_LOWER;
        return;
    }
    int row = place_in(p.m.row_names, w[2], line);
    if (cols[col] == VNT_BASIS_BASIC || rows[row] != VNT_BASIS_BASIC) {
        file_malformed(line, "the column or the row was there before");
    }
    cols[col] = VNT_BASIS_BASIC;
    rows[row] = w[0] == "XU" ? VNT_BASIS_UPPER : VNT_BASIS_LOWER;
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
        if (!ended) read_line(p, w, lines.number(), cols, rows);
    }
    if (!ended) file_malformed(lines.number(), "the file ends without ENDATA");
    p.set_basis(std::move(cols), std::move(rows));
}

} // namespace vnt
