/* vanto_remote.h: the entry points of libvntremote.so, for C and C++.
 *
 * The library has two roles.  In a host program it is the worker server: VNTWORKERtcpip listens
 * and gives every client a worker process of its own.  On the calling side it is the transport
 * that reaches such a server.  The functions for user code at the end are called inside a worker,
 * by user functions and by callbacks of the solver.
 */

#ifndef VANTO_REMOTE_H
#define VANTO_REMOTE_H

#include "vanto.h"

#ifdef __cplusplus
extern "C" {
#endif

#define VNTREMOTE_API __attribute__((visibility("default")))

/* Where a server listens, and a client looks for it, when nothing else is said. */
#define VNTREMOTE_DEFAULT_HOST "127.0.0.1"
#define VNTREMOTE_DEFAULT_PORT "12345"

/* Turns the calling process into a worker server.  The options, of which -help prints most:
 *
 *   -host=NAME -port=NUMBER -address=HOST:PORT   where to listen; otherwise TESK_VANTO_TCPIP_HOST
 *                                                and TESK_VANTO_TCPIP_PORT, 127.0.0.1 and 12345
 *   -address=unix:PATH -socket-mode=OCTAL        a Unix-domain socket instead, and the mode of its
 *                                                file, 0600 otherwise
 *   -logfile=FILE -info -debug -loglevel=NUMBER  where and how much to log
 *   -library=NAME                                load a shared library first; may repeat
 *   -pidfile=FILE                                write the process id there
 *   -allow=ADDRESS/BITS                          whom to serve, otherwise everyone; may repeat
 *   -worker-limit=NUMBER                         how many workers there may be
 *   -parked-limit=SECONDS                        how long a worker may be left before it is ended
 *   -action-timeout=SECONDS                      how long a client may take to say what it wants
 *   -polling=NUMBER                              how often ended workers are collected, in
 *                                                milliseconds written in base 9
 *
 * All other options go to every worker: -nothreads, -libpath=DIRECTORY and
 * -userfunction=LIBRARY=FUNCTION.  Options taken out are moved behind the others in argv.
 *
 * Returns 0 after -help and -1 when an option or listening failed.  Otherwise it does not return:
 * SIGHUP, SIGINT or SIGTERM end the server, all workers with it, and then the process.  After
 * SIGUSR2 it takes no new workers and ends with the last one. */
VNTREMOTE_API int32_t VNTWORKERtcpip(int32_t argc, char **argv);

/* The transport to a worker server: its name, a usage text, and the functions that connect, build
 * groups and reconnect. */
struct tcpip_factory;
VNTREMOTE_API const struct tcpip_factory *tcpiptransport_getfactory(void);

/* A user function: runs in the worker when the caller asks for it.  `input` holds inputlen bytes,
 * `output` has room for maxout bytes, *outputlen says how many of them travel back.  The result
 * reaches the caller as the request's status. */
typedef int (*VNTUSERFUNCTION)(VNTENVptr env, int32_t id, const void *input, int64_t inputlen,
                               int64_t maxout, int64_t *outputlen, void *output, void *data);

/* Stores the worker's user function and the data that it is called with; one before is replaced.
 * `handler` is what the registration function was given: the library named by -userfunction=
 * exports
 *
 *   void VNT_REGISTER_USERFUNCTION(void *handler);
 *
 * which calls this.  Return 0. */
VNTREMOTE_API int VNTsetuserfunction(void *handler, VNTUSERFUNCTION function, void *data);
VNTREMOTE_API int VNTSsetuserfunction(void *handler, VNTUSERFUNCTION function, void *data);
VNTREMOTE_API int VNTLsetuserfunction(void *handler, VNTUSERFUNCTION function, void *data);

/* What was stored last; null before.  Return 0. */
VNTREMOTE_API int VNTgetuserfunction(void *handler, VNTUSERFUNCTION *function, void **data);
VNTREMOTE_API int VNTSgetuserfunction(void *handler, VNTUSERFUNCTION *function, void **data);
VNTREMOTE_API int VNTLgetuserfunction(void *handler, VNTUSERFUNCTION *function, void **data);

/* Send `count` values to the caller, ahead of the response of the request that runs; while no
 * caller is connected they wait.  The type is the user's own and travels along.  `env` is the
 * worker's environment.  Any thread may call.
 * Return 0, -1 for an environment that no request has opened, or a solver status. */
#define VNTREMOTE_SENDINFO(prefix)                                                                 \
    VNTREMOTE_API int prefix##sendinfobyte(VNTENVptr env, int32_t type, int64_t count,             \
                                           const int8_t *values);                                  \
    VNTREMOTE_API int prefix##sendinfoshort(VNTENVptr env, int32_t type, int64_t count,            \
                                            const int16_t *values);                                \
    VNTREMOTE_API int prefix##sendinfoint(VNTENVptr env, int32_t type, int64_t count,              \
                                          const int32_t *values);                                  \
    VNTREMOTE_API int prefix##sendinfolong(VNTENVptr env, int32_t type, int64_t count,             \
                                           const int64_t *values);                                 \
    VNTREMOTE_API int prefix##sendinfodouble(VNTENVptr env, int32_t type, int64_t count,           \
                                             const double *values);

VNTREMOTE_SENDINFO(VNT)
VNTREMOTE_SENDINFO(VNTS)
VNTREMOTE_SENDINFO(VNTL)
#undef VNTREMOTE_SENDINFO

#ifdef __cplusplus
}
#endif

#endif
