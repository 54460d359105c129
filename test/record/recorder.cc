// recorder.cc: a solver that solves nothing.  Every function of the callable library notes in the
// file that VNT_RECORD_FILE names what it was called with, and fills its outputs with values that
// tell where they belong.

#include "remote/calls/solverfunctions.h"
#include "test/record/listing.h"

#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <unistd.h>

namespace vnt {

static void note(const std::string &text)
{
    const char *path = getenv("VNT_RECORD_FILE");
    int fd = path != nullptr ? open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600) : -1;
    if (fd < 0) return;
    std::string line = text + "\n";
    if (write(fd, line.data(), line.size()) < 0) abort();
    close(fd);
}

// The solver may write to all of the space, also behind the text: nothing of that may come back.
static void fill_text(const listed_function &f, size_t i, const call_value *args)
{
    std::string text = text_out(f, i);
    size_t space = static_cast<size_t>(listed_size(f, i, args));
    if (space > 0) memset(args[i].p, 'x', space);
    memcpy(args[i].p, text.c_str(), std::min(text.size() + 1, space));
}

// The names lie one behind the other in the store; those that do not fit stay null.
static void fill_names(const listed_function &f, size_t i, const call_value *args)
{
    char **names = static_cast<char **>(args[i].p);
    char *store = static_cast<char *>(args[i + 1].p);
    size_t left = static_cast<size_t>(listed_size(f, i + 1, args));
    if (store != nullptr) memset(store, 'x', left);
    for (int64_t k = 0; k < listed_size(f, i, args); k++) {
        std::string name = name_out(f, i, k);
        names[k] = nullptr;
        if (name_absent(k) || store == nullptr || name.size() + 1 > left) continue;
        names[k] = strcpy(store, name.c_str());
        store += name.size() + 1;
        left -= name.size() + 1;
    }
}

static void fill(const listed_function &f, size_t i, const call_value *args)
{
    const listed_parameter &p = f.parameters[i];
    if (p.type == "outfile") {
        if (recorded_status() == 0)
            std::ofstream(static_cast<const char *>(args[i].p)) << text_out(f, i);
        return;
    }
    if (p.type == "lp*" || p.type == "net*") *static_cast<void **>(args[i].p) = nullptr;
    if ((p.dir != OUT && p.dir != INOUT) || args[i].p == nullptr) return;
    if (p.type == "str") return fill_text(f, i, args);
    if (p.type == "char*[]") return fill_names(f, i, args);
    int64_t count = p.array() ? listed_size(f, i, args) : 1;
    for (int64_t k = 0; k < count; k++)
        store_value(p.element(), args[i].p, k, value_out(f, i, k));
}

static bool reduced(const listed_function &f, const call_value *args)
{
    int lp = f.find("lp");
    return lp >= 0 && args[lp].p == reinterpret_cast<void *>(RECORD_REDUCED);
}

static void give_result(const listed_function &f, const call_value *args, call_value *result)
{
    int64_t value = value_returned(f);
    if (f.function == "VNTLgetnumcols" && reduced(f, args)) value = recorded_size("rednumcols");
    if (f.function == "VNTLgetnumrows" && reduced(f, args)) value = recorded_size("rednumrows");
    *result = {};
    if (f.result == "status")
        result->i = recorded_status();
    else if (f.result == "out:double")
        result->d = static_cast<double>(value) + 0.25;
    else if (f.result == "out:long")
        result->l = value;
    else if (f.result == "handle:lp")
        result->p = reinterpret_cast<void *>(RECORD_LP);
    else if (f.result == "handle:net")
        result->p = reinterpret_cast<void *>(RECORD_NET);
    else
        result->i = static_cast<int>(value);
}

static void record_call(const solver_call *call, const call_value *args, call_value *result)
{
    const listed_function &f = listed(call->function);
    note(call_text(f, args));
    for (size_t i = 0; i < f.parameters.size(); i++)
        fill(f, i, args);
    give_result(f, args, result);
}

#define SOLVER_CALL(...) SOLVER_FUNCTION(record_call, __VA_ARGS__)
#include "remote/calls/solvercalls.def"

// The functions that have no request.

static int noted(const char *function)
{
    note(function);
    return 0;
}

VNT_ENTRY VNTENVptr VNTLopenVANTO(int *status_p)
{
    *status_p = noted(__func__);
    return reinterpret_cast<VNTENVptr>(RECORD_ENV);
}
VNT_ENTRY int VNTLcloseVANTO(VNTENVptr *env)
{
    *env = nullptr;
    return noted(__func__);
}
VNT_ENTRY int VNTLgetchannels(VNTENVptr, VNTCHANNELptr *results_p, VNTCHANNELptr *warning_p,
                              VNTCHANNELptr *error_p, VNTCHANNELptr *log_p)
{
    *results_p = *warning_p = *error_p = *log_p = nullptr;
    return noted(__func__);
}
VNT_ENTRY int VNTLversionnumber(VNTENVptr, int *version_p)
{
    *version_p = 4711;
    return noted(__func__);
}
VNT_ENTRY int VNTLgetredlp(VNTENVptr, VNTLPptr, VNTLPptr *redlp_p)
{
    *redlp_p = reinterpret_cast<VNTLPptr>(RECORD_REDUCED);
    return noted(__func__);
}

#define NOTED(function, ...)                                                                       \
    VNT_ENTRY int function(__VA_ARGS__)                                                            \
    {                                                                                              \
        return noted(#function);                                                                   \
    }
NOTED(VNTLaddfuncdest, VNTENVptr, VNTCHANNELptr, void *, void (*)(void *, const char *))
NOTED(VNTLEsetasyncterminate, VNTENVptr, volatile int *)
NOTED(VNTEsetterminatefunc, VNTENVptr, int (*)(VNTENVptr, void *), void *)
NOTED(VNTEsetpausecallbackfunc, VNTENVptr, int (*)(VNTENVptr, void *, uint64_t, void *), void *)
NOTED(VNTEgetasyncmipprogress, VNTENVptr, void *, int, vntmipprogress *, double)
NOTED(VNTEasyncprogressinject, VNTENVptr, void *, double, double, double)

} // namespace vnt
