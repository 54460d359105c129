#include "test/doubles/worker_double.h"

#include "remote/handler/async.h"
#include "remote/handler/child.h"
#include "remote/handler/handler.h"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <gtest/gtest.h>
#include <poll.h>
#include <sstream>
#include <unistd.h>

namespace vnt {

static constexpr int PATIENCE = 10000; // milliseconds

static bool readable(int fd, int milliseconds)
{
    pollfd p = {fd, POLLIN, 0};
    return TEMP_FAILURE_RETRY(poll(&p, 1, milliseconds)) == 1; // input in polling mode is a signal
}

// Messages as text.

static std::string render_bytes(const message_array &a)
{
    std::string text;
    for (uint32_t c = 0; c < a.nchunks; c++)
        text.append(static_cast<char *>(a.chunks[c].data), a.chunks[c].count);
    if (std::all_of(text.begin(), text.end(), [](unsigned char c) { return isprint(c) != 0; }))
        return text;
    std::string hex = "0x";
    for (unsigned char c : text)
        for (int half : {c >> 4, c & 15})
            hex += "0123456789abcdef"[half];
    return hex;
}

static double element(const message_array &a, uint32_t i)
{
    const char *at = static_cast<char *>(a.chunks[0].data) + i * message_element_size(a.type);
    switch (a.type) {
    case TYPE_SHORT: return field_at<int16_t>(at, 0);
    case TYPE_INT: return field_at<int32_t>(at, 0);
    case TYPE_LONG: return static_cast<double>(field_at<int64_t>(at, 0));
    default: return field_at<double>(at, 0);
    }
}

static std::string render_array(const message_array &a)
{
    if (a.type == TYPE_NONE) return "-";
    if (a.type == TYPE_BYTE) return render_bytes(a);
    std::ostringstream out;
    out.precision(17);
    for (uint32_t i = 0; i < a.total; i++)
        out << (i > 0 ? " " : "") << element(a, i);
    return '[' + out.str() + ']';
}

static std::string render_handle(const message_array &a)
{
    void *object = nullptr;
    if (handle_take(&a, &object) != 0) return "bad";
    if (object == double_env) return "env";
    return object == nullptr ? "-" : "object";
}

static std::string render_string(const message_string &s)
{
    return s.present == 0 ? "-" : '"' + std::string(s.data, s.length - 1) + '"';
}

static std::string render_error(int32_t status)
{
    switch (status) {
    case VNTERR_NO_MEMORY: return "NO_MEMORY";
    case VNTERR_BAD_ARGUMENT: return "BAD_ARGUMENT";
    case VNTERR_UNKNOWN_CALL: return "UNKNOWN_CALL";
    default: return std::to_string(status);
    }
}

static std::string render_int(const std::string &name, int32_t value)
{
    if (name == "status") return render_error(value);
    const message_layout *about = name == "message" ? catalogue_find(value) : nullptr;
    return about != nullptr ? about->name : std::to_string(value);
}

static std::string render_field(const void *record, const message_field &field)
{
    switch (field.kind) {
    case KIND_INT: return render_int(field.name, field_at<int32_t>(record, field.offset));
    case KIND_LONG: return std::to_string(field_at<int64_t>(record, field.offset));
    case KIND_HANDLE: return render_handle(field_at<message_array>(record, field.offset));
    case KIND_ARRAY: return render_array(field_at<message_array>(record, field.offset));
    case KIND_STRING: return render_string(field_at<message_string>(record, field.offset));
    default: return "?";
    }
}

static std::string render(const void *record)
{
    const message_layout *layout = catalogue_find(message_id(record));
    std::string text = layout->name;
    for (const message_field *field = layout->fields; field->kind != KIND_END; field++)
        text += " " + render_field(record, *field);
    return text;
}

namespace {

// A message made of text, and the memory that its arrays lie in.
struct spoken {
    explicit spoken(const std::string &text);
    void *record() { return block.data(); }

