// inject.c: a preloaded library that counts the calls of the project's own objects and makes one
// of them fail.
//
//   VNT_FAULT="ROLE CALL K ERROR MODE"   the K-th CALL of a process in that role fails with ERROR;
//                                        MODE: once, on (and all later ones), short (moves 1 byte)
//   VNT_FAULT_REPORT=FILE                gets "hit" once the fault has happened, and at the end of
//                                        each process "ROLE CALL COUNT" for each call
//
// Roles: server and worker are the two sides of vntworker's fork, client is any other program.
// Calls of other libraries, the C library and the engines among them, go through untouched.
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <link.h>
#include <poll.h>
#include <pthread.h>
#include <semaphore.h>
#include <signal.h>
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/eventfd.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#define CALL(name, ...) FAULT_##name,
#define MOVE CALL
#define ALLOCATE CALL
enum {
#include "test/faults/calls.def"
    FAULTS
};
#undef CALL
#define CALL(name, ...) #name,
static const char *const names[] = {
#include "test/faults/calls.def"
};
#undef CALL
#undef MOVE
#undef ALLOCATE

static atomic_long counts[FAULTS];
static const char *role = "client";
static const char *report;

static char wanted_role[16], wanted_call[32], wanted_mode[16];
static long wanted_k;
static int wanted_error;
static atomic_int *happened; // shared with the workers, so that "once" is once in all of them

// By the system call itself: the functions of this name are the ones below.
static void report_line(const char *line)
{
    if (report == NULL) return;
    int fd = (int)syscall(SYS_open, report, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
    syscall(SYS_write, fd, line, strlen(line));
    syscall(SYS_close, fd);
}

static void become_worker(void)
{
    role = "worker";
    memset(counts, 0, sizeof counts);
}

__attribute__((constructor)) static void begin(void)
{
    report = getenv("VNT_FAULT_REPORT");
    const char *fault = getenv("VNT_FAULT");
    happened = (void *)syscall(SYS_mmap, NULL, sizeof *happened, PROT_READ | PROT_WRITE,
                               MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (fault != NULL)
        sscanf(fault, "%15s %31s %ld %d %15s", wanted_role, wanted_call, &wanted_k, &wanted_error,
               wanted_mode);
    if (strcmp(program_invocation_short_name, "vntworker") != 0) return;
    role = "server";
    pthread_atfork(NULL, NULL, become_worker);
}

__attribute__((destructor)) static void end(void)
{
    for (int i = 0; i < FAULTS; i++) {
        char line[100];
        snprintf(line, sizeof line, "%s %s %ld\n", role, names[i], atomic_load(&counts[i]));
        if (counts[i] > 0) report_line(line);
    }
}

// Whether the code at that address is the project's: one of its libraries, or the program.
static int is_own(void *address)
{
    struct dl_find_object found;
    if (_dl_find_object(address, &found) != 0) return 0;
    const char *name = found.dlfo_link_map->l_name;
    return name[0] == '\0' || strstr(name, "libvntremote") || strstr(name, "libvantoclient");
}

// Whether this call is the one that is to fail.
static int is_due(int call, void *caller)
{
    if (!is_own(caller)) return 0;
    const long k = atomic_fetch_add(&counts[call], 1) + 1;
    if (wanted_k == 0 || k < wanted_k) return 0;
    if (strcmp(wanted_call, names[call]) != 0 || strcmp(wanted_role, role) != 0) return 0;
    const int times = atomic_fetch_add(happened, 1);
    if (times > 0 && strcmp(wanted_mode, "on") != 0) return 0;
    if (times == 0) report_line("hit\n");
    return 1;
}

#define DUE(name) is_due(FAULT_##name, __builtin_return_address(0))
#define FAILED(value) (errno = error, (value))
#define PASS(name, arguments)                                                                      \
    static __typeof__(name) *real;                                                                 \
    if (real == NULL) real = (__typeof__(real))dlsym(RTLD_NEXT, #name);                            \
    return real arguments

#define CALL(name, result, parameters, arguments, failed, ...)                                     \
    result name parameters                                                                         \
    {                                                                                              \
        const int error = wanted_error;                                                            \
        if (DUE(name)) return failed;                                                              \
        PASS(name, arguments);                                                                     \
    }
#define MOVE(name, result, parameters, arguments, failed, ...)                                     \
    result name parameters                                                                         \
    {                                                                                              \
        const int error = wanted_error;                                                            \
        if (DUE(name)) {                                                                           \
            if (strcmp(wanted_mode, "short") != 0) return failed;                                  \
            n = n > 1 ? 1 : n;                                                                     \
        }                                                                                          \
        PASS(name, arguments);                                                                     \
    }

// The loader's look-up allocates, so these go to the C library by its other names.
void *__libc_malloc(size_t n);
void *__libc_calloc(size_t count, size_t n);
void *__libc_realloc(void *old, size_t n);
#define ALLOCATE(name, parameters, arguments)                                                      \
    void *name parameters                                                                          \
    {                                                                                              \
        if (!DUE(name)) return __libc_##name arguments;                                            \
        errno = ENOMEM;                                                                            \
        return NULL;                                                                               \
    }

#include "test/faults/calls.def"
