#pragma once
// The dispatcher turns a module's typed handlers into REST routes. It is the module's registry
// too: a route's handler becomes a declared function whose arguments are typed by the handler's
// signature. From the declarations it builds the ApiDescription that tells the host which
// function serves which method and URL; the host then calls a function record's call entry, and
// the dispatcher matches the request against that route again, binds the arguments from headers,
// path, query, parameters and body, calls the handler, and fills the response.
//
// Routes are declared while the module registers its API (see routing/route_declarer.h), the
// description is built once after that, and from then on nothing changes until the dispatcher
// goes. One call at a time per module is the host's rule; all state of a call lives in the call.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "arx/host_boundary.h"
#include "binding/function_builder.h"
#include "binding/host_tables.h"
#include "binding/registry.h"
#include "routing/route.h"
#include "routing/route_entry.h"
#include "support/fnv1a.h"

namespace Tavix::Client {

class BindingDispatcher;

// The context word of a function record: what a call needs to find its route again, compiled
// once when the description is built.
struct RouteCallContext {
    BindingDispatcher* dispatcher = nullptr;
    RouteEntry* entry = nullptr;
    Route route;
    // The dispatcher itself for a route that serves builtins, else null.
    const BindingRegistry* registry = nullptr;
};

struct RouteDeclaration {
    BindingFunctionBuilder function;
    // The function's entry, new or the one of an earlier declaration.
    RouteEntry* entry = nullptr;
    // The entry is new: it has no invoker yet.
    bool created = false;
};

class BindingDispatcher : public BindingRegistry {
public:
    BindingDispatcher();
    // Deletes every entry with its invoker and removes its function from the registry.
    ~BindingDispatcher() override;

    // Finds the function by name or declares it with `argumentCount` arguments, and finds its
    // entry or creates one with a location for each argument. The typed declaration
    // (DeclareRoute) gives a new entry its invoker; a second declaration keeps the first.
    RouteDeclaration DeclareRouteFunction(std::string_view name, std::size_t argumentCount);

    RouteEntry* FindEntry(const BindingFunctionDescriptor* function) const;
    // A copy of the entry table, in order of declaration.
    std::vector<RouteEntry*> Entries() const;

    // Describes the API to the host: the registry's types and events, and one function record
    // per route entry, whose call entry is CallEntry. The records stay valid until the next build
    // or the end of the dispatcher.
    ApiDescription BuildApiDescription();

    // The call entry of every function record. The request's call context must be the record's;
    // without one, the answer is "Invalid function" with status 404. Only a route that serves
    // builtins passes a registry on to Dispatch.
    static void CallEntry(HostResponse* response, const HostRequest* request);

    // Answers `request` by the route among `routes` that fits it (FindRoute), or with "Invalid
    // function" and status 404 when none does. The response is released, zeroed and given the
    // module's release function first, whatever happens. With a `registry`, a function tagged
    // exactly "$builtin" is answered by CallBuiltin (routing/builtin_functions.h) instead of a
    // handler; without one it is called like any other.
    void Dispatch(HostResponse& response, const HostRequest& request, std::span<const Route> routes,
                  const BindingRegistry* registry = nullptr) const;

private:
    // Binds the arguments of the matched route, calls its handler and fills the response.
    void CallFunction(HostResponse& response, const HostRequest& request,
                      const RouteMatch& match) const;

    mutable std::mutex entriesLock_;
    FrameHashMap<const BindingFunctionDescriptor*, std::unique_ptr<RouteEntry>> entries_;
    std::vector<RouteEntry*> entryOrder_;

    // Storage behind the last ApiDescription.
    FrameHashMap<std::string, std::unique_ptr<RouteCallContext>> callContexts_;
    HostTables flatDescription_;
    std::vector<HostFunctionRecord> functionRecords_;
    std::vector<HostArgumentLocationRecord> locationRecords_;
    std::vector<HostStringListRecord> stringListRecords_;
    std::vector<const char*> stringListTexts_;
};

}  // namespace Tavix::Client