  private:
    void fill(const message_field &field, const std::string &word);
    void fill_handle(message_array *a, const std::string &word);
    void fill_bytes(message_array *a, const std::string &word);
    std::vector<char> block;
    std::vector<std::unique_ptr<std::string>> texts;
    std::vector<message_chunk> chunks;
    char handles[3][16];
    int nhandles = 0;
    char malformed[17] = {};
};

spoken::spoken(const std::string &text)
{
    std::istringstream words(text);
    std::string word;
    words >> word;
    const message_layout *layout = catalogue_begin;
    while (word != layout->name)
        layout++;
    block.resize(layout->size);
    field_at<uint32_t>(record(), sizeof(void *)) = layout->id;
    for (const message_field *field = layout->fields; field->kind != KIND_END; field++) {
        words >> word;
        fill(*field, word);
    }
}

void spoken::fill(const message_field &field, const std::string &word)
{
    switch (field.kind) {
    case KIND_INT: field_at<int32_t>(record(), field.offset) = atoi(word.c_str()); break;
    case KIND_LONG: field_at<int64_t>(record(), field.offset) = atoll(word.c_str()); break;
    case KIND_DOUBLE: field_at<double>(record(), field.offset) = atof(word.c_str()); break;
    case KIND_HANDLE: fill_handle(&field_at<message_array>(record(), field.offset), word); break;
    default: fill_bytes(&field_at<message_array>(record(), field.offset), word);
    }
}

void spoken::fill_handle(message_array *a, const std::string &word)
{
    const void *object = word == "env"   ? static_cast<void *>(double_env)
                         : word == "lp"  ? static_cast<void *>(double_lp)
                         : word == "net" ? static_cast<void *>(double_net)
                                         : nullptr;
    handle_put(a, handles[nhandles++], object);
    if (word == "bad") message_set_bytearray(a, sizeof malformed, malformed);
}

void spoken::fill_bytes(message_array *a, const std::string &word)
{
    if (word == "-") return;
    std::istringstream pieces(word);
    std::string piece;
    while (std::getline(pieces, piece, '|')) {
        texts.push_back(std::make_unique<std::string>(piece));
        chunks.push_back({static_cast<uint32_t>(piece.size()), texts.back()->data()});
        a->total += static_cast<int64_t>(piece.size());
    }
    a->type = TYPE_BYTE;
    a->nchunks = static_cast<uint32_t>(chunks.size());
    a->chunks = chunks.data();
}

} // namespace

// The worker.

static worker_child child;

// The system's thread that waits for timers comes with the first and stays.  No test shall be
// blamed for it.
static const bool timers_started = [] {
    sigevent event = {};
    event.sigev_notify = SIGEV_THREAD;
    event.sigev_notify_function = [](sigval) {};
    timer_t timer;
    return timer_create(CLOCK_REALTIME, &event, &timer) == 0 && timer_delete(timer) == 0;
}();

static transport *connect(int infd, int outfd, bool nothreads)
{
    const std::string in = "-infd=" + std::to_string(infd);
    const std::string out = "-outfd=" + std::to_string(outfd);
    const char *argv[] = {in.c_str(), out.c_str(), "-nothreads"};
    const codec_factory *const codecs[] = {builtin_getfactory(), vntcodec_getfactory()};
    transport *t = nullptr;
    EXPECT_EQ(fdtransport_create(&t, 2, codecs, nothreads ? 3 : 2, argv), 0);
    return t;
}

worker_double::worker_double(bool nothreads)
{
    EXPECT_TRUE(timers_started);
    solver_reset();
    int pipes[4][2];
    for (auto &ends : pipes)
        EXPECT_EQ(pipe(ends), 0);
    worker_end = connect(pipes[0][0], pipes[1][1], nothreads);
    client_end = connect(pipes[1][0], pipes[0][1], false);
    status_fd = pipes[2][0];
    control_fd = pipes[3][1];
    child = {pipes[0][0], pipes[1][1], pipes[2][1], pipes[3][0], 4711};
    workerchild = &child;
    descriptors = {pipes[2][0], pipes[2][1], pipes[3][0], pipes[3][1]};
    EXPECT_EQ(vntmsg_getfactory()->create(&h, worker_end), 0);
    EXPECT_EQ(async_setup(h), 0);
    mainthread = std::thread(&worker_double::loop, this);
}

worker_double::~worker_double()
{
    say("TERMINATE");
    mainthread.join();
    async_teardown();
    h->ops.destroy(h);
    worker_end->ops.destroy(worker_end);
    client_end->ops.destroy(client_end);
    for (int fd : descriptors)
        close(fd);
    workerchild = nullptr;
}

// The worker's main loop.
void worker_double::loop()
{
    while (request_serve(worker_end, h, nullptr)) {
    }
}

void worker_double::say(const std::string &message)
{
    spoken words(message);
    EXPECT_EQ(client_end->ops.sendmsg(client_end, words.record()), 0);
}

std::string worker_double::hear()
{
    void *message = nullptr;
    if (!readable(client_end->infd, PATIENCE)) return "nothing";
    EXPECT_EQ(client_end->ops.recvmsg(client_end, &message), 0);
    return render(message);
}

std::string worker_double::ask(const std::string &message)
{
    say(message);
    return hear();
}

bool worker_double::silent()
{
    return !readable(client_end->infd, 0);
}

bool worker_double::wait(const std::string &question, const std::string &answer)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(PATIENCE);
    while (ask(question) != answer)
        if (std::chrono::steady_clock::now() > end) return false;
    return true;
}

std::string worker_double::start(int steps)
{
    solver.steps = steps;
    return ask("MIPOPT_REQ 1 env lp");
}

std::string worker_double::fetch()
{
    return ask("GETRES 0 0");
}

int32_t worker_double::parked()
{
    int32_t id = 0;
    if (!readable(status_fd, PATIENCE)) return -1;
    EXPECT_EQ(read(status_fd, &id, sizeof id), 4);
    return id;
}

void worker_double::release(int32_t word)
{
    EXPECT_EQ(write(control_fd, &word, sizeof word), 4);
}

} // namespace vnt
