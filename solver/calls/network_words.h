// network_words.h: the words of calls.h for networks.

#pragma once

#include "solver/calls/calls.h"

namespace vnt {

// The environment's network at that address.
inline vntnet &network_of(vntenv &env, VNTNETptr net)
{
    auto found = env.networks.find(net);
    require(found != env.networks.end(), VNTERR_NO_PROBLEM);
    return *found->second;
}

// Does `work` with the network.
template <class body> int with_network(VNTENVptr env, VNTNETptr net, const body &work,
                                       const char *call = __builtin_FUNCTION())
{
    return with_environment(
        env, [&](vntenv &e) { work(network_of(e, net)); }, call);
}

// What `count` tells of the network, 0 when there is none.
template <class body> auto network_count(VNTENVptr env, VNTNETptr net, const body &count)
{
    decltype(count(std::declval<vntnet &>())) result{};
    int rc = with_environment(env, [&](vntenv &e) {
        auto found = e.networks.find(net);
        if (found != e.networks.end()) result = count(*found->second);
    });
    return rc == 0 ? result : decltype(result){};
}

} // namespace vnt
