// flags.h: the bits of the flags that head every request; docs/protocol.md lists them.
//
// Threads: any.

#pragma once

#include <cstdint>

namespace vnt {

constexpr int32_t FLAG_ASYNCHRONOUS = 1; // answer with an ACK and run the call in the background
constexpr int32_t FLAG_USEDEFAULTS = 2;  // a null environment or problem means the worker's own

} // namespace vnt
