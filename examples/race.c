/* race: solves one model under several settings at once, each in a worker of its own, and takes
 * the first proven answer.
 *
 *   race SERVER MODEL
 *
 * The model travels to all workers in one message. */
#include "vanto_client.h"

#include <stdio.h>
#include <stdlib.h>

/* What the runners try. */
static const struct setting {
    const char *name;
    int param;
    int value;
} settings[] = {
    {"defaults", VNT_PARAM_SEED, 1},
    {"another seed", VNT_PARAM_SEED, 7},
    {"no cuts", VNT_PARAM_CUTS, 0},
    {"no heuristics", VNT_PARAM_HEURISTICS, 0},
};
enum { RUNNERS = sizeof settings / sizeof settings[0] };

static void check(int status, const char *what)
{
    if (status == 0) return;
    fprintf(stderr, "race: %s: status %d: %s\n", what, status, vntclient_errortext());
    exit(1);
}

static VNTENVptr open_worker(const char *server)
{
    char address[1024];
    const char *arguments[] = {address};
    int status = 0;
    snprintf(address, sizeof address, "-address=%s", server);
    VNTENVptr env = vntclient_open(1, arguments, &status);
    check(status, server);
    return env;
}

/* Gives every worker the model; the handle is the leader's. */
static VNTLPptr send_model(VNTCLIENTGROUPptr group, VNTENVptr leader, const char *model)
{
    int status = 0, statuses[RUNNERS];
    check(vntclient_group_call(group), "group");
    VNTLPptr lp = VNTLcreateprob(leader, &status, "race");
    check(status, "create");
    check(vntclient_group_call(group), "group");
    check(VNTEreadcopyprob(leader, lp, model, NULL, 0, NULL), model);
    check(vntclient_group_statuses(group, statuses), "group");
    for (int i = 0; i < RUNNERS; i++)
        check(statuses[i], model);
    return lp;
}

/* Waits for runners to end until one has proven its answer; -1 when no answer was proven. */
static int wait_for_winner(VNTCLIENTGROUPptr group, VNTENVptr *envs, VNTLPptr *lps, int *running)
{
    for (int left = RUNNERS; left > 0; left--) {
        int i = -1;
        check(vntclient_group_wait(group, -1, &i), "wait");
        if (i < 0) return -1;
        check(vntclient_join(envs[i]), settings[i].name);
        running[i] = 0;
        if (VNTLgetstat(envs[i], lps[i]) == VNT_STAT_OPTIMAL) return i;
    }
    return -1;
}

int main(int argc, char **argv)
{
    VNTENVptr envs[RUNNERS];
    VNTLPptr lps[RUNNERS];
    int running[RUNNERS], status = 0;
    if (argc != 3) {
        fprintf(stderr, "usage: race SERVER MODEL\n");
        return 2;
    }
    for (int i = 0; i < RUNNERS; i++)
        envs[i] = open_worker(argv[1]);
    VNTCLIENTGROUPptr group = vntclient_group_create(RUNNERS, envs, &status);
    check(status, "group");
    VNTLPptr lp = send_model(group, envs[0], argv[2]);

    for (int i = 0; i < RUNNERS; i++) {
        lps[i] = vntclient_group_problem(group, lp, i);
        check(VNTLsetintparam(envs[i], settings[i].param, settings[i].value), settings[i].name);
        check(vntclient_start(envs[i]), settings[i].name);
        check(VNTLmipopt(envs[i], lps[i]), settings[i].name);
        running[i] = 1;
    }
    int winner = wait_for_winner(group, envs, lps, running);
    for (int i = 0; i < RUNNERS; i++) {
        if (!running[i]) continue;
        check(vntclient_kill(envs[i]), settings[i].name);
        check(vntclient_join(envs[i]), settings[i].name);
    }
    if (winner >= 0) {
        double objective = 0;
        check(VNTLgetobjval(envs[winner], lps[winner], &objective), "objective");
        printf("%.10g, proven first with: %s\n", objective, settings[winner].name);
    }
    vntclient_group_destroy(&group);
    for (int i = 0; i < RUNNERS; i++)
        VNTLcloseVANTO(&envs[i]);
    return winner >= 0 ? 0 : 1;
}
