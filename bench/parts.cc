// parts.cc: what the parts of a message cost in one process, by Google Benchmark.
//
// Encoding writes to /dev/null, beside a bare write of as many bytes.  Decoding reads what the
// stream has already read ahead, so that no system call is in it.
#include "remote/base/byteorder.h"
#include "remote/codec/codec.h"
#include "remote/stream/fdio.h"
#include "test/records.h"

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <string>
#include <unistd.h>
#include <vector>

using namespace vnt;

namespace {
// A codec of the solver's messages over a descriptor.
struct codec_end {
    int fd;
    stream *io = nullptr;
    codec *messages = nullptr;

    explicit codec_end(int descriptor) : fd(descriptor)
    {
        fdio_create(&io, fd, fd, 0, nullptr, nullptr);
        vntcodec_getfactory()->create(&messages, io, io);
    }
    ~codec_end()
    {
        messages->ops.destroy(messages);
        fdio_destroy(io);
        close(fd);
    }
    codec_end(const codec_end &) = delete;
    codec_end &operator=(const codec_end &) = delete;
};
} // namespace

// GETNUMROWS with an environment and a problem.
static record_holder small_request()
{
    static int8_t handle[16] = "an environment.";
    static message_chunk chunk = {sizeof handle, handle};
    record_holder record = record_make(catalogue_find(VNTMESSAGEID_GETNUMROWS_REQ), 0);
    auto *request = static_cast<vntmsg_GETNUMROWS_REQ *>(record.get());
    request->env = request->lp = {sizeof handle, TYPE_BYTE, 1, &chunk, {}};
    return record;
}

static std::string wire_of(const void *record)
{
    int fds[2];
    if (pipe2(fds, O_CLOEXEC) != 0) abort();
    char text[4096];
    codec_end sender(fds[1]);
    sender.messages->ops.sendmsg(sender.messages, record);
    std::string wire(text, static_cast<size_t>(read(fds[0], text, sizeof text)));
    close(fds[0]);
    return wire;
}

static int nowhere()
{
    return open("/dev/null", O_RDWR | O_CLOEXEC);
}

static void small_request_encoded(benchmark::State &state)
{
    codec_end end(nowhere());
    record_holder record = small_request();
    for (auto _ : state)
        end.messages->ops.sendmsg(end.messages, record.get());
}
BENCHMARK(small_request_encoded);

static void small_request_written_bare(benchmark::State &state)
{
    const int fd = nowhere();
    const std::string wire = wire_of(small_request().get());
    for (auto _ : state)
        benchmark::DoNotOptimize(write(fd, wire.data(), wire.size()));
    close(fd);
}
BENCHMARK(small_request_written_bare);

static void small_request_decoded(benchmark::State &state)
{
    codec_end end(nowhere());
    auto *f = static_cast<fdio *>(end.io);
    const std::string wire = wire_of(small_request().get());
    if (wire.size() > sizeof f->ahead) abort();
    for (auto _ : state) {
        memcpy(f->ahead, wire.data(), wire.size());
        f->preread = static_cast<int64_t>(wire.size());
        f->ahead_at = 0;
        void *record;
        if (end.messages->ops.recvmsg(end.messages, &record) != 0) abort();
        end.messages->ops.delmsg(end.messages, record);
    }
}
BENCHMARK(small_request_decoded);

static void every_message_encoded(benchmark::State &state)
{
    codec_end end(nowhere());
    std::vector<record_holder> records;
    for (const message_layout *m = catalogue_begin; m != catalogue_end; m++)
        if (m->id >= 1000) records.push_back(record_make(m, 0));
    for (auto _ : state)
        for (const record_holder &record : records)
            end.messages->ops.sendmsg(end.messages, record.get());
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(records.size()));
}
BENCHMARK(every_message_encoded);

// Blocks that fit into the second cache, and that fit into none.
static void sizes(benchmark::internal::Benchmark *b)
{
    b->Arg(256 << 10)->Arg(256 << 20);
}

template <size_t width> static void numbers_swapped(benchmark::State &state)
{
    std::vector<char> from(static_cast<size_t>(state.range(0)), 1), to(from.size());
    for (auto _ : state) {
        byteorder_swap(to.data(), from.data(), from.size() / width, width);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(numbers_swapped<4>)->Apply(sizes);
BENCHMARK(numbers_swapped<8>)->Apply(sizes);

static void bytes_copied(benchmark::State &state)
{
    std::vector<char> from(static_cast<size_t>(state.range(0)), 1), to(from.size());
    for (auto _ : state) {
        memcpy(to.data(), from.data(), from.size());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(bytes_copied)->Apply(sizes);

static void array_copied_and_released(benchmark::State &state)
{
    static double numbers[16];
    message_chunk chunk = {std::size(numbers), numbers};
    const message_array array = {std::size(numbers), TYPE_DOUBLE, 1, &chunk, {}};
    for (auto _ : state) {
        message_array copy;
        if (message_copy_array(&copy, &array) != 0) abort();
        message_uncopy_array(&copy);
    }
}
BENCHMARK(array_copied_and_released);

BENCHMARK_MAIN();
