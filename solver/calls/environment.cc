#include "solver/calls/environment.h"

namespace vnt {

// Both are left to the system at exit: a thread may still be in a call then.
static std::mutex &registry_lock = *new std::mutex;
static auto &registry = *new std::unordered_map<const vntenv *, std::shared_ptr<vntenv>>;

vntenv *environment_open()
{
    auto env = std::make_shared<vntenv>();
    std::lock_guard hold(registry_lock);
    registry.emplace(env.get(), env);
    return env.get();
}

std::shared_ptr<vntenv> environment_find(const vntenv *env)
{
    std::lock_guard hold(registry_lock);
    auto found = registry.find(env);
    return found == registry.end() ? nullptr : found->second;
}

void environment_close(const vntenv *env)
{
    std::lock_guard hold(registry_lock);
    registry.erase(env);
}

} // namespace vnt

void vntenv::say(vnt::channel_number channel, const std::string &text)
{
    if (parameters.get_int(VNT_PARAM_MESSAGES) == 0) return;
    // By index: a receiver may add destinations.
    auto &destinations = channels[channel].destinations;
    for (size_t i = 0; i < destinations.size(); i++) {
        destinations[i].msgfunc(destinations[i].handle, text.c_str());
    }
    if (log != nullptr) {
        fputs(text.c_str(), log.get());
        fflush(log.get());
    }
}
