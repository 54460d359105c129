// vanto_client.h: what the calling side offers beyond the solver's own functions: where to
// connect, leaving a worker and coming back, info and user functions, calls that run while the
// caller does other things, and one call on many workers.
//
// Everything of vanto.h works on the environments made here.  VNTLopenVANTO connects to
// TESK_VANTO_TCPIP_HOST (127.0.0.1 when unset) and TESK_VANTO_TCPIP_PORT (12345 when unset);
// vntclient_open() takes the place as arguments.  The host may also be "unix:<path>" or "@<file>",
// as there; the port then does not count.
//
// Ownership: the caller owns an environment and closes it with VNTLcloseVANTO, which ends the
// worker.  Memory handed in is the caller's and is copied or used before the call returns, unless
// the function says otherwise.
//
// Threads: one thread at a time uses an environment.  Different environments may be used from
// different threads.  From any thread, and from a signal handler, a solve is stopped by setting
// the flag given to VNTLEsetasyncterminate.
//
// Callbacks (channel, info, terminate, pause) run on the thread that waits for the worker's
// answer.  Calls that a channel or info callback makes on its own environment are refused with
// VNTERR_SOLVING.
//
// Errors: 0 or VNTERR_*, and vntclient_errortext() says more.  When the connection breaks, the
// call under way and every later one return VNTERR_CONNECTION_LOST at once; the environment is
// still to be closed.  Arrays that the call was to fill may hold a part of the answer then.  The
// text says whether the worker has ended or the network failed: the
// server is asked, for two seconds at most.  VNTERR_REMOTE means that there is no connection: none
// could be made, or the environment was disconnected.

#ifndef VANTO_CLIENT_H
#define VANTO_CLIENT_H

#include "vanto.h"

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#pragma GCC visibility push(default)
#endif

// --- Connecting ------------------------------------------------------------------------------

// Opens an environment in a new worker of the server that the arguments name: "-host=<name>" and
// "-port=<number>", or "-address=" in one of these forms, and "-nothreads".  argv[0] counts as
// well. An argc of -2 takes the place from the process's environment variables.
//
//     <host>:<port>    a server on the network
//     unix:<path>      one on a Unix-domain socket of this machine
//     @<file>          one of those that the file lists
//
// Such a file, a pool, has an address of the first two forms on each line; blank lines and what
// follows a "#" do not count.  The server is chosen at random.  When it makes no worker, because it
// refuses or does not answer in time, the next one is tried.
//
// Errors: VNTERR_BAD_ARGUMENT for the arguments and for a pool that cannot be read or is malformed,
// VNTERR_REMOTE when no server answers there or the server cannot make a worker, VNTERR_FILE_IO
// when the connection broke while it was made, or what the solver's own open call says.
VNTENVptr vntclient_open(int argc, const char *const *argv, int *status_p);

// The address of the server that the environment's worker belongs to, "<host>:<port>" or
// "unix:<path>": of a pool, that of the one chosen.  Valid until the environment is closed; null
// for what is no environment.
const char *vntclient_address(VNTENVptr env);

// How long the calling thread's later attempts to connect may take, in milliseconds: from the
// first address of the host's name to the server's greeting, be it to open an environment or to
// come back to one, and then as long again to the worker's.  10,000 at first; -1 waits for ever.
// Past it they return VNTERR_REMOTE.  Each server of a pool has that time.
void vntclient_connecttimeout(int milliseconds);

// What was wrong in the calling thread's last call that returned a status other than 0, in words
// for people: what the library found, what the solver said on its error channel, where that is
// heard, or else what the status means.  Never null; valid until the thread's next such call.
const char *vntclient_errortext(void);

// How long the environment's connection waits for bytes to come or to go, in milliseconds; -1
// waits for ever, as at first.  A wait that ends breaks the connection.  The read time-out is the
// longest silence of the worker, so a solve without messages must fit into it.
int vntclient_settimeouts(VNTENVptr env, int read_ms, int write_ms);

// --- Messages of the worker ------------------------------------------------------------------

// Called with every text of the solver's message channels: 0 results, 1 warnings, 2 errors, 3 log.
// A null handler ends that.  Destinations of VNTLaddfuncdest work beside it.
typedef void (*vntclient_channelhandler)(VNTENVptr env, int channel, const char *text, void *data);
int vntclient_setchannelhandler(VNTENVptr env, vntclient_channelhandler handler, void *data);

// The types of info elements.
enum {
    VNTCLIENT_BYTE = 1,  // int8_t
    VNTCLIENT_SHORT = 2, // int16_t
    VNTCLIENT_INT = 3,   // int32_t
    VNTCLIENT_LONG = 4,  // int64_t
    VNTCLIENT_DOUBLE = 10
};

