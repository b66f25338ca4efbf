#pragma once
// Releases what a HostValue owns, by its tags, without recursion; leaves it zeroed with tag 0.

#include "frame/host_boundary.h"

namespace Tavix::Client::Internal {

void ReleaseOwnedHostValue(HostValue& value);

}  // namespace Tavix::Client::Internal
