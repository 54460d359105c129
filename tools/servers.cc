#include "tools/servers.h"

#include "remote/base/pool.h"
#include "tools/exits.h"

#include <algorithm>
#include <sched.h>
#include <set>
#include <sys/stat.h>

namespace vnt {

using std::chrono::steady_clock;

static constexpr auto absence = std::chrono::seconds(5); // between two looks for a server

static std::vector<std::string> pool_addresses(const std::string &file)
{
    struct pool p;
    char wrong[1024];
    if (!pool_read(&p, file.c_str(), wrong, sizeof wrong)) throw failure{EXIT_UNREADABLE, wrong};
    std::vector<std::string> addresses(p.addresses, p.addresses + p.count);
    pool_release(&p);
    return addresses;
}

static struct timespec file_changed(const std::string &file)
{
    struct stat there;
    return stat(file.c_str(), &there) == 0 ? there.st_mtim : timespec{};
}

servers::servers(const std::string &where)
{
    if (const char *file = pool_file(where.c_str())) {
        pool = file;
        changed = file_changed(pool);
    }
    name(pool.empty() ? std::vector{where} : pool_addresses(pool));
}

void servers::name(const std::vector<std::string> &addresses)
{
    std::set<std::string> fresh(addresses.begin(), addresses.end());
    for (sweep_server &server : all)
        server.named = fresh.erase(server.address) > 0;
    for (const std::string &address : fresh)
        all.push_back({.address = address});
}

void servers::refresh()
{
    if (pool.empty()) return;
    const struct timespec now = file_changed(pool);
    if (now.tv_sec == changed.tv_sec && now.tv_nsec == changed.tv_nsec) return;
    changed = now;
    try {
        name(pool_addresses(pool));
    } catch (const failure &) {
        // The servers that were named last may still be there.
    }
}

sweep_server *servers::choose(const std::string &avoid)
{
    auto cost = [&](const sweep_server &s) { return std::pair(s.address == avoid, s.running); };
    sweep_server *best = nullptr;
    for (sweep_server &s : all)
        if (s.named && s.up && (best == nullptr || cost(s) < cost(*best))) best = &s;
    return best;
}

sweep_server *servers::missing()
{
    for (sweep_server &s : all)
        if (s.named && !s.up && !s.looking && steady_clock::now() >= s.next) return &s;
    return nullptr;
}

void servers::lost(sweep_server *server)
{
    server->up = false;
    server->next = steady_clock::now() + absence;
}

static int own_cores()
{
    cpu_set_t set;
    return sched_getaffinity(0, sizeof set, &set) == 0 ? std::max(1, CPU_COUNT(&set)) : 1;
}

static bool is_local(const std::string &address)
{
    return address.empty() || address_path(address.c_str()) != nullptr ||
           address.starts_with("127.") || address.starts_with("localhost") ||
           address.starts_with("[::1]");
}

int servers::cores() const
{
    std::set<std::string> machines;
    for (const sweep_server &s : all)
        machines.insert(is_local(s.address) ? "" : s.address.substr(0, s.address.rfind(':')));
    return static_cast<int>(machines.size()) * own_cores();
}

} // namespace vnt
