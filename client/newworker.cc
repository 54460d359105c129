#include "client/newworker.h"

#include "client/connection.h"
#include "remote/base/clock.h"
#include "remote/base/environment.h"
#include "remote/base/pool.h"

#include <cerrno>
#include <cstdio>
#include <sys/random.h>

namespace vnt {

namespace {
// Where the connection and its server's address go.
struct connected {
    transport **io;
    char *place;
    size_t size;
};
} // namespace

// Returns what the transport's connect returns.  The place is known in any case.
static int server_try(const connected &to, int argc, const char *const *argv)
{
    const tcpip_factory *factory = tcpiptransport_getfactory();
    int created;
    factory->place(to.place, to.size, argc, argv);
    errno = 0;
    return factory->connect_within(to.io, &created, CLIENT_NCODECS, client_codecs(), argc, argv,
                                   client_connect_timeout);
}

// Whether the next server of a pool may do better.
static bool is_unwilling(int rc)
{
    return rc > 0 || rc == MESSAGE_NOCONNECTION || rc == MESSAGE_IO;
}

static size_t any_below(size_t count)
{
    size_t number = 0;
    if (getrandom(&number, sizeof number, GRND_NONBLOCK) < 0)
        number = static_cast<size_t>(clock_now());
    return number % count;
}

static int pool_try(const connected &to, const pool &p, const char *const option)
{
    int rc = MESSAGE_NOCONNECTION;
    const size_t first = any_below(p.count);
    for (size_t i = 0; i < p.count && is_unwilling(rc); i++) {
        char address[ADDRESS_MAX + 16];
        snprintf(address, sizeof address, "-address=%s", p.addresses[(first + i) % p.count]);
        const char *argv[] = {address, option};
        rc = server_try(to, option != nullptr ? 2 : 1, argv);
    }
    return rc;
}

static int pool_create(const connected &to, const char *file, const char *option)
{
    pool p;
    char text[400];
    if (!pool_read(&p, file, text, sizeof text))
        return client_fail(VNTERR_BAD_ARGUMENT, "%s", text);
    const int rc = pool_try(to, p, option);
    pool_release(&p);
    if (rc == 0) return 0;
    const int status = client_connect_fail(rc, to.place);
    snprintf(text, sizeof text, "%s", vntclient_errortext());
    return client_fail(status, "no server of the pool %s makes a worker; the last one: %s", file,
                       text);
}

// The pool that the arguments name, null for none; `option` becomes "-nothreads" if that is there.
// Returns false if there is something else beside a pool.
static bool pool_find(int argc, const char *const *argv, const char **file, const char **option)
{
    bool other = false;
    if (argc == -2) *file = pool_file(environment_host(""));
    for (int i = 0; i < argc; i++) {
        if (strncmp(argv[i], "-address=@", 10) == 0 && *file == nullptr)
            *file = argv[i] + 10;
        else if (strcmp(argv[i], "-nothreads") == 0)
            *option = argv[i];
        else
            other = true;
    }
    return *file == nullptr || !other;
}

int client_worker_create(transport **io, char *place, size_t size, int argc,
                         const char *const *argv)
{
    const connected to = {io, place, size};
    const char *file = nullptr, *option = nullptr;
    if (!pool_find(argc, argv, &file, &option))
        return client_fail(VNTERR_BAD_ARGUMENT, "beside -address=@%s only -nothreads may stand",
                           file);
    if (file != nullptr) return pool_create(to, file, option);
    const int rc = server_try(to, argc, argv);
    return rc == 0 ? 0 : client_connect_fail(rc, place);
}

} // namespace vnt
