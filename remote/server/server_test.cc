// The server with workers that follow single letters of their client.
#include "remote/server/server.h"

#include "remote/base/holders.h"
#include "remote/transport/tcpip.h"
#include "test/folders.h"
#include "test/serverprocess.h"

#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <list>
#include <regex>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <thread>

// The server under test calls these instead of the system's.
static int splice_error, send_error; // errno of each call, 0 for none
extern "C" ssize_t splice(int in, off64_t *, int out, off64_t *, size_t n, unsigned flags)
{
    if (splice_error == 0) return syscall(SYS_splice, in, nullptr, out, nullptr, n, flags);
    errno = splice_error;
    return -1;
}
extern "C" ssize_t send(int fd, const void *bytes, size_t n, int flags)
{
    if (send_error == 0 || n < 100) return sendto(fd, bytes, n, flags, nullptr, 0);
    errno = send_error;
    return -1;
}

namespace vnt {

namespace fs = std::filesystem;

static constexpr size_t BLOCK = 4 << 20;

static void tell(int fd, const std::string &text)
{
    if (!give_to(fd, text)) _exit(4);
}

static std::string open_files(void)
{
    std::string all;
    for (const auto &entry : fs::directory_iterator("/proc/self/fd")) {
        std::error_code vanished; // as the folder's own descriptor may have
        all += fs::read_symlink(entry, vanished).string() + "\n";
    }
    return all;
}

// n: know nothing of the control pipe until SIGUSR1 comes, once it is left.
// t: end.  d: leave with the id, go on when released.  b: say a block.  s: think for a while.
// p: listen no more.  e: end, but stay.  c: crash.  f: name the open files.  w: leave a process
// that writes on.  Any other letter comes back.
static void letters(worker_child *w, int, char **)
{
    int32_t word = 0;
    bool busy = false;
    sigset_t wakeup;
    sigemptyset(&wakeup);
    sigaddset(&wakeup, SIGUSR1);
    sigprocmask(SIG_BLOCK, &wakeup, nullptr);
    tell(w->outfd, std::string(2, '\0') + raw_id(w->id));
    for (char letter; read(w->infd, &letter, 1) == 1;) {
        switch (letter) {
        case 't': tell(w->status_fd, std::string(4, '\0')); return;
        case 'n': busy = true; break;
        case 'd':
            tell(w->outfd, "d");
            tell(w->status_fd, raw_id(w->id).substr(0, 4));
            tell(2, std::to_string(w->id) + " waits\n");
            if (busy) sigwait(&wakeup, &word);
            busy = false;
            if (read(w->control_fd, &word, 4) != 4 || (word != 0 && word != w->id)) _exit(5);
            break;
        case 'b': tell(w->outfd, std::string(BLOCK, 'b')); break;
        case 's': usleep(400000); break;
        case 'e': tell(w->status_fd, std::string(4, '\0')); [[fallthrough]];
        case 'p':
            for (;;)
                pause();
        case 'c': prctl(PR_SET_NAME, "letters 1146"); _exit(3);
        case 'f': tell(w->outfd, open_files() + "!"); break;
        case 'w':
            if (fork() != 0) break;
            while (give_to(w->outfd, std::string(BLOCK, 'w'))) {
            }
            _exit(0);
        default: tell(w->outfd, std::string(1, letter));
        }
    }
    _exit(6);
}

// A server of letter workers whose reaper looks often.
struct letter_server : server_process {
    explicit letter_server(std::vector<std::string> options = {}, int grace = 10000,
                           void (*prepare)(void) = nullptr, pid_t (*forker)(void) = ::fork)
        : server_process(
              [=](int argc, char **argv) {
                  if (prepare != nullptr) prepare();
                  server_parts parts;
                  parts.worker = letters;
                  parts.grace = grace;
                  parts.fork = forker;
                  return server_run(parts, argc, argv);
              },
              (options.insert(options.begin(), "-polling=20"), options)) // 18 ms
    {
        EXPECT_GT(port, 0) << written();
    }

    // Whether it comes to have so many connections without a worker, or nothing but what it began
    // with.
    bool holds(size_t connections)
    {
        return eventually([&] { return count("fd") == descriptors + long(connections); });
    }
    bool holds_nothing()
    {
        return eventually([&] { return count("fd") == descriptors && count("task") == threads; });
    }

