// parking.pml: a spin model of a worker that outlives its client's connection, as remote/server
// keeps it.  test/spin/check runs three variants, because all at once has too many states: with a
// third client; with workers ended by request and connections that fail; with a server that stops.
//
// One worker.  The first client starts it; the others connect, one after another or together, after
// earlier ones have disconnected or vanished.  A client sends requests, disconnects with or without
// waiting for answers, ends the worker, closes its sending side and reads on, vanishes, or keeps a
// connection that carries nothing any more.  The worker may hang for ever.
//
// Checked:
//  - No answer is lost: what the worker wrote reaches the client that asked, unless that client has
//    disconnected or vanished, or has seen its connection end.
//  - No client receives the answer of another.
//  - Every client that asks gets an answer, a refusal or the connection's end.  Only two may wait
//    for ever: the client of a worker that hangs, and one whose worker is in use by another client.
//  - A worker ends when its clients have vanished, and after it has reported its end.  A worker
//    whose client has disconnected waits for the next; a client that has sent nothing is not yet
//    its client.
//  - When the worker has ended or the server stops, the pumps and the record end without an open
//    socket.
//
// Times: a grace period ends only if the worker cannot use it; the pumps' other waits may end at any
// moment.

#ifndef CLIENTS
#define CLIENTS 3
#endif
#ifndef STOPS
#define STOPS 0 // the server is stopped at some time
#endif
#ifndef LOSES
#define LOSES 0 // connections fail, and clients end the worker
#endif

// The worker's report: its id when its client has disconnected, 0 at its regular end.
#define PARKED 1
#define REGULAR 0
#define MISSING 2 // did not come in time
#define BROKEN 3  // cannot come any more

mtype = { REQUEST, LEAVE, END };

// Connections, by client.
chan up[3] = [1] of { mtype };  // what it sends
chan down[3] = [1] of { byte }; // what it receives: the client that the answer is for
bool connected[3];              // accepted, with hello
bool ended[3];                  // has closed its sending side
bool gone[3];                   // receives nothing any more
bool frozen[3];                 // its connection is open, and nothing moves
bool cut[3];                    // shut down by the server
bool owned[3];                  // a socket of the server's (owned.h)
bool left[3];                   // has sent LEAVE
bool asking[3];                 // waits for an answer

// The worker's pipes (makepipes in children.cc) and its process.
chan input = [2] of { mtype, byte };
chan output = [1] of { byte };
chan status = [1] of { byte };
chan control = [1] of { byte };
bool input_ended = false; // the server has closed request_fd
bool dead = false;       // the process has ended; so have its output and its status
bool killed = false;     // SIGKILL
bool hung = false;       // it computes for ever, or does not reach its exit
byte doing = 0;          // what the worker does:
#define WAITING 0        // for input
#define COMPUTING 1      // as long as it takes
#define SETTLING 2       // it will report soon
#define PARKING 3        // waiting for its control pipe

// server_child.  What its lock guards changes in atomic steps.
#define PENDING_NONE 8
#define PENDING_TEARDOWN 9
byte client = 0;
byte pending = PENDING_NONE;
bool relaying = false;
bool discarding = false;
bool drained = false;
bool stop_fd = false;
bool waits = false; // the to-child pump waits on `changed`
bool listed = true; // in the server's list

// Whether the to-child pump and the record still exist.
bool to_pump = true, record = true;

// For the checks alone.
bool spoke = true; // the worker has received something from its client
bool said = false; // it has reported its regular end

#define IS_SOCKET(fd) (fd < 3)
// socket_alive: bytes, or no end yet.
#define ALIVE(fd) (len(up[fd]) > 0 || (!ended[fd] && !cut[fd]))

inline changed() { assert(record); waits = false }
inline close_socket(fd)
{
    atomic {
        assert(owned[fd]);
        owned[fd] = false;
        cut[fd] = true;
        if
        :: nempty(up[fd]) -> up[fd]?_
        :: empty(up[fd])
        fi
    }
}

inline child_kill() { killed = true }

// The worker: worker.cc, and DISCONNECT of control.cc.

proctype Worker()
{
    mtype m;
    byte from;
    {
        do
        :: atomic { input?m, from -> doing = (m == REQUEST -> COMPUTING : SETTLING) };
            if
            :: m == REQUEST ->
                if
                :: atomic { output!from; from = 0; m = 0; doing = WAITING }
                :: !STOPS -> hung = true; false
                fi
            :: m == LEAVE ->
                output!from;
                atomic { status!PARKED -> doing = PARKING };
                atomic { control?_ -> from = 0; m = 0; doing = WAITING } // async_away
            :: m == END ->
                atomic { status!REGULAR -> said = true };
                if
                :: break
                :: !STOPS -> hung = true; false
                fi
            fi
        :: atomic { empty(input) && input_ended -> break } // abort()
        od
    } unless { killed };
    atomic { dead = true; m = 0; from = 0; hung = false; doing = WAITING }
}

