/* conduct: drives four solves of one mixed-integer model at once: watches them, tells each the best
 * objective that another has found, and ends those that fall behind.
 *
 *   conduct SERVER MODEL
 */
#include "vanto_client.h"

#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

enum { PLAYERS = 4, PATIENCE = 5 }; /* looks before the last player is sent home */

struct player {
    VNTENVptr env;
    VNTLPptr lp;
    int playing;
    vntmipprogress seen;
};

static void check(int status, const char *what)
{
    if (status == 0) return;
    fprintf(stderr, "conduct: %s: status %d: %s\n", what, status, vntclient_errortext());
    exit(1);
}

static void start(struct player *p, const char *server, const char *model, int seed)
{
    char address[1024];
    const char *arguments[] = {address};
    int status = 0;
    snprintf(address, sizeof address, "-address=%s", server);
    p->env = vntclient_open(1, arguments, &status);
    check(status, server);
    p->lp = VNTLcreateprob(p->env, &status, "conduct");
    check(status, "create");
    check(VNTEreadcopyprob(p->env, p->lp, model, NULL, 0, NULL), model);
    check(VNTLsetintparam(p->env, VNT_PARAM_SEED, seed), "seed");
    check(vntclient_start(p->env), "start");
    check(VNTLmipopt(p->env, p->lp), "solve");
    p->seen = (vntmipprogress){.gap = VNTCLIENT_NONE};
    p->playing = 1;
}

/* Looks how a player is doing; notices when it is done. */
static void look(struct player *p)
{
    int state = VNTCLIENT_ENDED;
    check(vntclient_test(p->env, &state), "test");
    if (state == VNTCLIENT_ENDED || vntclient_progress(p->env, 0, &p->seen) != 0) p->playing = 0;
}

/* Sends the best objective of all to each player that has a worse one.  A player uses it once it
 * goes on after the next look. */
static void share(struct player *players, double sense)
{
    double best = VNTCLIENT_NONE;
    for (int i = 0; i < PLAYERS; i++)
        if (players[i].seen.solutions > 0) best = fmin(best, sense * players[i].seen.incumbent);
    if (best >= VNTCLIENT_NONE) return;
    for (int i = 0; i < PLAYERS; i++) {
        struct player *p = &players[i];
        int behind = p->seen.solutions == 0 || sense * p->seen.incumbent > best;
        if (p->playing && behind) check(vntclient_inject(p->env, sense * best), "inject");
    }
}

/* Ends the player with the largest gap, but never the last. */
static void dismiss(struct player *players)
{
    int worst = -1, playing = 0;
    for (int i = 0; i < PLAYERS; i++) {
        if (!players[i].playing) continue;
        playing++;
        if (worst < 0 || players[i].seen.gap > players[worst].seen.gap) worst = i;
    }
    if (playing < 2) return;
    printf("player %d falls behind\n", worst + 1);
    check(vntclient_kill(players[worst].env), "kill");
    check(vntclient_join(players[worst].env), "join");
    players[worst].playing = 0;
}

/* Conducts until a player ends by itself, and returns its number. */
static int conduct(struct player *players, double sense)
{
    for (int looks = 1;; looks++) {
        nanosleep(&(struct timespec){0, 200000000}, NULL);
        for (int i = 0; i < PLAYERS; i++) {
            if (!players[i].playing) continue;
            look(&players[i]);
            if (!players[i].playing) return i;
        }
        share(players, sense);
        if (looks % PATIENCE == 0) dismiss(players);
    }
}

/* Ends all that still play and returns the player with the best solution; -1 when there is none. */
static int finish(struct player *players, double sense, double *best)
{
    int finder = -1;
    for (int i = 0; i < PLAYERS; i++) {
        double objective;
        if (players[i].playing) {
            check(vntclient_kill(players[i].env), "kill");
            check(vntclient_join(players[i].env), "join");
        }
        if (VNTLgetobjval(players[i].env, players[i].lp, &objective) != 0) continue;
        if (finder >= 0 && sense * objective >= sense * *best) continue;
        finder = i;
        *best = objective;
    }
    return finder;
}

int main(int argc, char **argv)
{
    struct player players[PLAYERS];
    double best = 0;
    if (argc != 3) {
        fprintf(stderr, "usage: conduct SERVER MODEL\n");
        return 2;
    }
    for (int i = 0; i < PLAYERS; i++)
        start(&players[i], argv[1], argv[2], i + 1);
    int first = conduct(players, VNT_MIN);
    check(vntclient_join(players[first].env), "join");
    int stat = VNTLgetstat(players[first].env, players[first].lp);
    int finder = finish(players, VNT_MIN, &best);
    /* A player that finds nothing better than the injected objective has proven it, too. */
    int proven = stat == VNT_STAT_OPTIMAL || stat == VNT_STAT_CUTOFF;
    if (finder >= 0)
        printf("%.10g, found by player %d, %s by player %d\n", best, finder + 1,
               proven ? "proven" : "not proven", first + 1);
    for (int i = 0; i < PLAYERS; i++)
        VNTLcloseVANTO(&players[i].env);
    return finder >= 0 && proven ? 0 : 1;
}