    const long descriptors = count("fd"), threads = count("task"); // at first
};

static int letters_run(int argc, char **argv)
{
    return server_run({letters}, argc, argv);
}

// A client that has got a worker, which it may leave for another.
struct served_client : raw_client {
    explicit served_client(const letter_server &server) : raw_client(server.port)
    {
        EXPECT_EQ(new_worker(), 0);
    }
    void park()
    {
        EXPECT_EQ(say("d").hear(1), "d");
        leave();
    }
};

static pid_t process_of(const raw_client &c)
{
    return static_cast<pid_t>(c.id);
}
static std::string address_of(const raw_client &c)
{
    char address[SOCKNAM_SIZE];
    socknam(c.fd, 0, address);
    return address;
}
static void expect_joined(raw_client &next, const raw_client &before)
{
    ASSERT_EQ(next.reconnect(before.id), 0);
    EXPECT_EQ(next.say("x").hear(1), "x");
}
// A client that has come for the worker, as soon as the one before it is forgotten.
static std::unique_ptr<raw_client> visit(const letter_server &server, const raw_client &before)
{
    std::unique_ptr<raw_client> c;
    EXPECT_TRUE(eventually([&] {
        c = std::make_unique<raw_client>(server.port);
        return c->reconnect(before.id) == 0;
    }));
    return c;
}
static bool stopped(pid_t process)
{
    return has(file_text("/proc/" + std::to_string(process) + "/stat"), ") T ");
}
static bool gone(const raw_client &c)
{
    return eventually([&] { return !process_alive(process_of(c)); });
}

// The server moves the bytes by splice(), or copies them where its log is to show them.
TEST(Server, AClientGetsAWorkerThatHearsIt)
{
    for (const char *option : {"-info", "-debug"}) {
        letter_server server({option});
        served_client first(server), second(server);
        EXPECT_NE(first.id, second.id);
        EXPECT_EQ(first.say("bxyz").hear(BLOCK + 3), std::string(BLOCK, 'b') + "xyz");
        std::string many(20001, 'm');
        std::thread mouth([&] { second.say(many); });
        EXPECT_EQ(second.hear(many.size()), many);
        mouth.join();
        EXPECT_TRUE(first.say("t").closed());
        EXPECT_TRUE(gone(first));
        EXPECT_EQ(second.say("v").hear(1), "v");
    }
}

// What ps shows for a process, and what it shows of one whose client this is.
static std::string title(pid_t id)
{
    return file_text("/proc/" + std::to_string(id) + "/cmdline");
}
static std::string title_of(const raw_client &c)
{
    const std::string text = std::string(program_invocation_short_name) + ": " + address_of(c);
    return text.substr(0, title(getpid()).size() - 1);
}

// Also of one that comes back: it would lead a search for who uses the machine to somebody who has
// left.  The program's own arguments stay what they are.
TEST(Server, AWorkersTitleTellsOfItsClient)
{
    letter_server server({"-log-time"});
    const std::string command = title(server.pid);
    served_client old(server);
    raw_client c(server.port);
    EXPECT_EQ(title(process_of(old)).c_str(), title_of(old));
    old.park();
    expect_joined(c, old);
    const std::string shown = title(process_of(old));
    EXPECT_EQ(shown.size(), command.size());
    EXPECT_EQ(shown.c_str(), title_of(c));
    EXPECT_EQ(title(server.pid), command);
    EXPECT_EQ(c.say("f").hear(1), "/");
    c.say("c");
    const std::string time = "20[0-9-]{8}T[0-9:]{8}\\.[0-9]{3}Z";
    EXPECT_TRUE(eventually([&] {
        return std::regex_search(server.written(),
                                 std::regex(time + " \\[ *[0-9]+:0002\\] Child [0-9]+ of"));
    })) << server.written();
}

// The reaper does not wait for its next look, which is days away here.
TEST(Server, EndedWorkersAreCollectedAtOnce)
{
    letter_server server({"-polling=1000000000"});
    served_client regular(server), crashing(server);
    EXPECT_TRUE(regular.say("t").closed());
    EXPECT_TRUE(crashing.say("c").closed());
    EXPECT_TRUE(gone(regular) && gone(crashing));
    EXPECT_TRUE(server.holds_nothing());
}

// What a client asks for is answered with the status for it, and the connection is closed.
TEST(Server, RefusalsNameTheirReason)
{
    letter_server server({"-action-timeout=1"});
    raw_client unknown(server.port), stranger(server.port), hasty(server.port);
    raw_client slow(server.port), mute(server.port);
    EXPECT_EQ(unknown.say(bytes("00 00 00 07")).status(), HANDSHAKE_NOACTION);
    EXPECT_TRUE(unknown.closed());
    EXPECT_EQ(stranger.reconnect(4711), HANDSHAKE_NOTFOUND);
    EXPECT_TRUE(stranger.closed());
    hasty.say(bytes("00 00 00 02 61 62 63"));
    shutdown(hasty.fd, SHUT_WR);
    EXPECT_EQ(hasty.status(), HANDSHAKE_NOID);
    EXPECT_EQ(slow.say(bytes("00 00 00 02 61 62 63")).status(), HANDSHAKE_NOID);
    EXPECT_TRUE(mute.closed());
    std::string log = server.written();
    for (const char *line : {":0001] Child 4711 not found\n",
                             "timed_read(): Resource temporarily unavailable [errno=11]\n"})
        EXPECT_TRUE(has(log, line));
}

TEST(Server, ABusyServerServesWhoSpokeInTime)
{
    letter_server server({"-action-timeout=1"});
    raw_client c(server.port);
    ASSERT_TRUE(server.holds(1));
    kill(server.pid, SIGSTOP);
    c.say(bytes("00 00 00 01"));
    usleep(1200000);
    kill(server.pid, SIGCONT);
    EXPECT_EQ(c.status(), HANDSHAKE_OK);
}

TEST(Server, AWorkerThatCannotBeMadeIsAStatus)
{
    letter_server processless({}, 10000, nullptr, [] {
        errno = EAGAIN;
        return pid_t(-1);
    });
    raw_client c(processless.port);
    EXPECT_EQ(c.new_worker(), HANDSHAKE_NOFORK);
    EXPECT_TRUE(c.closed());
    EXPECT_TRUE(processless.holds_nothing());

    // So few descriptors that accept() fails, and later the pipes.
    letter_server poor({"-action-timeout=60"}, 10000, [] {
        struct rlimit few = {24, 24};
        setrlimit(RLIMIT_NOFILE, &few);
    });
    std::list<raw_client> crowd;
    for (int i = 0; i < 24; i++)
        crowd.emplace_back(poor.port);
    EXPECT_EQ(crowd.back().status(), HANDSHAKE_NORESOURCES) << "before it has said anything";
    EXPECT_TRUE(has(poor.written(), "accept(): Too many open files"));
    EXPECT_EQ(crowd.front().new_worker(), HANDSHAKE_NORESOURCES);
    EXPECT_TRUE(has(poor.written(), "pipe(): Too many open files"));
    crowd.clear();
    EXPECT_TRUE(eventually([&] { return raw_client(poor.port).new_worker() == 0; }));
}

TEST(Server, SilentClientsKeepNoOtherClientWaiting)
{
    letter_server server({"-action-timeout=100"});
    std::list<raw_client> silent;
    // One after the other: a connection that finds the queue full comes again a second later.
    while (silent.size() < 80) {
        silent.emplace_back(server.port);
        EXPECT_TRUE(server.holds(silent.size()));
    }
    raw_client half(server.port), honest(server.port);
    half.say(bytes("00 00"));
    ASSERT_EQ(honest.new_worker(), 0);
    EXPECT_EQ(honest.say("x").hear(1), "x");
    EXPECT_EQ(half.say(bytes("00 01 78")).status(), 0);
    EXPECT_EQ(half.hear(1), "x") << "what came with the action is the worker's";
}

// The files that a worker has open.
static std::string files_of(raw_client &c)
{
    std::string all;
    for (c.say("f"); all.find('!') == std::string::npos;)
        all += c.hear(1);
    return all;
}

// A worker holds nothing of the server's: neither its port, nor its siblings' pipes and clients.
TEST(Server, AWorkerHoldsItsOwnFourPipesAlone)
{
    const scratch file(".log");
    letter_server server({"-logfile=" + file.name});
    served_client first(server), second(server), third(server);
    std::string alone = files_of(first), late = files_of(third);
    EXPECT_FALSE(has(late, "socket:"));
    EXPECT_FALSE(has(late, "eventfd"));
    EXPECT_FALSE(has(late, file.name));
    EXPECT_EQ(std::count(late.begin(), late.end(), '\n'),
              std::count(alone.begin(), alone.end(), '\n'))
        << late;
}

TEST(Server, StopsWithAllItsWorkers)
{
    for (int signal : {SIGTERM, SIGINT, SIGHUP, SIGKILL}) {
        letter_server server;
        served_client idle(server), parked(server), deaf(server), busy(server);
        raw_client mute(server.port);
        EXPECT_EQ(busy.say("xp").hear(1), "x");
        parked.park();
        EXPECT_EQ(deaf.say("bbbbbb").hear(1), "b"); // and never hears the rest
        EXPECT_EQ(server.stop(signal), signal == SIGKILL ? -SIGKILL : 0);
        for (const raw_client *c : {&idle, &parked, &deaf, &busy})
            EXPECT_TRUE(gone(*c));
        EXPECT_TRUE(idle.closed());
        EXPECT_TRUE(mute.closed());
        EXPECT_FALSE(raw_client(server.port).connected);
    }
}

TEST(Server, AProcessOfAWorkerThatWritesOnDoesNotKeepIt)
{
    letter_server server({}, 100);
    served_client client(server);
    EXPECT_EQ(client.say("w").hear(1), "w");
    client.reset(); // what comes from now on is dropped as fast as it is written
    EXPECT_TRUE(server.holds_nothing());
}

TEST(Server, AParkedWorkerWaitsForAClientThatNamesIt)
{
    letter_server server({}, 100);
    served_client first(server);
    raw_client second(server.port), third(server.port), fourth(server.port);
    // One reconnect may wait while the worker is not free yet; it is the next to get it.
    ASSERT_EQ(second.reconnect(first.id), 0);
    EXPECT_EQ(second.id, first.id);
    EXPECT_EQ(third.reconnect(first.id), HANDSHAKE_NOTPARKED);
    second.say("q");
    EXPECT_EQ(first.say("xd").hear(2), "xd");
    EXPECT_EQ(second.hear(1), "q") << "while the old connection is still open";
    // Only the low half of the id counts, and it goes back as it came.  A reset parks as well.
    EXPECT_EQ(second.say("d").hear(1), "d");
    second.reset();
    usleep(500000); // several times the grace of the vanished
    int64_t odd = (int64_t(77) << 32) | first.id;
    ASSERT_EQ(fourth.reconnect(odd), 0);
    EXPECT_EQ(fourth.id, odd);
    EXPECT_EQ(fourth.say("z").hear(1), "z");
}

// Reconnecting clients that do not stay do not keep the worker from those that do.
TEST(Server, AClientThatGaveUpIsPassedOver)
{
    letter_server server({}, 100);
    served_client first(server);
    raw_client last(server.port);
    for (int i = 0; i < 3; i++)
        EXPECT_TRUE(eventually([&] { return raw_client(server.port).reconnect(first.id) == 0; }));
    first.park();
    for (int i = 0; i < 3; i++) {
        EXPECT_TRUE(eventually([&] { return raw_client(server.port).reconnect(first.id) == 0; }));
        usleep(50000); // it is the worker's client by now, but has not spoken
    }
    usleep(300000); // several times the grace of the vanished
    EXPECT_TRUE(process_alive(process_of(first)));
    expect_joined(last, first);
}

// What the old client did not take never reaches the new one.
TEST(Server, OldAnswersDoNotReachTheNewClient)
{
    letter_server server;
    served_client rude(server), slow(server);
    raw_client next(server.port), last(server.port);
    rude.say("bbbd").reset();
    expect_joined(next, rude);

    // This one is still there, but takes the last of the answer neither from its own socket's
    // buffers nor from the pipe.
    for (slow.say("bd"); server.written().find(std::to_string(slow.id)) == std::string::npos;) {
        slow.hear(65536);
        usleep(2000);
    }
    shutdown(slow.fd, SHUT_WR);
    expect_joined(last, slow);
}

TEST(Server, AVanishedClientsWorkerEnds)
{
    letter_server server({}, 100);
    served_client quiet(server), busy(server), parked(server), hasty(server);
    busy.say("p");
    hasty.say("sd").leave(); // the worker has yet to read that it is to wait
    EXPECT_EQ(parked.say("d").hear(1), "d");
    quiet.leave();
    busy.reset();
    parked.reset();
    EXPECT_TRUE(gone(quiet));
    EXPECT_TRUE(gone(busy));
    EXPECT_TRUE(process_alive(process_of(parked)));
    raw_client back(server.port);
    expect_joined(back, hasty);
}

// A laptop that has changed networks: its old connection stays open for a minute or more.
TEST(Server, AnOldConnectionDoesNotHoldAWorkerThatItsClientHasLeft)
{
    letter_server server;
    served_client first(server);
    raw_client second(server.port);
    EXPECT_EQ(first.say("d").hear(1), "d");
    expect_joined(second, first);
    EXPECT_TRUE(first.closed());
}

TEST(Server, ASilentNewClientIsServedOrClosed)
{
    letter_server server;
    served_client old(server);
    raw_client next(server.port), last(server.port);
    EXPECT_EQ(old.say("dxd").hear(1), "d");
    old.leave();
    ASSERT_EQ(next.reconnect(old.id), 0);
    EXPECT_EQ(next.hear(2), "xd") << "to what the old client said last";
    next.leave();
    ASSERT_EQ(last.reconnect(old.id), 0);
    shutdown(last.fd, SHUT_WR);
    EXPECT_TRUE(last.closed());
    EXPECT_TRUE(process_alive(process_of(old)));
}

TEST(Server, AWorkerThatDoesNotReadIsNotKeptForAVanishedClient)
{
    letter_server server({}, 50);
    served_client little(server), much(server), ended(server);
    little.say("pxyz").leave();
    // More than the pipe holds, so that the end of the connection cannot be read.  A reset is seen
    // all the same; an orderly end stays behind the bytes that the server has no room for.
    fcntl(much.fd, F_SETFL, O_NONBLOCK);
    much.say("p");
    for (std::string block(BLOCK / 4, 'x'); send(much.fd, block.data(), block.size(), 0) > 0;)
        usleep(1000);
    much.reset();
    ended.say("e");
    for (raw_client *c : {&little, &much, &ended})
        EXPECT_TRUE(gone(*c));
    EXPECT_TRUE(ended.closed());
}

// A batch system suspends workers for as long as it likes.  Who looks at one meanwhile does no
// harm.
TEST(Server, ASuspendedWorkerOutlivesItsVisitors)
{
    letter_server server({"-parked-limit=1"}, 100);
    served_client visited(server), lonely(server), orphan(server), ended(server);
    visited.park();
    lonely.park();
    const std::vector<pid_t> workers = {process_of(visited), process_of(lonely), process_of(orphan),
                                        process_of(ended)};
    for (pid_t worker : workers) {
        kill(worker, SIGSTOP);
        EXPECT_TRUE(eventually([&] { return stopped(worker); }));
    }
    orphan.say("yd").leave(); // unread
    ended.say("e");
    visit(server, visited)->say("v");
    auto patient = visit(server, visited);
    patient->say("z");
    usleep(300000); // the worker is kept for it by now
    for (int i = 0; i < 2; i++) {
        raw_client hasty(server.port);
        EXPECT_EQ(hasty.reconnect(visited.id), 0) << "the one before has given up";
        hasty.say("v");
    }
    usleep(1200000); // more than the grace of unread bytes, and than a worker may be parked
    for (pid_t worker : workers)
        EXPECT_TRUE(process_alive(worker));
    for (pid_t worker : workers)
        kill(worker, SIGCONT);
    EXPECT_EQ(patient->hear(1), "z") << "and nothing of those who have left";
    EXPECT_EQ(visit(server, orphan)->say("x").hear(1), "x");
    EXPECT_TRUE(gone(ended));
}

// It does not look for its next client before a long call of the solver has ended.
TEST(Server, AParkedWorkerThatComputesOutlivesItsVisitors)
{
    letter_server server({}, 100);
    served_client first(server);
    first.say("n");
    first.park();
    visit(server, first)->say("vd").leave();
    usleep(900000); // more than the grace of unread bytes
    EXPECT_TRUE(process_alive(process_of(first)));
    kill(process_of(first), SIGUSR1);
    EXPECT_EQ(visit(server, first)->say("x").hear(1), "x");
}

// A client that has closed only its sending side gets the whole answer, however long it takes.
TEST(Server, AHalfClosedClientGetsItsAnswer)
{
    letter_server server({}, 500);
    served_client slow(server);
    slow.say("bbb");
    shutdown(slow.fd, SHUT_WR);
    size_t heard = 0;
    for (size_t n = 1; n > 0; heard += n) {
        n = slow.hear(BLOCK / 16).size();
        usleep(40000);
    }
    EXPECT_EQ(heard, 3 * BLOCK);
    EXPECT_TRUE(gone(slow));
}

// A shortage of memory costs neither an answer nor a worker; what is really lost is not waited for.
TEST(Server, FailingCallsOfTheSystemLeaveNoClientWaiting)
{
    for (int error : {ENOMEM, EINVAL, EIO}) {
        splice_error = error;
        letter_server server;
        served_client c(server);
        EXPECT_EQ(c.say("xby").hear(BLOCK + 2), "x" + std::string(BLOCK, 'b') + "y") << error;
    }
    send_error = EIO;
    letter_server server;
    splice_error = send_error = 0;
    served_client c(server);
    EXPECT_EQ(c.say("xb").hear(2), "x");
    EXPECT_TRUE(c.closed());
}

TEST(Server, AnUnexpectedEndOfAWorkerIsLogged)
{
    letter_server server({}, SANITIZED ? 3000 : 1000); // the good one must exit within that time
    served_client good(server), bad(server), lost(server);
    const std::string client = "client " + address_of(bad);
    good.say("t");
    bad.say("c");
    lost.say("p").leave();
    EXPECT_TRUE(gone(good) && gone(bad) && gone(lost));
    auto line = [](const raw_client &c) { return ":0002] Child " + std::to_string(c.id) + " of "; };
    for (const std::string &text :
         {line(bad) + client + " ended with exit status 3 after ", line(lost),
          std::string(" s, last request 1146\n"), std::string(" ended with signal 9 after "),
          std::string(" s: its client has vanished\n")})
        EXPECT_TRUE(server.says(text)) << text << server.written();
    EXPECT_FALSE(has(server.written(), line(good)));
}

// Log rotation copies the file and truncates it.
TEST(Server, ATruncatedLogFileHasNoHole)
{
    const scratch file(".log");
    letter_server server({"-logfile=" + file.name});
    for (int i = 0; i < 2; i++) {
        served_client c(server);
        c.say("c");
        EXPECT_TRUE(eventually([&] { return file.text().find('\n') != std::string::npos; }));
        EXPECT_EQ(file.text().front(), '[');
        EXPECT_EQ(truncate(file.name.c_str(), 0), 0);
    }
}

// poll() lets no signal in while a descriptor is ready at once.
TEST(Server, AFloodOfConnectionsDoesNotKeepItFromStopping)
{
    letter_server server({}, 50);
    std::atomic<bool> over = false;
    std::list<std::thread> flood;
    for (int i = 0; i < 4; i++)
        flood.emplace_back([&] {
            while (!over)
                raw_client(server.port).say(bytes("00 00 00 01")).reset();
        });
    usleep(100000);
    EXPECT_EQ(server.stop(SIGTERM), 0);
    over = true;
    for (std::thread &t : flood)
        t.join();
}

TEST(Server, ASecondServerOnThePortAndStraySignalsLeaveTheFirstAlone)
{
    const scratch file(".pid");
    letter_server first({"-pidfile=" + file.name});
    forked_process second(letters_run,
                          {"server", "-host=127.0.0.1", "-port=" + std::to_string(first.port),
                           "-pidfile=" + file.name});
    EXPECT_EQ(second.wait(), 255);
    EXPECT_EQ(file.text(), std::to_string(first.pid));
    kill(first.pid, SIGUSR1);
    EXPECT_EQ(raw_client(first.port).new_worker(), 0);
}

TEST(Server, ServesNoMoreThanItMay)
{
    letter_server limited({"-worker-limit=1"});
    served_client first(limited);
    raw_client second(limited.port), third(limited.port);
    EXPECT_EQ(second.new_worker(), HANDSHAKE_NORESOURCES);
    first.say("t");
    EXPECT_TRUE(first.closed());
    EXPECT_TRUE(eventually([&] { return raw_client(limited.port).new_worker() == 0; }));
    EXPECT_TRUE(has(limited.written(), "as many workers as may be"));

    letter_server choosy({"-allow=127.0.0.2/32", "-allow=10.0.0.0/8"});
    EXPECT_TRUE(raw_client(choosy.port).closed());
    EXPECT_TRUE(has(choosy.written(), "refused, its address is not allowed"));
    letter_server open({"-allow=10.0.0.0/8", "-allow=127.0.0.0/8"});
    EXPECT_EQ(raw_client(open.port).new_worker(), 0);
}

TEST(Server, AWorkerIsNotParkedForEver)
{
    letter_server server({"-parked-limit=1"});
    served_client left(server), serving(server);
    left.park();
    EXPECT_EQ(raw_client(server.port).reconnect(left.id), 0);
    EXPECT_TRUE(gone(left));
    EXPECT_TRUE(server.says("parked for longer than it may be"));
    EXPECT_EQ(serving.say("x").hear(1), "x") << "only parked ones end";
}

TEST(Server, DrainsWhenToldTo)
{
    letter_server server;
    served_client serving(server), parked(server);
    parked.park();
    kill(server.pid, SIGUSR2);
    EXPECT_TRUE(
        eventually([&] { return raw_client(server.port).new_worker() == HANDSHAKE_NORESOURCES; }));
    raw_client back(server.port);
    ASSERT_EQ(back.reconnect(parked.id), 0) << "workers can still be joined";
    back.say("xt");
    EXPECT_EQ(serving.say("y").hear(1), "y");
    serving.say("t");
    EXPECT_EQ(server.wait(), 0);
}

// Log lines would go to a client whose connection got number 2.
TEST(Server, ClosedStandardDescriptorsAreReplaced)
{
    forked_process server(
        [](int argc, char **argv) {
            for (int fd : {0, 1, 2})
                close(fd);
            return letters_run(argc, argv);
        },
        {"server", "-host=127.0.0.1", "-port=0"});
    EXPECT_TRUE(eventually([&] {
        std::error_code absent;
        int found = 0;
        for (const char *fd : {"0", "1", "2"})
            found += fs::read_symlink("/proc/" + std::to_string(server.pid) + "/fd/" + fd,
                                      absent) == "/dev/null";
        return found == 3;
    }));
}

TEST(Server, RudeClientsLeaveNothing)
{
    letter_server server({}, 50);
    for (int i = 0; i < 30; i++) {
        raw_client rude(server.port), brief(server.port);
        rude.say(bytes("00 00 00 01 78")).reset();
        brief.say(bytes("00"));
    }
    EXPECT_TRUE(eventually([&] { return process_children(server.pid).empty(); }));
    EXPECT_TRUE(server.holds(0));
}

// A file name for a status socket that every user may reach.
struct status_path : scratch_folder {
    status_path() { fs::permissions(path, fs::perms(0755)); }
    std::string option() const { return "-status=" + socket(); }
    std::string socket() const { return file("status"); }

