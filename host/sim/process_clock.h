#pragma once
// The process's monotonic clock on a host's virtual clock. The plug-in reads time from the
// process it runs in, never from the host table; a host that owns the process and plays time
// forward gives every reading of the monotonic clock on the host's thread its own time, the
// plug-in's included. process_clock.cc defines clock_gettime for the whole executable that links
// it, and passes every other reading on to the system.

#include "core/host.h"

namespace Tavix::TestHost {

// From now on the monotonic clock of the calling thread reads `host`'s time, if `host` runs on the
// virtual clock; null gives the system clock back. The thread is the one that runs the host's
// turns; every other thread keeps the system's clock.
void FollowHostClock(const Host* host);

}  // namespace Tavix::TestHost
