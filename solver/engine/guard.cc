#include "solver/engine/guard.h"

#include "vanto.h"

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <cxxabi.h>
#include <dlfcn.h>
#include <execinfo.h>
#include <memory>
#include <mutex>
#include <new>
#include <stdexcept>
#include <unistd.h>

namespace vnt {

namespace {

constexpr int depth = 40;

thread_local sigjmp_buf *target = nullptr; // where this thread's abort leads, null when unguarded
thread_local void *frames[depth];          // the calls that led to it
thread_local int frame_count = 0;

std::mutex lock; // of the two below
int users = 0;
struct sigaction before; // the disposition without the guard

void old_way(int signal, siginfo_t *info, void *context)
{
    if ((before.sa_flags & SA_SIGINFO) != 0) return before.sa_sigaction(signal, info, context);
    if (before.sa_handler == SIG_IGN) return; // abort() ends the process by itself
    if (before.sa_handler != SIG_DFL) return before.sa_handler(signal);
    sigaction(SIGABRT, &before, nullptr);
    raise(SIGABRT); // delivered when the handler returns
}

void on_abort(int signal, siginfo_t *info, void *context)
{
    bool own = info->si_code == SI_TKILL && info->si_pid == getpid();
    if (target == nullptr || !own) return old_way(signal, info, context);
    frame_count = backtrace(frames, depth);
    siglongjmp(*target, 1);
}

// Holds the handler in place; the last user gives the old disposition back.
class handler_use {
  public:
    handler_use()
    {
        std::lock_guard hold(lock);
        if (users++ > 0) return;
        void *first;
        backtrace(&first, 1); // loads what it needs now: in the handler is no time for that
        struct sigaction ours = {};
        ours.sa_sigaction = on_abort;
        ours.sa_flags = SA_SIGINFO;
        sigaction(SIGABRT, &ours, &before);
    }
    ~handler_use()
    {
        std::lock_guard hold(lock);
        if (--users > 0) return;
        struct sigaction now;
        sigaction(SIGABRT, nullptr, &now);
        bool ours = (now.sa_flags & SA_SIGINFO) != 0 && now.sa_sigaction == on_abort;
        if (ours) sigaction(SIGABRT, &before, nullptr);
    }
    handler_use(const handler_use &) = delete;
    handler_use &operator=(const handler_use &) = delete;
};

std::string demangled(const char *name)
{
    int status = 0;
    std::unique_ptr<char, void (*)(void *)> text(
        abi::__cxa_demangle(name, nullptr, nullptr, &status), free);
    std::string full = status == 0 ? text.get() : name;
    return full.substr(0, full.find('('));
}

// The function that called abort() or failed an assertion: the first one outside of the C library
// below the handler.  One without a name is given as its file and the first caller that has one.
std::string culprit()
{
    Dl_info libc = {}, at = {};
    dladdr(reinterpret_cast<void *>(&raise), &libc);
    std::string file;
    bool below = false; // the handler: what called it is in the C library
    for (int i = 0; i < frame_count; i++) {
        // A call that does not return may be a function's last byte: what follows is another one's.
        if (dladdr(static_cast<char *>(frames[i]) - 1, &at) == 0) continue;
        bool in_libc = at.dli_fbase == libc.dli_fbase;
        below |= in_libc;
        if (!below || in_libc) continue;
        if (at.dli_sname == nullptr && file.empty()) file = std::string(basename(at.dli_fname));
        if (at.dli_sname == nullptr) continue;
        return (file.empty() ? "" : file + ", called by ") + demangled(at.dli_sname);
    }
    return file.empty() ? "an unknown place" : file;
}

int status_of_exception()
{
    try {
        throw;
    } catch (const std::bad_alloc &) {
        return VNTERR_NO_MEMORY;
    } catch (const std::length_error &) {
        return VNTERR_NOT_SUPPORTED;
    } catch (...) { // most often a CoinError, which is no std::exception
        return VNTERR_ENGINE;
    }
}

int run_caught(const std::function<void()> &work)
{
    try {
        work();
        return 0;
    } catch (...) {
        return status_of_exception();
    }
}

// The one frame that an abort comes back to.  Nothing in it changes between the two returns.
bool aborts(const std::function<void()> &work, int *status)
{
    sigjmp_buf here;
    if (sigsetjmp(here, 1) != 0) return true;
    target = &here;
    *status = run_caught(work);
    return false;
}

} // namespace

int guard_run(const std::function<void()> &work, std::string *cause)
{
    handler_use use;
    sigjmp_buf *outer = target; // a callback of a guarded solve may solve something itself
    int status = 0;
    bool aborted = aborts(work, &status);
    target = outer;
    cause->clear();
    if (!aborted) return status;
    *cause = culprit();
    return VNTERR_ENGINE;
}

guard_pause::guard_pause() : held(target)
{
    target = nullptr;
}

guard_pause::~guard_pause()
{
    target = held;
}

} // namespace vnt
