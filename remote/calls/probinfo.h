// probinfo.h: the numbers that a PROBINFO request carries.
//
// Threads: any.

#pragma once

#include <cstdint>

namespace vnt {

// What is asked for; queries.def says what each is.
enum probinfo_selector : int32_t {
#define ANY_QUERY(name, selector) PROBINFO_##name = (selector),
#include "remote/calls/queries.def"
};

// The arguments of PROBINFO_CHANNELS, which are also its answers.
constexpr int64_t CHANNELS_ON = 0x1234;
constexpr int64_t CHANNELS_OFF = 0x2345;

} // namespace vnt
