#pragma once
// The binding of one call's arguments from the places a request carries them: headers, path
// parameters, the query, the request's parameter list and the body. Every step stops at the first
// failure it meets, which goes into the call's result; the body is read whatever came before.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "arx/host_boundary.h"
#include "binding/descriptors.h"
#include "binding/value.h"
#include "routing/call_result.h"
#include "routing/route.h"
#include "routing/route_entry.h"

namespace Tavix::Client::Internal {

// The pieces of the query behind the first "?" of a URL, names and values decoded, in the order
// in which each name first appears; a later piece of a name replaces the earlier value.
std::vector<std::pair<std::string, std::string>> ParseQuery(std::string_view url);

// The header name that gives the argument `name`: the argument's name in lower case (ASCII), as
// hosts pass header names.
std::string HeaderNameOf(std::string_view name);

class ArgumentBinder {
public:
    // `arguments` is a collection with one element per argument of the entry's function.
    ArgumentBinder(const RouteEntry& entry, CallResult& call, BindingValue& arguments);

    // Headers with the name of an argument that may come from a header, in lower case; the
    // request's header names must be lower case to match.
    void BindHeaders(const HostRequest& request);
    void BindPath(const RouteParameters& parameters);
    void BindQuery(std::string_view url);
    // The request's own parameter list: a named one finds its argument by name, a positional one
    // stands after the path parameters.
    void BindParameters(const HostRequest& request, std::size_t pathParameterCount);
    // The body goes to the first argument located in the body, read by the content type.
    void ReadBody(const HostRequest& request);

    // Binds `value` to the argument named by the key's first part; further parts ("list.0",
    // "record.field") walk into the argument's value.
    void BindOne(std::string_view key, std::string_view value, ArgumentLocation location);

private:
    static constexpr std::size_t kNoArgument = static_cast<std::size_t>(-1);

    // The first argument with exactly this name; an argument without a name is never found.
    std::size_t Position(std::string_view name) const;
    void Fail(const std::string& text) { call_.SetError(text); }
    // Walks the dotted parts of `path` below `value`, the value of `argument`; null after a
    // failure.
    BindingValue* Descend(BindingValue* value, std::string_view path, const std::string& argument);

    const RouteEntry& entry_;
    const BindingFunctionDescriptor& function_;
    CallResult& call_;
    BindingValue& arguments_;
    // Elements that indices in keys may still add, over all arguments of the call: a key such as
    // "list.268435000" must not make a request cost gigabytes.
    std::size_t elementBudget_;
};

}  // namespace Tavix::Client::Internal
