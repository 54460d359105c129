/* Minimises x + y with x + 2 y >= 4 and prints the optimum. */
#include <stdio.h>
#include <string.h>
#include <vanto.h>

int main(void)
{
    static const char model[] = "min\n x + y\nst\n x + 2 y >= 4\nend\n";
    int status = 0;
    double value = 0;
    VNTENVptr env = VNTLopenVANTO(&status);
    VNTLPptr lp = env != NULL ? VNTLcreateprob(env, &status, "sample") : NULL;
    if (lp != NULL)
        status = VNTEreadcopyprob(env, lp, "sample", model, (int64_t)strlen(model), "lp");
    if (status == 0) status = VNTLlpopt(env, lp);
    if (status == 0) status = VNTLgetobjval(env, lp, &value);
    if (lp != NULL) VNTLfreeprob(env, &lp);
    if (env != NULL) VNTLcloseVANTO(&env);
    printf("status %d, optimum %g\n", status, value);
    return status != 0;
}
