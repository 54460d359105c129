// certificate.h: the answer of a solve, and what proves it for a linear program.
//
// An optimum is proved by prices: no point is better than the bound that they give.  "Infeasible"
// is proved by weights for the rows, "unbounded" by a direction and a feasible point.  A basis must
// be one: as many basic places as rows, the others at bounds that exist, and the point that follows
// from it is the answer's.

#pragma once

#include "test/cross/random_model.h"

namespace vnt {

struct solver_answer {
    int rc = 0, status = 0;
    double objective = 0, proofvalue = 0;
    bool point = false, prices = false, basis = false, farkas = false, ray = false; // there?
    // Lists from here on.
    std::vector<double> x, pi, dj, proof, direction;
    std::vector<int> cstat, rstat;

    void resize(size_t cols, size_t rows);
};

// What the certificates of a continuous model lack, empty when they prove the answer.  That the
// point is feasible is checked elsewhere.
std::string certificate_fault(const random_model &m, const solver_answer &a);

} // namespace vnt
