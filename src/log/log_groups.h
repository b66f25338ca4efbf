#pragma once

#include <cstddef>
#include <cstdint>

namespace Tavix::Client {

// One bit per group of messages; a message usually carries one group.
using LogGroupMask = std::uint64_t;

inline constexpr LogGroupMask kLogGroupDbg = LogGroupMask{1} << 0;
inline constexpr LogGroupMask kLogGroupGen = LogGroupMask{1} << 1;
inline constexpr LogGroupMask kLogGroupXtr = LogGroupMask{1} << 2;
inline constexpr LogGroupMask kLogGroupPrf = LogGroupMask{1} << 3;
inline constexpr LogGroupMask kLogGroupMem = LogGroupMask{1} << 4;
inline constexpr LogGroupMask kLogGroupDsk = LogGroupMask{1} << 5;
inline constexpr LogGroupMask kLogGroupNet = LogGroupMask{1} << 6;
inline constexpr LogGroupMask kLogGroupTst = LogGroupMask{1} << 7;
// Registered as the library loads, always the first group after the fixed eight.
inline constexpr LogGroupMask kLogGroupLoc = LogGroupMask{1} << 8;

inline constexpr std::size_t kLogGroupCapacity = 64;

// Gives in `*mask` the bit of the group named by the first three characters of `name` (exact,
// case-sensitive), registering the name at the next free place when it is new. When all 64
// places are taken, or `name` is null, `*mask` becomes 0: such messages then carry no group and
// pass every group filter, so nothing is lost.
void RegisterGroup(LogGroupMask* mask, const char* name);

// Writes the names of the bits set in `mask`, lowest first, joined by ';', cut to what `buffer`
// holds and NUL-terminated. A place never registered reads "???". A mask of 0 gives the empty
// text. Returns the number of characters stored before the NUL.
std::size_t GroupNames(char* buffer, std::size_t size, LogGroupMask mask);

}  // namespace Tavix::Client
