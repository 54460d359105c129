// Mixed-integer problems.

#include "solver/engineclp.h"

int engine_solvemip(const engine_model &, const engine_params &, const engine_hooks &,
                    engine_result *result)
{
    *result = engine_result();
    return VNTERR_NOT_SUPPORTED; // until the search lands
}
