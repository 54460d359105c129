/* nonzeros: a user function.  It runs inside a worker, beside the solver's objects, and sends only
 * what the caller wants to know: here the columns of a solution that are not zero.
 *
 *   vntworker -libpath=FOLDER -userfunction=nonzeros=VNT_REGISTER_USERFUNCTION
 *
 * The input is the problem's value in the worker, the output the sum of all values.  The columns
 * are sent as info ahead of it: their indices with tag 1, their values with tag 2. */
#include "vanto_remote.h"

#include <stdlib.h>
#include <string.h>

enum { INDICES = 1, VALUES = 2 };

/* Moves the columns that are not zero to the front; returns their number. */
static int pack_nonzeros(int numcols, double *x, int32_t *indices, double *sum)
{
    int count = 0;
    for (int j = 0; j < numcols; j++) {
        if (x[j] == 0) continue;
        indices[count] = j;
        x[count++] = x[j];
        *sum += x[count - 1];
    }
    return count;
}

static int send_nonzeros(VNTENVptr env, VNTLPptr lp, double *sum)
{
    int numcols = VNTLgetnumcols(env, lp);
    double *x = malloc((size_t)numcols * sizeof *x);
    int32_t *indices = malloc((size_t)numcols * sizeof *indices);
    int status = VNTERR_NO_MEMORY;
    if (numcols > 0 && x != NULL && indices != NULL) status = VNTLgetx(env, lp, x, 0, numcols - 1);
    if (status == 0) {
        int count = pack_nonzeros(numcols, x, indices, sum);
        status = VNTsendinfoint(env, INDICES, count, indices);
        if (status == 0) status = VNTsendinfodouble(env, VALUES, count, x);
    }
    free(indices);
    free(x);
    return status;
}

static int nonzeros(VNTENVptr env, int32_t id, const void *input, int64_t inputlen, int64_t maxout,
                    int64_t *outputlen, void *output, void *data)
{
    VNTLPptr lp;
    double sum = 0;
    (void)id;
    (void)data;
    if (inputlen != sizeof lp || maxout < (int64_t)sizeof sum) return VNTERR_BAD_ARGUMENT;
    memcpy(&lp, input, sizeof lp);
    int status = send_nonzeros(env, lp, &sum);
    if (status != 0) return status;
    memcpy(output, &sum, sizeof sum);
    *outputlen = sizeof sum;
    return 0;
}

/* Called when a worker starts. */
void VNT_REGISTER_USERFUNCTION(void *handler)
{
    VNTsetuserfunction(handler, nonzeros, NULL);
}
