#pragma once
// What the dispatcher keeps of one declared route.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "arx/host_boundary.h"
#include "routing/function_invoker.h"

namespace Tavix::Client {

struct BindingFunctionDescriptor;

// Where an argument may come from; the values are those of the host's function records.
enum class ArgumentLocation : std::uint32_t {
    Anywhere = kArgumentAnywhere,
    Query = kArgumentQuery,
    Path = kArgumentPath,
    Header = kArgumentHeader,
    Body = kArgumentBody,
};

// A failure that a route's handler is known to answer with, as its declaration lists it: the
// status and the text, or a text per case for one status listed several times.
struct RouteFailure {
    std::uint32_t status = 0;
    std::string text;
};

struct RouteEntry {
    BindingFunctionDescriptor* function = nullptr;
    std::unique_ptr<FunctionInvoker> invoker;
    // The URL template; empty means that the function's name serves as the path.
    std::string url;
    // A method code of the host; kMethodAny accepts every method.
    std::uint32_t method = kMethodAny;
    // The method's name for kMethodNamed; empty otherwise.
    std::string methodText;
    // Passed to the host's function record; nothing here sets them.
    std::uint8_t flag = 0;
    std::vector<std::vector<std::string>> stringLists;
    // One per argument of the function.
    std::vector<ArgumentLocation> locations;
    // What the route is known to fail with, in declaration order; only described, never checked.
    std::vector<RouteFailure> failures;
    // Calls of this route bring the dispatcher's registry along, so that a function tagged
    // "$builtin" is answered by the dispatcher itself rather than by a handler.
    bool servesBuiltins = false;
};

}  // namespace Tavix::Client
