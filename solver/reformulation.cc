#include "solver/reformulation.h"

#include <algorithm>
#include <limits>

reformulation::reformulation(const vntlp &p, bool discrete)
{
    const model &m = p.m;
    matrix_view cols = m.a.by_column();
    out.numrows = m.numrows();
    out.numcols = m.numcols();
    out.begin = cols.begin;
    out.index = cols.index;
    out.value = cols.value;
    out.collower = m.lower.data();
    out.colupper = m.upper.data();
    out.objective = m.objective.data();
    out.offset = m.offset;
    out.sense = m.sense;
    copy_rows(m);
    if (discrete) {
        copy_discrete(m);
        copy_start(p);
    } else if (p.has_basis()) {
        out.cstat = p.cstat.data();
        out.rstat = p.rstat.data();
    }
}

void reformulation::copy_rows(const model &m)
{
    for (int i = 0; i < m.numrows(); i++) {
        rowlower.push_back(m.rowlower(i));
        rowupper.push_back(m.rowupper(i));
    }
    out.rowlower = rowlower.data();
    out.rowupper = rowupper.data();
}

void reformulation::copy_discrete(const model &m)
{
    ctype = m.ctype;
    out.ctype = ctype.data();
    if (ctype.find_first_of("SN") != std::string::npos) add_semicontinuous(m);
}

// A new column between 0 and 1; returns its place.
int reformulation::add_binary()
{
    a.grow(0, 1);
    lower.push_back(0);
    upper.push_back(1);
    objective.push_back(0);
    ctype.push_back('B');
    return a.cols() - 1;
}

void reformulation::add_row(double low, double high, std::vector<int> cols,
                            std::vector<double> values)
{
    int64_t begin = 0;
    a.append_rows(
        {1, static_cast<int64_t>(cols.size()), &begin, nullptr, cols.data(), values.data()});
    rowlower.push_back(low);
    rowupper.push_back(high);
}

// A semi-continuous column is 0, or between its bounds where its binary companion z is 1:
// lower z <= x <= upper z.
void reformulation::add_semicontinuous(const model &m)
{
    a = m.a;
    lower = m.lower;
    upper = m.upper;
    objective = m.objective;
    for (int j = 0; j < m.numcols(); j++) {
        if (ctype[j] != 'S' && ctype[j] != 'N') continue;
        ctype[j] = ctype[j] == 'S' ? 'C' : 'I';
        double low = lower[j], high = upper[j];
        if (low <= 0 && high >= 0) continue; // 0 is between the bounds anyway
        if (high >= VNT_INFINITY || low <= -VNT_INFINITY) {
            throw failure{VNTERR_NOT_SUPPORTED,
                          printed("semi-continuous column \"%.200s\" needs finite bounds",
                                  m.colnames.at(j).c_str())};
        }
        int z = add_binary();
        add_row(-VNT_INFINITY, 0, {j, z}, {1, -high});
        add_row(0, VNT_INFINITY, {j, z}, {1, -low});
        lower[j] = std::min(low, 0.0);
        upper[j] = std::max(high, 0.0);
    }
    point_out();
}

void reformulation::point_out()
{
    matrix_view cols = a.by_column();
    out.numrows = a.rows();
    out.numcols = a.cols();
    out.begin = cols.begin;
    out.index = cols.index;
    out.value = cols.value;
    out.collower = lower.data();
    out.colupper = upper.data();
    out.objective = objective.data();
    out.rowlower = rowlower.data();
    out.rowupper = rowupper.data();
    out.ctype = ctype.data();
}

// The first MIP start, or else the values of a general start.
void reformulation::copy_start(const vntlp &p)
{
    if (p.mipstarts.empty() && p.start.empty()) return;
    start = p.start;
    if (!p.mipstarts.empty()) start.clear();
    start.resize(out.numcols, std::numeric_limits<double>::quiet_NaN());
    if (!p.mipstarts.empty()) {
        const mip_start &first = p.mipstarts.front();
        for (size_t k = 0; k < first.index.size(); k++)
            start[first.index[k]] = first.value[k];
    }
    out.start = start.data();
}
