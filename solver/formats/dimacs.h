// dimacs.h: networks as DIMACS files for minimum-cost flows.
//
//     c a comment
//     p min NODES ARCS
//     n NODE SUPPLY
//     a FROM TO LOWER UPPER COST
//
// Nodes are numbered from 1; those without a line of their own have no supply.  The format has
// neither names nor maximisation.
//
// Errors: failures with VNTERR_FILE_FORMAT that name the line; VNTERR_FILE_FEATURE for writing a
// network that maximises.

#pragma once

#include "solver/model/network.h"

namespace vnt {

network dimacs_read(const std::string &text);
std::string dimacs_write(const network &n);

} // namespace vnt