// Called with everything that code inside the worker sends as info: the tag that it chose, and
// `count` elements of `type`, valid during the call.  A null handler ends that.
typedef void (*vntclient_infohandler)(VNTENVptr env, int tag, int type, int64_t count,
                                      const void *elements, void *data);
int vntclient_setinfohandler(VNTENVptr env, vntclient_infohandler handler, void *data);

// Sets the handlers of the environments that this thread will open or, by joining a worker again,
// make.  Initially they are null.
void vntclient_defaulthandlers(vntclient_channelhandler channel, void *channeldata,
                               vntclient_infohandler info, void *infodata);

// Calls the function that was loaded into the worker at its start, with `inputlen` bytes.  Up to
// `space` bytes of its output land at `output`; *outputlen_p, unless null, becomes the length that
// it gave.  Returns what the function returned; VNTERR_BAD_ARGUMENT when the worker has none;
// VNTERR_SPACE_TOO_SMALL when the function succeeded but gave more than `space` bytes.
int vntclient_userfunction(VNTENVptr env, int id, const void *input, int64_t inputlen, void *output,
                           int64_t space, int64_t *outputlen_p);

// The value by which code inside the worker, a user function for instance, knows a problem or
// network of the environment: the address of the solver's object there.
int vntclient_remotevalue(VNTENVptr env, const void *object, uint64_t *value_p);

// --- Leaving a worker and coming back --------------------------------------------------------

#define VNTCLIENT_INFO_LENGTH 160

// Leaves the worker of an environment waiting, with all that it holds; a solve that runs goes on.
// Stores the VNTCLIENT_INFO_LENGTH bytes that lead back to it, valid for this host's byte order.
// In this process the environment and its problems keep their handles; until it is joined again,
// every call on it returns VNTERR_REMOTE.  Closing it then only forgets it here.
int vntclient_disconnect(VNTENVptr env, void *info);

// Joins the worker that the bytes lead to.  The messages of the meantime reach the handlers, in
// order, before the call returns.  In the process that left it, *env becomes the environment's old
// handle; elsewhere a new one, which knows none of the worker's problems: see vntclient_attach().
// After an error *env is as it was.
// Errors: VNTERR_CONNECTION_LOST when the worker is gone, VNTERR_REMOTE when the server or, since
// it is suspended, the worker does not answer, or another client has the worker, after which a
// later try may succeed.
int vntclient_reconnect(const void *info, VNTENVptr *env);

// Packs into `record` what another process needs to take over the environment with its problems;
// *length_p becomes the bytes that it takes.  A `record` of null only asks for that length.  The
// worker does not notice: the record is good once the environment was disconnected, and as long
// as no problem is created or freed after it was packed.  Between vntclient_start() and
// vntclient_join() it says that there is a call to join.
//
// The record, without padding, in this host's byte order:
//     4 bytes   "VNTR"
//     uint32    version, 1
//     uint32    length of the whole record in bytes
//     uint32    1 when there is a call to join, else 0
//     160 bytes as from vntclient_disconnect
//     uint64    the environment in the worker
//     uint32    number n of objects, oldest first, and 4 zero bytes
//     n times   uint32 1 for a problem or 2 for a network, 4 zero bytes, uint64 its value
//
// Errors: VNTERR_SPACE_TOO_SMALL.
int vntclient_pack(VNTENVptr env, void *record, int64_t space, int64_t *length_p);

// Takes over the environment of a record: as vntclient_reconnect(), and the problems and networks
// get handles.  A call to join is joined with vntclient_join(), which gives its status, unless
// another process has joined it since the record was packed. Errors: VNTERR_FILE_FORMAT for bytes
// that are no record, else those of vntclient_reconnect().
int vntclient_attach(const void *record, int64_t length, VNTENVptr *env);

// The same, for networks that fail: the environment visits its worker.  A worker whose connection
// breaks is ended with all that it holds; a visit connects, asks and disconnects in one piece, so
// that the worker waits for the next one even when this process or the network ends in between.
// Queries are visits, tried again for `patience` seconds; an answer may take that long, or as long
// as vntclient_connecttimeout() says if that is longer.  From the first call on that changes
// something or computes, the environment stays connected.
// Errors: those of vntclient_attach(); VNTERR_REMOTE also for a worker that does not answer because
// it is suspended.
int vntclient_attachresilient(const void *record, int64_t length, double patience, VNTENVptr *env);

// The environment's problems and networks, oldest first: up to `space` handles at `lps` and
// `nets`, and how many there are.  Returns that number.
int vntclient_getproblems(VNTENVptr env, int space, VNTLPptr *lps);
int vntclient_getnetworks(VNTENVptr env, int space, VNTNETptr *nets);

// --- Calls in the background -----------------------------------------------------------------

// "No limit", "no value".
#define VNTCLIENT_NONE 1e75

