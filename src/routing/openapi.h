#pragma once
// The module's REST surface as an OpenAPI 3.0 document, derived from the dispatcher's route
// entries and its registry alone, so that it cannot drift from what the dispatcher serves. It is
// a value tree like any answer: a module serves it through RouteDeclarer::OpenApi, and a host
// writes it out as JSON (arx-host --openapi).
//
//   paths       one operation per route entry, under its URL template ("{+rest}" reads "{rest}",
//               "{#part}" reads "#{part}") and its method; a route of any method stands under
//               every method, one of a named method under the path's extension "x-<name>".
//               operationId is the function's name (with "_<method>" for a route of any method).
//               Arguments: a path parameter for each parameter of the template; an argument
//               located in the query, or anywhere and not in the template, a query parameter;
//               a header argument a header parameter, named in lower case as the dispatcher
//               looks it up; the first body argument the request body, in JSON, MessagePack or
//               YAML. Arguments that only the request's parameter list can give (no name, a path
//               location the template lacks, a second body) are listed in "x-hostParameters".
//               Responses: "200" with the result's schema, and each status the route declares it
//               fails with (RouteBuilder::Fails), its texts as the description.
//   components  every registered record (an object schema, one property per field, which like
//               every structure's fields come out in name order, `Required` fields required,
//               optional ones nullable) and
//               every enum (a string schema of the enumerator names in number order, with the
//               numbers in "x-enumerators"), under its name with every byte outside
//               [A-Za-z0-9._-] made "_" (and "_2", "_3", ... against a clash).
//   tags        the module's tags, then every other tag of an operation, in order of first use.
//
// Records refer to records by "$ref", so a record that contains itself is described once. Every
// text is made valid UTF-8 (an invalid byte becomes U+FFFD) so that the document stays valid
// JSON whatever the registry holds. Where a field or argument has a shown type, that is the type
// described, as in the host's tables.

#include <string>
#include <string_view>
#include <vector>

#include "arx/host_boundary.h"
#include "binding/value.h"

namespace Tavix::Client {

class BindingDispatcher;

inline constexpr std::string_view kOpenApiFunctionName = kOpenApiFunction;
inline constexpr std::string_view kOpenApiVersion = "3.0.3";

struct OpenApiInfo {
    // "info.title" and "info.version"; "API" and "0" when empty, since both must be there.
    std::string title;
    std::string version;
    // The first tags of the document, in this order.
    std::vector<std::string> tags;
};

// Makes `target` the document. Reads descriptors and entries without locks, like the help: the
// API must be complete, as it is once the module has built its description.
void BuildOpenApiDocument(BindingValue& target, const BindingDispatcher& dispatcher,
                          const OpenApiInfo& info);

}  // namespace Tavix::Client