// pump_tochild (pumps.cc).  Each function is a step, or several where others may come in between.
// `more` is false once the pump must end.

#define VANISHED (len(up[client]) == 0 && (ended[client] || cut[client]))

// client_is_done: what the client still sends does not count.  The worker has ended regularly, or
// was left and is wanted by another.
#define DONE (status?[REGULAR] || (status?[PARKED] && pending != PENDING_NONE))

inline requests_relay()
{
    do
    :: atomic { nempty(up[client]) && nfull(input) && !dead && !stop_fd ->
            up[client]?m;
            input!m, client;
            m = 0;
            spoke = true
        }
    :: atomic { nempty(up[client]) && dead && !stop_fd -> more = false; break } // child_fail
    :: atomic { (VANISHED || DONE) && !stop_fd -> more = true; break }
    :: atomic { stop_fd -> more = false; break }
    od
}

// The grace period of report_await is over: the worker neither reads nor reports, or computes for
// too long.
#define GRACE_OVER (empty(status) && !dead && (hung || (!input_ended && IDLE)))
#define IDLE (doing == COMPUTING || (doing == WAITING && empty(input)))

inline report_await()
{
    atomic {
        report = MISSING;
        if
        :: nempty(status) && !stop_fd -> status?report
        :: empty(status) && dead && !stop_fd -> report = BROKEN
        :: GRACE_OVER && !stop_fd
        :: stop_fd -> more = false
        fi
    }
}

// A worker that has reported its end gets time to exit.
inline exit_await()
{
    if
    :: dead || stop_fd
    :: hung -> child_kill()
    fi;
    more = false
}

// The client has vanished.  The worker finds its input ended, or is killed.
inline orphan_end()
{
    // Until the worker has read its release it is still parked.
    atomic { assert(spoke && empty(control)); reads = empty(input); input_ended = true };
    if
    :: reads -> report_await()
    :: else -> report = MISSING
    fi;
    if
    :: more && (report == MISSING || report == PARKED) -> child_kill() // cannot be reached any more
    :: more && report == REGULAR -> exit_await()
    :: else -> skip
    fi;
    more = false
}

// Whether all answers to the old client have left the pipe.
#define SETTLED (!relaying && len(output) == 0)

// client_take and client_replace: waits for a client, whose socket replaces the old one's after
// that has had a moment to take its last answers.
inline client_take()
{
    do
    :: atomic {
            if
            :: IS_SOCKET(pending) && SETTLED && !ALIVE(pending) ->
                close_socket(pending);
                pending = PENDING_NONE
            :: else -> skip
            fi;
            if
            :: pending == PENDING_TEARDOWN -> more = false; break
            :: IS_SOCKET(pending) && SETTLED ->
                close_socket(client);
                client = pending;
                pending = PENDING_NONE;
                discarding = false;
                spoke = false;
                break
            :: pending == PENDING_NONE || (IS_SOCKET(pending) && !SETTLED) -> waits = true
            fi
        };
        if
        :: !waits
        :: atomic { IS_SOCKET(pending) && !SETTLED && !cut[client] ->
                assert(left[client] || ended[client]);
                cut[client] = true // responses_settle: the moment is over
            }
        fi
    od
}

// client_find: waits until a client speaks.  One that ends its side before is closed.
inline client_find()
{
    do
    :: client_take();
        atomic {
            if
            :: !more -> break
            :: more && !VANISHED && (len(up[client]) > 0 || len(input) > 0) && !stop_fd -> break
            :: more && VANISHED && !stop_fd -> cut[client] = true
            :: more && stop_fd -> more = false; break
            fi
        }
    od
}

inline worker_release(number)
{
    atomic {
        if
        :: nfull(control) && !dead -> control!number
        :: dead || stop_fd -> more = false
        fi
    }
}

inline client_await()
{
    report_await();
    if
    :: !more || report == BROKEN -> more = false // child_fail
    :: more && report == MISSING -> orphan_end()
    :: more && report == REGULAR -> exit_await()
    :: more && report == PARKED ->
        client_find();
        if
        :: more -> worker_release(PARKED)
        :: !more && !stop_fd -> worker_release(REGULAR)
        :: !more && stop_fd
        fi
    fi
}

active proctype ToChild()
{
    mtype m;
    byte report;
    bool more, reads;
    do
    :: requests_relay();
        if
        :: more -> client_await()
        :: else -> skip
        fi;
        atomic {
            reads = false;
            report = 0;
            if
            :: !more -> to_pump = false; break
            :: else -> more = false
            fi
        }
    od
}

// The client takes nothing any more.  It has lost bytes, so it must see the connection's end.
inline client_discard() { discarding = true; cut[client] = true }

