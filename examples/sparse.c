/* sparse: solves a model in a worker and prints the columns that are not zero, which the user
 * function of nonzeros.c picks out inside the worker.
 *
 *   sparse SERVER MODEL
 */
#include "vanto_client.h"

#include <stdio.h>
#include <stdlib.h>

static void check(int status, const char *what)
{
    if (status == 0) return;
    fprintf(stderr, "sparse: %s: status %d: %s\n", what, status, vntclient_errortext());
    exit(1);
}

/* Info arrives while the user function runs. */
static void print_info(VNTENVptr env, int tag, int type, int64_t count, const void *elements,
                       void *data)
{
    (void)env;
    (void)data;
    printf("%s", tag == 1 ? "columns:" : "values: ");
    for (int64_t i = 0; i < count; i++) {
        if (type == VNTCLIENT_INT) printf(" %9d", (int)((const int32_t *)elements)[i]);
        if (type == VNTCLIENT_DOUBLE) printf(" %9.4g", ((const double *)elements)[i]);
    }
    printf("\n");
}

int main(int argc, char **argv)
{
    char address[1024];
    const char *arguments[] = {address};
    int status = 0;
    uint64_t remote = 0;
    double sum = 0;
    if (argc != 3) {
        fprintf(stderr, "usage: sparse SERVER MODEL\n");
        return 2;
    }
    snprintf(address, sizeof address, "-address=%s", argv[1]);
    VNTENVptr env = vntclient_open(1, arguments, &status);
    check(status, argv[1]);
    VNTLPptr lp = VNTLcreateprob(env, &status, "sparse");
    check(status, "create");
    check(VNTEreadcopyprob(env, lp, argv[2], NULL, 0, NULL), argv[2]);
    check(VNTLlpopt(env, lp), "solve");
    check(vntclient_setinfohandler(env, print_info, NULL), "handler");
    check(vntclient_remotevalue(env, lp, &remote), "problem");
    check(vntclient_userfunction(env, 0, &remote, sizeof remote, &sum, sizeof sum, NULL),
          "user function");
    printf("sum:     %.10g\n", sum);
    VNTLfreeprob(env, &lp);
    VNTLcloseVANTO(&env);
    return 0;
}
