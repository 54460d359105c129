#include "remote/worker/worker.h"

#include "remote/base/io.h"
#include "remote/base/log.h"
#include "remote/handler/async.h"
#include "remote/transport/handshake.h"
#include "remote/worker/userfunctions.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sched.h>
#include <sys/prctl.h>

namespace vnt {

namespace {
// What the worker uses while it serves.
struct worker_context {
    handler *h;
    transport *io;
    library **libraries; // one slot for each argument, filled from the first; null without any
};

struct worker_options {
    bool nothreads;
    char *program; // the folder of the program, searched last
    const char **directories;
    int ndirectories;
};
} // namespace

// The text behind the name of an option; null for another argument.
static const char *option_value(const char *argument, const char *name)
{
    size_t length = strlen(name);
    return strncmp(argument, name, length) == 0 ? argument + length : nullptr;
}

// The client gets its answer before anything else can fail here: what fails later, it sees as the
// connection's end.
static void greet(const worker_child *child)
{
    handshake_answer greeting;
    size_t n = handshake_answer_put(greeting, HANDSHAKE_OK, child->id);
    if (io_write_all(child->outfd, greeting, n, -1, CLOCK_NEVER) != 0)
        log_fatal("Failed to greet the client: %s\n", strerror(errno));
    sched_yield(); // on a busy machine the pump sends it on before the worker prepares itself
}

static void check_arguments(worker_options *o, int argc, char **argv)
{
    for (int i = 1; i < argc; i++) {
        if (strcmp(argv[i], "-nothreads") == 0)
            o->nothreads = true;
        else if (option_value(argv[i], "-libpath=") == nullptr &&
                 option_value(argv[i], "-userfunction=") == nullptr)
            log_fatal("Unknown argument '%s' (try -help)\n", argv[i]);
    }
}

// The folder of a program, or its name if that has no folder.  Null when memory fails.
static char *folder(const char *program)
{
    char *copy = strdup(program);
    if (copy == nullptr) return nullptr;
    char *end = strrchr(copy, '/');
    if (end == nullptr) end = strrchr(copy, '\\');
    if (end != nullptr) *end = '\0';
    return copy;
}

static void make_search_path(worker_options *o, int argc, char **argv)
{
    o->directories = static_cast<const char **>(calloc(argc + 1, sizeof(char *)));
    if (o->directories == nullptr) log_fatal("Out of memory\n");
    for (int i = 1; i < argc; i++) {
        const char *directory = option_value(argv[i], "-libpath=");
        if (directory != nullptr) o->directories[o->ndirectories++] = directory;
    }
    o->directories[o->ndirectories++] = ".";
    o->program = folder(argv[0]);
    if (o->program != nullptr) o->directories[o->ndirectories++] = o->program;
}

// The transport takes the descriptors.
static transport *make_transport(worker_child *child, bool nothreads)
{
    char infd[32], outfd[32];
    snprintf(infd, sizeof infd, "-infd=%d", child->infd);
    snprintf(outfd, sizeof outfd, "-outfd=%d", child->outfd);
    const char *argv[] = {infd, outfd, "-nothreads"};
    int argc = nothreads ? 3 : 2;
    log_line(LOG_DEBUG, "Creating transport:\n");
    for (int i = 0; i < argc; i++)
        log_line(LOG_DEBUG, "\t'%s'\n", argv[i]);

    // In this order: the transport asks the codecs in theirs.
    const codec_factory *factories[] = {builtin_getfactory(), vntcodec_getfactory()};
    transport *t;
    int rc = fdtransport_create(&t, 2, factories, argc, argv);
    if (rc != 0) log_fatal("Failed to create transport: %d\n", rc);
    child->infd = child->outfd = -1;
    return t;
}

static handler *make_handler(transport *t)
{
    const handler_factory *factory = vntmsg_getfactory();
    if (factory == nullptr) log_fatal("Failed to load handler factory.\n");
    handler *h;
    int rc = factory->create(&h, t);
    if (rc != 0) log_fatal("Failed to create handler: %d\n", rc);
    return h;
}

static void load_libraries(worker_context *w, const worker_options *o, int argc, char **argv)
{
    if (argc <= 1) return;
    w->libraries = static_cast<library **>(calloc(argc - 1, sizeof(library *)));
    if (w->libraries == nullptr) log_fatal("Out of memory!\n");
    search_path path = {o->directories, o->ndirectories};
    int rc = loaduserfunctions(w->libraries, argc - 1, argv + 1, path, w->h);
    if (rc != 0) log_fatal("Failed to load user function: %d\n", rc);
}

// Appends the request's id to the process's name, for ps, and for the server's log when the worker
// ends unexpectedly.
static void show_request(uint32_t id)
{
    static char name[16]; // the system's limit
    static int length;
    if (length == 0 && prctl(PR_GET_NAME, name) == 0)
        length = static_cast<int>(std::min<size_t>(strlen(name), 10));
    snprintf(name + length, sizeof name - length, " %u", id);
    prctl(PR_SET_NAME, name);
}

// Serves requests until the client ends the worker.
static void serve(worker_context *w)
{
    static int32_t termcount; // terminate messages in a row
    for (;;) {
        if (request_serve(w->io, w->h, show_request)) {
            termcount = 0;
            continue;
        }
        // It is meant that the first one ends the loop: clients say it once and then wait.
        if (++termcount > 0) return;
    }
}

static void end(worker_context *w, const worker_child *child)
{
    async_teardown();
    log_line(LOG_DEBUG, "Terminating ...\n");
    child_report(child, 0); // a server that has ended needs no report
    log_line(LOG_DEBUG, "Destroying messages.handler %p ... ", static_cast<void *>(w->h));
    w->h->ops.destroy(w->h);
    log_line(LOG_DEBUG, "ok.\n");
    log_line(LOG_DEBUG, "Destroying transport %p ... ", static_cast<void *>(w->io));
    w->io->ops.destroy(w->io);
    log_line(LOG_DEBUG, "ok.\n");
    log_line(LOG_DEBUG, "Graceful worker shutdown.\n");
}

static void release(worker_context *w, worker_options *o, int argc)
{
    for (int i = 0; w->libraries != nullptr && i < argc - 1; i++)
        library_close(w->libraries[i]);
    free(w->libraries);
    free(o->program);
    free(o->directories);
}

void tcpipworker(worker_child *child, int argc, char **argv)
{
    worker_options options = {};
    worker_context context = {};
    workerchild = child;
    greet(child);
    check_arguments(&options, argc, argv);
    make_search_path(&options, argc, argv);
    context.io = make_transport(child, options.nothreads);
    context.h = make_handler(context.io);
    load_libraries(&context, &options, argc, argv);
    log_line(LOG_DEBUG, "Starting main loop.\n");
    int rc = async_setup(context.h);
    if (rc != 0) log_fatal("Failed to initialize mutex: %d\n", rc);
    serve(&context);
    end(&context, child);
    release(&context, &options, argc);
}

} // namespace vnt
