#pragma once
// Service proxy messages relayed by the host: an answer is kept until the request it answers is
// registered, and async messages go to the handler of their service and method. All three tables
// are guarded by AppClient::serviceProxyLock, which is held while a request's function or an
// async handler runs.

#include <cstddef>

#include "frame/app_client.h"

namespace Tavix::Client {

// Responses that no request claims are kept up to this many distinct keys; past it the oldest
// arrival is dropped, so a flood of unclaimed uuids cannot grow the module without bound.
inline constexpr std::size_t kServiceProxyResponseCap = 256;

}  // namespace Tavix::Client
