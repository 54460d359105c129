/* background: solves a model in a worker and does other things meanwhile.
 *
 *   background SERVER MODEL
 */
#include "vanto_client.h"

#include <stdio.h>
#include <stdlib.h>
#include <time.h>

static void check(int status, const char *what)
{
    if (status == 0) return;
    fprintf(stderr, "background: %s: status %d: %s\n", what, status, vntclient_errortext());
    exit(1);
}

/* Other things. */
static void work_a_little(void)
{
    nanosleep(&(struct timespec){.tv_nsec = 50000000}, NULL);
}

int main(int argc, char **argv)
{
    char address[1024];
    const char *arguments[] = {address};
    vntmipprogress progress = {.sol = NULL}; /* no room: only the figures are wanted */
    int status = 0, state = VNTCLIENT_RUNNING, looks = 0;
    double best = 0;
    if (argc != 3) {
        fprintf(stderr, "usage: background SERVER MODEL\n");
        return 2;
    }
    snprintf(address, sizeof address, "-address=%s", argv[1]);
    VNTENVptr env = vntclient_open(1, arguments, &status);
    check(status, argv[1]);
    VNTLPptr lp = VNTLcreateprob(env, &status, "background");
    check(status, "create");
    check(VNTEreadcopyprob(env, lp, argv[2], NULL, 0, NULL), argv[2]);

    check(vntclient_start(env), "start"); /* the next call only starts */
    check(VNTLmipopt(env, lp), "solve");
    for (;;) {
        work_a_little();
        check(vntclient_test(env, &state), "test");
        if (state == VNTCLIENT_ENDED) break;
        /* The solve may end between the test and this. */
        if (vntclient_progress(env, 0, &progress) == 0)
            fprintf(stderr, "%lld nodes, best bound %g\n", (long long)progress.nodes,
                    progress.bound);
        looks++;
    }
    check(vntclient_join(env), "join"); /* what the call would have returned */
    check(VNTLgetobjval(env, lp, &best), "objective");
    fprintf(stderr, "looked %d times\n", looks);
    printf("%g\n", best);
    VNTLcloseVANTO(&env);
    return 0;
}
