// reformulation.h: expresses a problem in the terms of the engines.
//
// Engines know continuous, binary and integer columns between bounds, and rows between bounds.
// Everything else in a model is expressed by additional columns and rows at the end; the problem's
// columns keep their indices.  Each choice becomes a binary column, linked to the columns that it
// controls by a big M if that is small enough, else by a pair: see engine_model.
//
// Ownership: engine() points into the problem and into this object.

#pragma once

#include "solver/problem/implied_bounds.h"
#include "solver/problem/problem.h"

namespace vnt {

class reformulation {
  public:
    // Without `discrete` all columns are continuous.
    reformulation(const vntlp &p, bool discrete);

    const engine_model &engine() const { return out; }

  private:
    void copy_rows(const model &m);
    void copy_discrete(const model &m);
    void copy_beside(const model &m);
    void copy_all(const model &m);
    void add_semicontinuous(const model &m);
    void add_set(const special_set &s);
    void add_indicator(const indicator &c);
    void add_implied(const indicator &c, double sign);
    void add_paired(const indicator &c, double sign);
    void bind(int j, const std::vector<int> &binaries);
    int add_binary();
    int add_column(double low, double high, char type);
    int add_negation(int binary);
    void add_pair(int binary, int j);
    void add_row(double low, double high, const std::vector<int> &cols,
                 const std::vector<double> &values);
    void copy_starts(const vntlp &p);
    void copy_order(const model &m);
    void point_out();

    engine_model out;
    std::vector<double> row_lower, row_upper, lower, upper, objective;
    std::vector<int64_t> beside_begin;
    std::vector<int> beside_index;
    std::vector<double> beside_value, beside_lower, beside_upper;
    std::vector<std::vector<double>> starts;
    std::vector<const double *> start_points;
    std::vector<int> rank, direction;
    column_bounds reach; // implied bounds of the problem's columns
    std::vector<int> pairs;
    std::string ctype;
    matrix a; // used where rows or columns are added
};

} // namespace vnt
