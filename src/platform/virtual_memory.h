#pragma once

#include <cstddef>

namespace Tavix::Platform {

// Size and alignment of one region handed out by MapAlignedRegion.
inline constexpr std::size_t kRegionSize = 0x10000;

// How many returned regions this layer keeps mapped for the next request, instead of handing
// them to the kernel at once: 4 MiB. A value tree that is built and dropped on every request
// would otherwise map, fault in and unmap its regions each time (a 1 MB document holds about 30);
// past this many, regions go back to the kernel as they are returned.
inline constexpr std::size_t kRetainedRegions = 64;

// Maps kRegionSize bytes of readable and writable memory whose address is a multiple of
// kRegionSize. A region fresh from the kernel is zeroed; a retained one keeps the bytes its last
// user left. Returns null when the system refuses the mapping.
void* MapAlignedRegion();

// Gives a region from MapAlignedRegion back. A null region is ignored.
void UnmapRegion(void* region);

// Returns every retained region to the kernel.
void ReleaseRetainedRegions();

// How many returned regions are kept mapped right now.
std::size_t RetainedRegionCount();

}  // namespace Tavix::Platform
