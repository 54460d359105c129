// group.h: carries out a call on many workers.
//
// Ownership: the caller owns the group, and still owns the environments in it.
//
// Threads: one at a time uses the group and all of its environments.

#pragma once

#include "client/environment.h"

namespace vnt {

// Carries out the call on all members of the leader's group and returns the leader's response.
int client_group_exchange(client_env *e, void *request, uint32_t response_id,
                          const void **response);

// Removes an environment that is lost, away or closed from its group.
void client_group_leave(client_env *e);

} // namespace vnt
