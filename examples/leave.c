/* leave: starts a solve in a worker, leaves it there, and comes back in another process.
 *
 *   leave SERVER MODEL RECORD       starts the solve and ends; RECORD leads back to it
 *   leave RECORD                    waits for the result
 */
#include "vanto_client.h"

#include <stdio.h>
#include <stdlib.h>

static void check(int status, const char *what)
{
    if (status == 0) return;
    fprintf(stderr, "leave: %s: status %d: %s\n", what, status, vntclient_errortext());
    exit(1);
}

/* Who has the record has the worker: keep it where others cannot read it. */
static void record_write(const char *path, const char *record, int64_t length)
{
    FILE *file = fopen(path, "wb");
    if (file == NULL || fwrite(record, 1, (size_t)length, file) != (size_t)length ||
        fclose(file) != 0) {
        perror(path);
        exit(1);
    }
}

static void leave(const char *server, const char *model, const char *path)
{
    char address[1024], info[VNTCLIENT_INFO_LENGTH], record[4096];
    const char *arguments[] = {address};
    int64_t length = 0;
    int status = 0;
    snprintf(address, sizeof address, "-address=%s", server);
    VNTENVptr env = vntclient_open(1, arguments, &status);
    check(status, server);
    VNTLPptr lp = VNTLcreateprob(env, &status, "left");
    check(status, "create");
    check(VNTEreadcopyprob(env, lp, model, NULL, 0, NULL), model);
    check(vntclient_start(env), "start");
    check(VNTLmipopt(env, lp), "solve");
    check(vntclient_pack(env, record, sizeof record, &length), "pack");
    record_write(path, record, length);
    check(vntclient_disconnect(env, info), "disconnect");
    printf("the solve goes on\n");
}

static void come_back(const char *path)
{
    char record[4096];
    VNTENVptr env = NULL;
    VNTLPptr lp = NULL;
    double best = 0;
    FILE *file = fopen(path, "rb");
    if (file == NULL) {
        perror(path);
        exit(1);
    }
    int64_t length = (int64_t)fread(record, 1, sizeof record, file);
    fclose(file);
    check(vntclient_attach(record, length, &env), "attach");
    check(vntclient_join(env), "join"); /* waits for the end */
    vntclient_getproblems(env, 1, &lp);
    check(VNTLgetobjval(env, lp, &best), "objective");
    printf("%g\n", best);
    VNTLcloseVANTO(&env); /* ends the worker */
}

int main(int argc, char **argv)
{
    if (argc == 4) {
        leave(argv[1], argv[2], argv[3]);
    } else if (argc == 2) {
        come_back(argv[1]);
    } else {
        fprintf(stderr, "usage: leave SERVER MODEL RECORD | leave RECORD\n");
        return 2;
    }
    return 0;
}
