#pragma once
// The host's side of a module's REST functions: reading the function records of its
// ApiDescription, picking the record for a method and URL, and calling its call entry the way a
// host does, from the boundary header alone.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "arx/host_boundary.h"
#include "core/recording.h"
#include "core/value.h"

namespace Tavix::TestHost {

struct ArgumentInfo {
    std::string name;
    std::uint32_t location = Client::kArgumentAnywhere;
};

// One function record, read out.
struct FunctionInfo {
    // "GET" and the like, the name of a named method, or "*" for any method.
    std::string method;
    std::string url;
    std::string name;
    std::vector<ArgumentInfo> arguments;
};

std::vector<FunctionInfo> DescribeFunctions(const Client::ApiDescription& api);
// "any", "query", "path", "header" or "body".
const char* LocationName(std::uint32_t location);
// "GET /x/{id} GetXById id:path": method, URL, name and the arguments with their locations.
std::string DescribeLine(const FunctionInfo& function);

// Whether the path of `url` (the part before any "?") fits `templateText`, read segment by
// segment: a segment "{name}" takes one path segment, literal text around it must be there too,
// and a segment beginning "{+" or "{#" takes the rest of the path. The module matches the whole
// URL again, exactly; this is only the host's choice of a record.
bool UrlFitsTemplate(std::string_view url, std::string_view templateText);

// The record for a request: its method must be the record's (or the record takes any), and its
// URL must fit the record's template. Of several, the one with the longest literal text wins.
const Client::HostFunctionRecord* FindFunctionRecord(const Client::ApiDescription& api,
                                                     std::uint32_t method,
                                                     std::string_view methodName,
                                                     std::string_view url);

// The record of the function called `name`, or null. A module's self-description ("Help",
// "OpenApi") has a fixed name whatever its URL.
const Client::HostFunctionRecord* FindFunctionRecordNamed(const Client::ApiDescription& api,
                                                          std::string_view name);

// A request as a host sends it to a call entry.
struct ApiCall {
    std::uint32_t method = Client::kMethodGet;
    // For kMethodNamed.
    std::string methodName;
    std::string url;
    std::vector<std::pair<std::string, std::string>> headers;
    std::optional<std::string> contentType;
    // No body at all when unset; an empty body is still a body.
    std::optional<std::string> body;
    std::vector<RecordedParameter> parameters;
    std::uint32_t clientId = 0;
};

// A response as the host read it, after it released it.
struct ApiAnswer {
    // A record was there to call; nothing else below is set when it was not.
    bool called = false;
    Value value;
    // Set means failure, whatever `value` holds.
    std::optional<std::string> error;
    bool errorOwned = false;
    std::uint8_t flag = 0;
    std::uint32_t mode = 0;
    std::uint32_t status = 0;
    std::optional<std::string> statusText;
    std::vector<std::pair<std::string, std::string>> headers;
    // The streamed text, read to its end and closed.
    std::optional<std::string> stream;
    bool streamFailed = false;
    // The response had a release function, and calling it left the record all zero.
    bool released = false;
};

// Calls `record`'s entry with the record's own call context, reads the response, and releases it.
// The caller makes this one call into the module (Host::ModuleCall).
ApiAnswer CallFunctionRecord(const Client::HostFunctionRecord& record, const ApiCall& call);

}  // namespace Tavix::TestHost