// Makes the next solver call on the environment start only: it returns 0 when the worker has
// taken it up.  Its output arguments must stay until vntclient_join(), which fills them.  Calls
// that return an object or another type than int are not started but carried out.
// Errors: VNTERR_SOLVING when a started call was not joined yet.
int vntclient_start(VNTENVptr env);

// How a started call stands.  VNTCLIENT_ENDED: vntclient_join() will not wait.
enum { VNTCLIENT_ENDED = 0, VNTCLIENT_RUNNING = 1, VNTCLIENT_PAUSED = 2 };
int vntclient_test(VNTENVptr env, int *state_p);

// Limits at which a solve pauses, for the call under way and those to come: a progress count in
// the solver's deterministic units, 0 for none, and seconds from now or from the start of the
// call, VNTCLIENT_NONE for none.
int vntclient_setlimits(VNTENVptr env, int64_t progress, double seconds);

// Lets a paused solve go on, with new limits.
int vntclient_continue(VNTENVptr env, int64_t progress, double seconds);

// Ends a paused solve; it keeps the best solution that it has.
int vntclient_terminate(VNTENVptr env);

// Ends a solve, paused or not; it keeps the best solution that it has.
int vntclient_kill(VNTENVptr env);

// How a running or paused solve is doing.  A running one is paused for the moment it takes.
// Before the call progress->sol points at room for `sollen` values or is null; after it
// progress->solcount says how many of them were filled.
// Errors: VNTERR_NO_SOLUTION when nothing runs.
int vntclient_progress(VNTENVptr env, int sollen, vntmipprogress *progress);

// Gives a solve the objective value of a solution found elsewhere.  It comes into effect when a
// paused solve goes on, after vntclient_progress() for instance.
int vntclient_inject(VNTENVptr env, double objval);

// Waits for the started call, fills its outputs and returns what it would have returned.  Channel
// texts, info and the terminate and pause callbacks are served meanwhile; a pause callback is
// called about ten times a second, and its progress counts milliseconds.  A solve that pauses at
// a limit with no pause callback set is left paused and VNTERR_SOLVING returned.
// Errors: VNTERR_BAD_ARGUMENT when no call was started.
int vntclient_join(VNTENVptr env);

// As vntclient_join(), for networks that fail and machines that sleep: the environment visits the
// worker every `interval` seconds, as vntclient_attachresilient() says, and still does so when this
// returns: the result stays in the worker until the problem is freed, and queries that fail are
// asked again.  When the worker cannot be reached, retries for up to `patience` seconds, or two
// when the solve is to end, and says so on the error channel.  `look`, unless null, is called at
// each visit; a result other than 0 ends the solve.  Where the answer of the call itself was lost
// with a connection this returns 0; VNTLgetstat() says how a solve ended.
int vntclient_joinresilient(VNTENVptr env, double interval, double patience,
                            int (*look)(VNTENVptr env, void *data), void *data);

// --- One call on many workers ----------------------------------------------------------------

typedef struct vntclient_group *VNTCLIENTGROUPptr;

// Joins environments into a group.  The first is its leader.  The environments stay their
// owner's; closing, disconnecting or losing one takes it out of the group.  One thread at a time
// uses the group and all of its environments.
// Errors: VNTERR_BAD_ARGUMENT for fewer than one, for duplicates and for members of another group.
VNTCLIENTGROUPptr vntclient_group_create(int count, const VNTENVptr *envs, int *status_p);
void vntclient_group_destroy(VNTCLIENTGROUPptr *group);

// Makes the next solver call on the leader go to all members, in one message where they agree.
// Problems and networks are named by the leader's handles: one that a group call created stands
// for its like in every member.  The leader's answer fills the call's outputs, and the call
// returns when all have answered.  The call's own result is the leader's;
// vntclient_group_statuses() gives the statuses of all.
//
// Each member's time-outs, terminate flag and callbacks count as in a call of its own; the leader's
// flag or terminate callback ends the call of all.
int vntclient_group_call(VNTCLIENTGROUPptr group);

// The statuses of the last group call, one per member: VNTERR_CONNECTION_LOST for those that are
// out.
int vntclient_group_statuses(VNTCLIENTGROUPptr group, int *statuses);

// The handle by which a member itself knows the leader's problem, null when it does not.
VNTLPptr vntclient_group_problem(VNTCLIENTGROUPptr group, VNTLPptr lp, int member);

// Waits until a member's started call ends or `milliseconds` are over; -1 waits for ever.  The
// members have at least 20 ms to answer.  *member_p becomes the member to join, -1 when the time
// is over or nothing runs.
int vntclient_group_wait(VNTCLIENTGROUPptr group, int milliseconds, int *member_p);

#if defined(__GNUC__)
#pragma GCC visibility pop
#endif

#ifdef __cplusplus
}
#endif

#endif
