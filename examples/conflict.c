/* conflict: says which rows of an infeasible model contradict each other.
 *
 *   conflict MODEL
 */
#include "vanto.h"

#include <stdio.h>
#include <stdlib.h>

static void check(int status, const char *what)
{
    if (status == 0) return;
    fprintf(stderr, "conflict: %s: status %d\n", what, status);
    exit(1);
}

static void print_row(VNTENVptr env, VNTLPptr lp, int row)
{
    char *name = NULL, store[256];
    int64_t surplus = 0;
    check(VNTLgetrowname(env, lp, &name, store, sizeof store, &surplus, row, row), "name");
    printf("row %s\n", name);
}

int main(int argc, char **argv)
{
    int status = 0, rows = 0, columns = 0;
    if (argc != 2) {
        fprintf(stderr, "usage: conflict MODEL\n");
        return 2;
    }
    VNTENVptr env = VNTLopenVANTO(&status);
    check(status, "open");
    VNTLPptr lp = VNTLcreateprob(env, &status, "conflict");
    check(status, "create");
    check(VNTEreadcopyprob(env, lp, argv[1], NULL, 0, NULL), argv[1]);
    check(VNTLrefineconflict(env, lp, &rows, &columns), "refine");

    int *row = calloc((size_t)rows + 1, sizeof *row);
    int *column = calloc((size_t)columns + 1, sizeof *column);
    if (row == NULL || column == NULL) return 1;
    check(VNTLgetconflict(env, lp, &status, row, NULL, &rows, column, NULL, &columns), "conflict");
    if (status == VNT_CONFSTAT_FEASIBLE) printf("nothing contradicts\n");
    for (int k = 0; k < rows; k++)
        print_row(env, lp, row[k]);
    printf("and the bounds of %d columns\n", columns);

    free(row);
    free(column);
    VNTLfreeprob(env, &lp);
    VNTLcloseVANTO(&env);
    return 0;
}
