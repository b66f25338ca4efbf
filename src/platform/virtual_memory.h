#pragma once

#include <cstddef>

namespace Tavix::Platform {

// Size and alignment of one region handed out by MapAlignedRegion.
inline constexpr std::size_t kRegionSize = 0x10000;

// Maps kRegionSize bytes of zeroed, readable and writable memory whose address is a multiple of
// kRegionSize. Returns null when the system refuses the mapping.
void* MapAlignedRegion();

// Gives a region from MapAlignedRegion back to the system. A null region is ignored.
void UnmapRegion(void* region);

}  // namespace Tavix::Platform