    int open(void) const
    {
        sockaddr_un at;
        int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        EXPECT_TRUE(path_address(socket().c_str(), &at));
        if (connect(fd, reinterpret_cast<sockaddr *>(&at), sizeof at) == 0) return fd;
        close(fd);
        return -1;
    }
    std::string ask(const std::string &request) const
    {
        descriptor_holder fd(open());
        give_to(fd.fd, request);
        return take_from(fd.fd, 1 << 24);
    }
    // Whether a line of the status begins with a match, now or soon: clients see what happens a
    // moment before the server counts it.
    bool tells(const std::string &line) const
    {
        const std::regex wanted("(^|\n)" + line);
        return eventually([&] { return std::regex_search(ask("status\n"), wanted); });
    }
};

static std::string worker_line(const raw_client &c, const std::string &state)
{
    const std::string id = std::to_string(c.id);
    return "worker " + id + " pid " + id + " state " + state + " ";
}

TEST(Status, TellsOfEveryWorkerAndOfThoseThatWereRefused)
{
    status_path path;
    letter_server server({path.option(), "-action-timeout=100", "odd\nword"}, 1000);
    EXPECT_EQ(fs::status(path.socket()).permissions(), fs::perms(0600));
    served_client serving(server), parked(server), orphan(server);
    raw_client away(server.port);
    raw_client unknown(server.port), wrong(server.port), silent(server.port), mute(server.port);
    EXPECT_EQ(unknown.reconnect(1), 5);
    EXPECT_EQ(wrong.say(bytes("00 00 00 09")).status(), 6);
    silent.leave();
    EXPECT_EQ(serving.say("xyz").hear(3), "xyz");
    parked.park();
    orphan.say("ssss").leave();
    EXPECT_TRUE(path.tells(worker_line(orphan, "orphan")));
    EXPECT_TRUE(path.tells(worker_line(parked, "parked")));
    EXPECT_TRUE(path.tells("worker 0 pid 0 state handshake .* client 127.0.0.1:"));
    const std::string text = path.ask("");
    EXPECT_TRUE(
        path.tells(worker_line(serving, "serving") + "for .* in 3 out 13 idle .* client 127"))
        << text;
    for (const char *line : {"address 127.0.0.1:", "option -status=/tmp", "option odd\\?word\n",
                             "accepted 8\n", "served 3\n", "refused notfound 1\n",
                             "refused noaction 1\n", "refused silent 1\n", "in 8\n", "out 34\n"})
        EXPECT_TRUE(path.tells(line)) << line << text;
    EXPECT_EQ(text.substr(text.size() - 5), "\nend\n");

    raw_client back(server.port);
    EXPECT_EQ(back.reconnect(parked.id), 0);
    EXPECT_EQ(back.say("v").hear(1), "v");
    EXPECT_TRUE(path.tells(worker_line(back, "serving"))) << path.ask("");
    EXPECT_TRUE(back.say("t").closed());
    EXPECT_TRUE(gone(orphan) && gone(back));
    EXPECT_TRUE(path.tells("ended regular 1\nended vanished 1\n")) << path.ask("");
    EXPECT_TRUE(path.tells("in 10\nout 35\n")) << path.ask("") << "those of ended workers count";
}

// Their answers are larger than what the system takes off the server.
TEST(Status, ClientsThatDoNotReadHoldNoOtherOne)
{
    status_path path;
    const std::string large(100000, 'x');
    letter_server server({path.option(), large, large, large, large, large, large});
    std::vector<int> stuck;
    for (int i = 0; i < 8; i++)
        give_to(stuck.emplace_back(path.open()), "status\n");
    descriptor_holder next(path.open());
    give_to(next.fd, "status\n");
    served_client c(server);
    EXPECT_EQ(c.say("x").hear(1), "x");
    EXPECT_FALSE(has(files_of(c), "socket:"));
    char byte;
    EXPECT_EQ(recv(next.fd, &byte, 1, MSG_DONTWAIT), -1) << "all places are taken";
    EXPECT_GT(take_from(stuck[5], 1 << 24).size(), 6 * large.size());
    EXPECT_GT(take_from(next.fd, 1 << 24).size(), 6 * large.size());
    for (int fd : stuck)
        close(fd);
    EXPECT_TRUE(path.tells("served 1\n"));
}

TEST(Status, EndsAWorkerForTheUserOfTheServerAlone)
{
    status_path path;
    letter_server server({path.option()});
    served_client parked(server), stranger(server);
    parked.park();
    const std::string id = std::to_string(parked.id);
    EXPECT_EQ(path.ask("end " + id + "\n"), "ended " + id + "\n");
    EXPECT_TRUE(gone(parked));
    EXPECT_TRUE(path.tells("ended ordered 1\n"));
    EXPECT_TRUE(has(server.written(), "its end was ordered at the status socket"));
    for (const std::string &bad : {"end " + id + "\n", std::string("end\n"), std::string("end x\n"),
                                   std::string("stop\n"), std::string(100, 'e')})
        EXPECT_EQ(path.ask(bad).substr(0, 9), "refused: ") << bad;
    EXPECT_EQ(stranger.say("x").hear(1), "x");
    if (geteuid() != 0) return; // the rest takes another user
    fs::permissions(path.socket(), fs::perms(0666));
    pid_t other = fork();
    if (other == 0) {
        bool refused = setuid(65534) == 0;
        const std::string said = path.ask("end " + std::to_string(stranger.id) + "\n");
        refused &= said == "refused: only the user of the server ends workers\n";
        _exit(refused ? 0 : 1);
    }
    int status = -1;
    EXPECT_EQ(waitpid(other, &status, 0), other);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(stranger.say("x").hear(1), "x");
}

TEST(Status, TheFileGoesWithTheServerAndNoOtherFileIsTouched)
{
    status_path path;
    {
        letter_server killed({path.option()});
        killed.stop(SIGKILL);
        ASSERT_TRUE(fs::exists(path.socket()));
        letter_server next({path.option()});
        EXPECT_TRUE(path.tells("accepted 0\n"));
        server_process late(letters_run, {path.option()});
        EXPECT_EQ(late.wait(), 255);
        EXPECT_TRUE(has(late.written(), path.socket()));
        EXPECT_TRUE(path.tells("accepted 0\n"));
        EXPECT_EQ(next.stop(), 0);
        EXPECT_FALSE(fs::exists(path.socket()));
    }
    close(creat(path.socket().c_str(), 0600));
    server_process refused(letters_run, {path.option()});
    EXPECT_EQ(refused.wait(), 255);
    EXPECT_TRUE(fs::is_regular_file(path.socket()));
}

} // namespace vnt
