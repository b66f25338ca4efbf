#pragma once
// Releasing the module's own host values. A host never frees the module's values this way: what
// the module hands over it frees itself, through a response's release function or when the call
// ends, so this stays out of the public header.

#include "frame/host_boundary.h"

namespace Tavix::Client {

// Frees what `value` owns, by its tag: borrowed strings and blobs (5, 7) are left alone, owned ones
// (6, 8) are released, collections and structures (9, 10) are released element by element and then
// their arrays, and owned keys of structure entries with them. Owned memory must come from the
// tracked allocator. Works without recursion, so any depth is safe. Leaves `value` zeroed, tag 0.
void ReleaseHostValue(HostValue& value);

}  // namespace Tavix::Client
