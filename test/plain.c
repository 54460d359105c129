/* A program that knows nothing of workers. */
#include "vanto.h"

#include <stdio.h>

int main(int argc, char **argv)
{
    int status = 0;
    double objective = 0, x[3] = {0};
    VNTENVptr env = VNTLopenVANTO(&status);
    VNTLPptr lp = VNTLcreateprob(env, &status, "plain");
    status = VNTEreadcopyprob(env, lp, argv[argc - 1], NULL, 0, NULL) || VNTLlpopt(env, lp) ||
             VNTLgetobjval(env, lp, &objective) || VNTLgetx(env, lp, x, 0, 2);
    printf("%d %.17g %.17g %.17g %.17g\n", VNTLgetstat(env, lp), objective, x[0], x[1], x[2]);
    return VNTLfreeprob(env, &lp) || VNTLcloseVANTO(&env) || status;
}