// pump_fromchild (pumps.cc), and response_relay: relays the worker's output piece by piece.  The
// client is not replaced in the middle of a piece.
active proctype FromChild()
{
    byte to;
    bool wanted;
    do
    :: nempty(output) && !stop_fd ->
        atomic { relaying = true; wanted = !discarding };
        output?to;
        if
        :: atomic { wanted && nfull(down[client]) && !gone[client] && !cut[client] ->
                down[client]!to
            }
        :: atomic { wanted && (gone[client] || cut[client]) -> client_discard() }
        // Neither splice() nor read() and write() have done it, and the piece is lost.
        :: atomic { LOSES && wanted && !gone[client] && !cut[client] -> client_discard() }
        :: atomic { !wanted -> assert(to == client && (gone[client] || cut[client])) }
        :: stop_fd
        fi;
        atomic { relaying = false; wanted = false; to = 0; changed() }
    :: atomic { (empty(output) && dead) || stop_fd -> drained = true; changed(); break }
    od
}

// child_stop, child_drain, child_destroy (children.cc).

inline child_stop()
{
    if
    :: IS_SOCKET(pending) -> close_socket(pending)
    :: else -> skip
    fi;
    pending = PENDING_TEARDOWN;
    changed()
}

inline child_destroy()
{
    stop_fd = true;
    atomic {
        !to_pump && drained;
        close_socket(client);
        record = false
    }
}

// The time to drain ends only if the client cannot take the rest.
#define DRAINED (drained || (frozen[client] && full(down[client])))

// reaper_thread: a worker that has ended, or the server's end.
active proctype Reaper()
{
    if
    :: atomic { dead -> listed = false; child_stop() }; // collect
        DRAINED;
        assert(empty(output) || frozen[client]);
        child_destroy()
    :: atomic { STOPS -> listed = false; child_stop(); child_kill() }; // server_cleanup
        dead;
        child_destroy()
    fi
}

// spawn_reconnect and child_hand_over: accepted, or refused with a status.
inline reconnect(me)
{
    atomic {
        if
        :: listed && IS_SOCKET(pending) && !ALIVE(pending) ->
            close_socket(pending);
            pending = PENDING_NONE
        :: else -> skip
        fi;
        if
        :: listed && pending == PENDING_NONE ->
            owned[me] = true;
            connected[me] = true;
            pending = me;
            changed()
        :: else -> skip
        fi
    }
}

// A client.

inline ask(me, id) { atomic { up[me]!id; asking[me] = true; left[me] = (id == LEAVE) } }

// Answered, or cut.
inline await_answer(me)
{
    if
    :: atomic { down[me]?to -> assert(to == me); to = 0 }
    :: atomic { empty(down[me]) && cut[me] -> gone[me] = true }
    fi;
    asking[me] = false
}

// The last client does less, as none follows it.
#define LAST(me) (me == CLIENTS - 1)
#define FREE(i) (!connected[i] || left[i] || ended[i])

proctype Client(byte me)
{
    byte to;
    if
    :: me == 0 -> skip
    :: else ->
        atomic { FREE(0) && FREE(1) && FREE(2) -> skip };
        reconnect(me);
        connected[me] // refused: it goes its way
    fi;
    // Asks, and may send more before it has the answer.
    if
    :: ask(me, REQUEST); await_answer(me)
    :: me == 0 -> up[me]!REQUEST
    :: true
    fi;
    if
    :: !gone[me] && !LAST(me) -> ask(me, LEAVE);
        if
        :: await_answer(me)
        :: asking[me] = false
        fi
    :: LOSES && !gone[me] && !LAST(me) -> up[me]!END
    :: true
    fi;
    if
    :: atomic { ended[me] = true; gone[me] = true; left[me] = false } // vanishes
    :: atomic { ended[me] = true; asking[me] = true }; // closes its side, and still reads
        do
        :: atomic { down[me]?to -> assert(to == me); to = 0 }
        :: atomic { empty(down[me]) && cut[me] -> break }
        od;
        atomic { gone[me] = true; asking[me] = false; left[me] = false }
    :: !gone[me] && me == 0 -> frozen[me] = true
    fi
}

init
{
    atomic {
        connected[0] = true;
        owned[0] = true;
        run Worker();
        run Client(0);
        run Client(1);
        if
        :: CLIENTS > 2 -> run Client(2)
        :: else -> skip
        fi
    }
}

// When no process can move.
#define HELD (!left[client] && !ended[client] && !cut[client]) // a client has the worker
#define MAY_WAIT(i) \
    (!dead && ((hung && !ended[client]) || (client != i && HELD) || (left[i] && ended[i])))
#define THERE(i) (owned[i] && !ended[i])
#define KEPT(i) (!owned[i] || (record && (client == i || pending == i)))

active proctype Watch()
{
    timeout;
    assert(!asking[0] || MAY_WAIT(0));
    assert(!asking[1] || MAY_WAIT(1));
    assert(!asking[2] || MAY_WAIT(2));
    assert(dead || doing == PARKING || THERE(0) || THERE(1) || THERE(2));
    assert(!dead || !record);
    assert(dead || !said); // a worker that has reported its end has ended
    assert(KEPT(0) && KEPT(1) && KEPT(2))
}
