#pragma once
// The process's monotonic clock on a host's virtual clock. The plug-in reads time from the
// process it runs in, never from the host table; a host that owns the process and plays time
// forward gives every reading of the monotonic clock in the process its own time, the plug-in's
// included. process_clock.cc defines clock_gettime for the whole executable that links it, and
// passes every other reading on to the system.

#include "core/host.h"

namespace Tavix::TestHost {

// From now on the monotonic clock reads `host`'s time, if `host` runs on the virtual clock;
// null gives the system clock back.
void FollowHostClock(const Host* host);

}  // namespace Tavix::TestHost
