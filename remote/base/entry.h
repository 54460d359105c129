// entry.h: marks the definition of an exported function.
//
// Its declaration is in a header of include/.  Everything else lives in namespace vnt, where a
// definition would neither have C linkage nor be visible by itself.

#pragma once

#define VNT_ENTRY extern "C" [[gnu::visibility("default")]]
