#pragma once
// Releasing the module's own host values. The module frees what it hands to a host itself,
// through a response's release function or once the call has ended; a host has no use for this,
// and could not link it, so it stays out of the public header.

#include "arx/host_boundary.h"

namespace Tavix::Client {

// Frees what `value` owns, by its tag: borrowed strings and blobs (5, 7) are left alone, owned ones
// (6, 8) are released, collections and structures (9, 10) are released element by element and then
// their arrays, and owned keys of structure entries with them. Owned memory must come from the
// tracked allocator. Works without recursion, so any depth is safe. Leaves `value` zeroed, tag 0.
void ReleaseHostValue(HostValue& value);

}  // namespace Tavix::Client
