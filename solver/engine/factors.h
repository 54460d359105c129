// factors.h: a factorised basis matrix.
//
// The basis matrix has one column for each row of the model: a column of the model's matrix, or a
// unit column, which stands for the slack of its row.
//
// Threads: one at a time, also for the const functions: they share work space.

#pragma once

#include <CoinFactorization.hpp>
#include <CoinIndexedVector.hpp>

#include <cstdint>
#include <vector>

namespace vnt {

// A matrix column by column; nothing is owned.
struct engine_columns {
    int rows;
    int cols;
    const int64_t *begin; // cols + 1
    const int *index;
    const double *value;
};

class engine_factors {
  public:
    // `basic` names the columns, numbers of cols + i stand for the slack of row i.  There are as
    // many of them as rows.  Returns false where they are linearly dependent.
    bool factorize(const engine_columns &a, const std::vector<int> &basic);

    // The member of the basis at each position.
    const std::vector<int> &head() const { return order; }

    // x := B^-1 x: from rows to positions.
    void ftran(double *x) const;

    // y := y B^-1: from positions to rows.
    void btran(double *y) const;

  private:
    CoinFactorization factors;
    std::vector<int> order;
    mutable CoinIndexedVector region, work;

    void pass(double *x, bool forward) const;
};

} // namespace vnt
