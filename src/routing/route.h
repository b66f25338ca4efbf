#pragma once
// The matchable form of one declared route, and the matching of a request's path against it.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "routing/url_pattern.h"
#include "routing/url_template.h"

namespace Tavix::Client {

struct BindingFunctionDescriptor;
struct RouteEntry;

// The decoded path parameters of one match, by name, in the order in which their names first
// appeared; a later capture of a name replaces the value of the earlier one.
class RouteParameters {
public:
    using Pair = std::pair<std::string, std::string>;

    void Set(std::string_view name, std::string value);
    const std::string* Find(std::string_view name) const;
    void Clear() { pairs_.clear(); }

    std::size_t Size() const { return pairs_.size(); }
    bool Empty() const { return pairs_.empty(); }
    // The sum of the values' lengths: of two routes that fit, the one whose parameters took
    // less of the path is the more literal one.
    std::size_t ValueLength() const;
    std::vector<Pair>::const_iterator begin() const { return pairs_.begin(); }
    std::vector<Pair>::const_iterator end() const { return pairs_.end(); }

private:
    std::vector<Pair> pairs_;
};

struct Route {
    const BindingFunctionDescriptor* function = nullptr;
    const RouteEntry* entry = nullptr;
    // The whole path of a route without parameters; empty otherwise.
    std::string literal;
    // Set for a route with parameters.
    std::optional<UrlPattern> pattern;
    // Empty for a route without parameters.
    std::vector<RouteCapture> captures;

    bool HasParameters() const { return pattern.has_value(); }
};

// A text that contains a "{" becomes a pattern, compiled here once; any other text (even one
// with "*" or "(" in it) is a literal compared byte for byte.
Route MakeRoute(const BindingFunctionDescriptor* function, const RouteEntry* entry,
                std::string_view text);

// One request on its way to a route: what it asked for, and what fitted.
struct RouteMatch {
    std::uint32_t method = 0;
    // The method's name, for the named method code only.
    std::string_view methodText;
    // The URL exactly as the request gave it, query included.
    std::string_view path;
    const BindingFunctionDescriptor* function = nullptr;
    const RouteEntry* entry = nullptr;
    RouteParameters parameters;
};

// Whether `path`, exactly as the request gave it, fits `route`: a literal by equal bytes, a
// pattern as a whole. For a pattern, each capture's text is decoded (UrlDecode) into
// `parameters` under the capture's name. `parameters` is cleared first.
bool MatchRoute(const Route& route, std::string_view path, RouteParameters& parameters);

// Picks the route for `match` among `routes`: the path must fit, and the method must be the
// entry's (an entry of any method takes every method; a HEAD or OPTIONS request fits no GET
// route). Of several, the one whose parameter values are shortest in sum wins, the earlier one
// on a tie; a route without parameters ends the search. Fills function, entry and parameters of
// `match`; false when nothing fitted.
bool FindRoute(RouteMatch& match, std::span<const Route> routes);

}  // namespace Tavix::Client
