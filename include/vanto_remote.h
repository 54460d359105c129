// vanto_remote.h: the entry points of libvntremote.so, for C and C++.
//
// The library has two roles.  In a host program it is the worker server: VNTWORKERtcpip listens
// and gives every client a worker process of its own.  On the calling side it is the transport
// that reaches such a server.  The functions for user code at the end are called inside a worker,
// by user functions and by callbacks of the solver.

#ifndef VANTO_REMOTE_H
#define VANTO_REMOTE_H

#include "vanto.h"

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#pragma GCC visibility push(default)
#endif

// Where a server listens, and a client looks for it, when nothing else is said.
#define VNTREMOTE_DEFAULT_HOST "127.0.0.1"
#define VNTREMOTE_DEFAULT_PORT "12345"

// --- Servers ----------------------------------------------------------------------------------

// Turns the calling process into a worker server.  The options, of which -help prints most:
//
//   -host=NAME -port=NUMBER -address=HOST:PORT   where to listen; otherwise TESK_VANTO_TCPIP_HOST
//                                                and TESK_VANTO_TCPIP_PORT, 127.0.0.1 and 12345
//   -address=unix:PATH -socket-mode=OCTAL        a Unix-domain socket instead, and the mode of its
//                                                file, 0600 otherwise
//   -logfile=FILE -info -debug -loglevel=NUMBER  where and how much to log
//   -library=NAME                                load a shared library first; may repeat
//   -pidfile=FILE                                write the process id there
//   -allow=ADDRESS/BITS                          whom to serve, otherwise everyone; may repeat
//   -worker-limit=NUMBER                         how many workers there may be
//   -parked-limit=SECONDS                        how long a worker may be left before it is ended
//   -action-timeout=SECONDS                      how long a client may take to say what it wants
//   -polling=NUMBER                              how often ended workers are collected, in
//                                                milliseconds written in base 9
//
// All other options go to every worker: -nothreads, -libpath=DIRECTORY and
// -userfunction=LIBRARY=FUNCTION.  Options taken out are moved behind the others in argv.
//
// Returns 0 after -help and -1 when an option or listening failed.  Otherwise it does not return:
// SIGHUP, SIGINT or SIGTERM end the server, all workers with it, and then the process.  After
// SIGUSR2 it takes no new workers and ends with the last one.
int32_t VNTWORKERtcpip(int32_t argc, char **argv);

// Returns the transport to a worker server: its name, a usage text, and the functions that connect,
// build groups and reconnect.
struct tcpip_factory;
const struct tcpip_factory *tcpiptransport_getfactory(void);

// --- User functions ---------------------------------------------------------------------------

// A user function: runs in the worker when the caller asks for it.  `input` holds inputlen bytes,
// `output` has room for maxout bytes, *outputlen says how many of them travel back.  The result
// reaches the caller as the request's status.
typedef int (*VNTUSERFUNCTION)(VNTENVptr env, int32_t id, const void *input, int64_t inputlen,
                               int64_t maxout, int64_t *outputlen, void *output, void *data);

// Stores the worker's user function and the data that it is called with; one before is replaced.
// `handler` is what the registration function was given: the library named by -userfunction=
// exports
//
//   void VNT_REGISTER_USERFUNCTION(void *handler);
//
// which calls this.
// Returns 0.
int VNTsetuserfunction(void *handler, VNTUSERFUNCTION function, void *data);
int VNTSsetuserfunction(void *handler, VNTUSERFUNCTION function, void *data);
int VNTLsetuserfunction(void *handler, VNTUSERFUNCTION function, void *data);

// Stores what was set last, null before.
// Returns 0.
int VNTgetuserfunction(void *handler, VNTUSERFUNCTION *function, void **data);
int VNTSgetuserfunction(void *handler, VNTUSERFUNCTION *function, void **data);
int VNTLgetuserfunction(void *handler, VNTUSERFUNCTION *function, void **data);

// --- Values for the caller --------------------------------------------------------------------

// Sends `count` values to the caller, ahead of the response of the request that runs; while no
// caller is connected they wait.  The type is the user's own and travels along.  `env` is the
// worker's environment.  Any thread may call.
// Returns 0, -1 for an environment that no request has opened, or a solver status.
int VNTsendinfobyte(VNTENVptr env, int32_t type, int64_t count, const int8_t *values);
int VNTsendinfoshort(VNTENVptr env, int32_t type, int64_t count, const int16_t *values);
int VNTsendinfoint(VNTENVptr env, int32_t type, int64_t count, const int32_t *values);
int VNTsendinfolong(VNTENVptr env, int32_t type, int64_t count, const int64_t *values);
int VNTsendinfodouble(VNTENVptr env, int32_t type, int64_t count, const double *values);
int VNTSsendinfobyte(VNTENVptr env, int32_t type, int64_t count, const int8_t *values);
int VNTSsendinfoshort(VNTENVptr env, int32_t type, int64_t count, const int16_t *values);
int VNTSsendinfoint(VNTENVptr env, int32_t type, int64_t count, const int32_t *values);
int VNTSsendinfolong(VNTENVptr env, int32_t type, int64_t count, const int64_t *values);
int VNTSsendinfodouble(VNTENVptr env, int32_t type, int64_t count, const double *values);
int VNTLsendinfobyte(VNTENVptr env, int32_t type, int64_t count, const int8_t *values);
int VNTLsendinfoshort(VNTENVptr env, int32_t type, int64_t count, const int16_t *values);
int VNTLsendinfoint(VNTENVptr env, int32_t type, int64_t count, const int32_t *values);
int VNTLsendinfolong(VNTENVptr env, int32_t type, int64_t count, const int64_t *values);
int VNTLsendinfodouble(VNTENVptr env, int32_t type, int64_t count, const double *values);

#if defined(__GNUC__)
#pragma GCC visibility pop
#endif

#ifdef __cplusplus
}
#endif

#endif
