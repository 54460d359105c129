// reformulation.h: a problem as the engines take it.
//
// Engines know continuous, binary and integer columns between bounds, and rows between bounds.
// What else a model holds is put into such terms by further columns and rows at the end; the
// columns of the problem keep their places.
//
// Ownership: engine() points into the problem and into this object.

#pragma once

#include "solver/problem/problem.h"

namespace vnt {

class reformulation {
  public:
    // A relaxed one is continuous, whatever the columns' types.
    reformulation(const vntlp &p, bool discrete);

    const engine_model &engine() const { return out; }

  private:
    void copy_rows(const model &m);
    void copy_discrete(const model &m);
    void copy_all(const model &m);
    void add_semicontinuous(const model &m);
    void add_set(const model &m, const special_set &s);
    void add_indicator(const model &m, const indicator &c);
    void add_implied(const model &m, const indicator &c, double sign);
    void bind(const model &m, int j, const std::vector<int> &binaries);
    int add_binary();
    void add_row(double low, double high, const std::vector<int> &cols,
                 const std::vector<double> &values);
    void copy_start(const vntlp &p);
    void point_out();

    engine_model out;
    std::vector<double> rowlower, rowupper, lower, upper, objective, start;
    std::string ctype;
    matrix a; // used where rows or columns are added
};

} // namespace vnt
