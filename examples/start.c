/* start: builds a small model, solves it and prints the answer.
 *
 * A workshop makes tables, which earn 3 each, and chairs, which earn 2.  A table and a chair take
 * an hour each, of which there are 4; a chair takes 3 boards and a table 1, of which there are 6;
 * no more than 3 tables can be sold.  What earns most?
 *
 * Linked with -lvanto it solves in its own process, with -lvantoclient in a worker. */
#include "vanto.h"

#include <stdio.h>
#include <stdlib.h>

static void check(int status, const char *what)
{
    if (status == 0) return;
    fprintf(stderr, "start: %s: status %d\n", what, status);
    exit(1);
}

int main(void)
{
    /* Columns: tables and chairs.  Rows: hours and boards, each at most what there is. */
    const double earned[] = {3, 2}, most[] = {3, VNT_INFINITY};
    const double there[] = {4, 6};
    const int64_t begin[] = {0, 2}; /* where the rows begin in the next two */
    const int column[] = {0, 1, 0, 1};
    const double needed[] = {1, 1, 1, 3};
    int status = 0;
    double best = 0, made[2];

    VNTENVptr env = VNTLopenVANTO(&status);
    check(status, "open");
    VNTLPptr lp = VNTLcreateprob(env, &status, "workshop");
    check(status, "create");
    check(VNTLnewcols(env, lp, 2, earned, NULL, most, NULL, NULL), "columns");
    check(VNTLaddrows(env, lp, 0, 2, 4, there, "LL", begin, column, needed, NULL, NULL), "rows");
    check(VNTLchgobjsen(env, lp, VNT_MAX), "sense");

    check(VNTLlpopt(env, lp), "solve");
    if (VNTLgetstat(env, lp) != VNT_STAT_OPTIMAL) {
        fprintf(stderr, "start: there is no best answer\n");
        return 1;
    }
    check(VNTLgetobjval(env, lp, &best), "objective");
    check(VNTLgetx(env, lp, made, 0, 1), "values");
    printf("%g tables and %g chairs earn %g\n", made[0], made[1], best);

    VNTLfreeprob(env, &lp);
    VNTLcloseVANTO(&env);
    return 0;
}
