// network_words.h: the words of calls.h for networks.

#pragma once

#include "solver/calls/calls.h"

namespace vnt {

inline vntnet &network_of(vntenv &env, VNTNETptr net)
{
    return object_of(env.networks, net);
}

// Does `work` with the network.
template <class body> int with_network(VNTENVptr env, VNTNETptr net, const body &work,
                                       const char *call = __builtin_FUNCTION())
{
    return with_environment(
        env, [&](vntenv &e) { work(network_of(e, net)); }, call);
}

template <class body> auto network_count(VNTENVptr env, VNTNETptr net, const body &count)
{
    return count_of_object(env, &vntenv::networks, net, count);
}

} // namespace vnt
