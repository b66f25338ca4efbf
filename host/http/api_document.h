#pragma once
// The API document the front serves at /openapi.json: the module's own OpenAPI document with the
// paths the front serves beside the module's functions (the event stream, the list of host
// actions and each action), so that a UI developer finds all of them in one place.

#include <string>
#include <vector>

#include "http/host_action.h"

namespace Tavix::TestHost {

struct ApiDocument {
    std::string json;
    // Set when the module's document was not a JSON object; `json` is empty then.
    std::string error;
};

// The module's document with the front's paths added; a path the module serves itself keeps the
// module's description.
ApiDocument WithFrontPaths(const std::string& moduleDocument,
                           const std::vector<HostAction>& actions);

}  // namespace Tavix::TestHost
