// Preloaded into a worker, a search engine that aborts in its first two searches, which are the two
// attempts of one solve, and linear algebra that aborts at its first use.

#include <cstdlib>
#include <dlfcn.h>

// Called by a pointer, so that no compiler moves the call out of its function.
static void (*volatile end)() = abort;

class CbcModel {
  public:
    [[gnu::visibility("default")]] void branchAndBound(int statistics);
};

void CbcModel::branchAndBound(int statistics)
{
    static int aborts = 2;
    if (aborts-- > 0) end();
    using real = void (*)(CbcModel *, int);
    void *found = dlsym(RTLD_NEXT, "_ZN8CbcModel14branchAndBoundEi");
    reinterpret_cast<real>(found)(this, statistics);
}

extern "C" [[gnu::visibility("default")]] void dmumps_c(void *problem)
{
    static int aborts = 1;
    if (aborts-- > 0) end();
    void *ipopt = dlopen("libipopt.so.1", RTLD_LAZY | RTLD_NOLOAD);
    reinterpret_cast<void (*)(void *)>(dlsym(ipopt, "dmumps_c"))(problem);
}
