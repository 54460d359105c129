// sanitizer.h: whether the build has a sanitizer, which needs larger stacks and more time, and
// stands between a program and the loader and allocator.

#pragma once

namespace vnt {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool SANITIZED = true;
#else
constexpr bool SANITIZED = false;
#endif

} // namespace vnt
