// answers_fuzz.cc: any bytes as what a worker answers to the solver's calls.

#include "client/call.h"
#include "client/connection.h"

#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

namespace vnt {

static int end(transport *io, void *)
{
    return io->ops.destroy(io);
}

// A worker that has said all it will say.
static transport *worker_of(uint32_t response, const uint8_t *data, size_t size)
{
    int in = memfd_create("answers", MFD_CLOEXEC), out = open("/dev/null", O_WRONLY | O_CLOEXEC);
    const uint32_t id = __builtin_bswap32(response);
    if (response != 0 && write(in, &id, sizeof id) != sizeof id) return nullptr;
    if (write(in, data, size) != static_cast<ssize_t>(size)) return nullptr;
    lseek(in, 0, SEEK_SET);
    const std::string infd = "-infd=" + std::to_string(in), outfd = "-outfd=" + std::to_string(out);
    const char *argv[] = {infd.c_str(), outfd.c_str(), "-nothreads"};
    transport *io = nullptr;
    if (fdtransport_create(&io, CLIENT_NCODECS, client_codecs(), 3, argv) != 0) return nullptr;
    io->ops.disconnect = end;
    return io;
}

// What a pointer of the caller's leads to: room for more than all the answers together can hold,
// zeros where the call reads.
struct memory {
    void *objects[1];
    char *names[16384];
    alignas(8) char room[65536];
};

// An array of the caller's that is as long as a number that the worker tells: the caller must
// believe that number.
static bool trusts_worker(const call_argument &arg)
{
    if (arg.word != CALL_IN && arg.word != CALL_INOUT && arg.word != CALL_NAMES) return false;
    return arg.size.terms[0].kind == call_term::QUERY || arg.size.terms[1].kind == call_term::QUERY;
}

static call_value value_of(const call_argument &arg, client_env *e, void *object, memory *m)
{
    call_value v{};
    if (trusts_worker(arg)) return v;
    switch (arg.word) {
    case CALL_ENV: v.p = e->handle; break;
    case CALL_LP:
    case CALL_NET: v.p = object; break;
    case CALL_LP_BY_ADDRESS:
    case CALL_NET_BY_ADDRESS:
        m->objects[0] = object;
        v.p = m->objects;
        break;
    case CALL_VALUE:
        if (arg.type == TYPE_DOUBLE) v.d = 1;
        if (arg.type == TYPE_LONG) v.l = 2;
        if (arg.type != TYPE_DOUBLE && arg.type != TYPE_LONG) v.i = 2;
        break;
    case CALL_INDEX: break;
    case CALL_STRING:
    case CALL_OUTFILE: v.p = const_cast<char *>("/nowhere/at all"); break;
    case CALL_INFILE:
    case CALL_INFILE_CONTENTS: v.p = const_cast<char *>("contents"); break;
    case CALL_INFILE_LENGTH: v.l = 8; break;
    case CALL_NAMES:
    case CALL_OUTNAMES:
        m->room[0] = '\0';
        for (char *&name : m->names)
            name = m->room;
        v.p = m->names;
        break;
    case CALL_IN:
    case CALL_INOUT: memset(m->room, 0, sizeof m->room); [[fallthrough]];
    default: v.p = m->room; break;
    }
    return v;
}

static void call(const solver_call &row, client_env *e, void *object)
{
    static memory each[SOLVERCALL_MAXARGS];
    call_value args[SOLVERCALL_MAXARGS], result;
    for (int i = 0; i < row.nargs; i++)
        args[i] = value_of(row.args[i], e, object, &each[i]);
    call_remote(&row, args, &result);
}

static void *object_of(const solver_call &row, client_env *e)
{
    for (int i = 0; i < row.nargs; i++)
        if (row.args[i].word == CALL_NET || row.args[i].word == CALL_NET_BY_ADDRESS)
            return client_net_add(e, 2);
    return client_lp_add(e, 2);
}

// The first two bytes choose the call, the third what of the answer is right from the start: its
// id, or nothing.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 3) return 0;
    const solver_call &row = solvercalls[(data[0] << 8 | data[1]) % SOLVERCALL_COUNT];
    transport *io = worker_of(data[2] & 1 ? row.response : 0, data + 3, size - 3);
    client_env *e = io != nullptr ? client_env_create(io) : nullptr;
    if (e == nullptr) return -1;
    e->remote = 1;
    call(row, e, object_of(row, e));
    client_env_destroy(e);
    return 0;
}

} // namespace vnt
