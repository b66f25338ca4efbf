#pragma once
// Functions that the dispatcher answers itself, from the registry, with no handler: those tagged
// exactly "$builtin". The one it knows is "Help", which describes the whole registry in the Full
// help form (binding/help.h); any other builtin name is refused with status 400.
//
// A builtin is only answered on a route that serves builtins, since only that route's calls
// bring the registry along (RouteEntry::servesBuiltins). A module opens one with
// RouteDeclarer::Help (routing/route_declarer.h).

#include <string_view>

#include "arx/host_boundary.h"

namespace Tavix::Client {

class BindingRegistry;
struct BindingFunctionDescriptor;
struct RouteMatch;

inline constexpr std::string_view kHelpFunctionName = kHelpFunction;

// Whether one of the function's tags is "$builtin" exactly; a tag that only begins so is not.
bool IsBuiltinFunction(const BindingFunctionDescriptor& function);

// Answers the matched builtin into `response`, which Dispatch has made ready. No argument of the
// request is read. Every failure has status 400.
void CallBuiltin(const BindingRegistry& registry, HostResponse& response, const RouteMatch& match);

}  // namespace Tavix::Client
