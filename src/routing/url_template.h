#pragma once
// The text transformations of a route's URL template: "/arx-matchmaking/v1/search/errors/{id}"
// becomes a regular expression with one group per parameter, and what a group captured is
// decoded before it reaches a handler.
//
//   {name}   one path segment, "([^/]*)": stops at the next "/", may be empty
//   {+name}  the rest of the path, "(.*)": may contain "/"
//   {#name}  a fragment, "#(.*)": demands a literal "#" and captures what follows it

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Tavix::Client {

enum class RouteCaptureKind : std::uint32_t {
    // A "}" outside a parameter: a capture with no group of its own.
    None = 0,
    Segment = 1,
    Rest = 2,
    Fragment = 3,
};

// The N-th capture belongs to the N-th group of the expression.
struct RouteCapture {
    RouteCaptureKind kind = RouteCaptureKind::None;
    std::string name;

    friend bool operator==(const RouteCapture&, const RouteCapture&) = default;
};

struct CompiledUrlTemplate {
    // An ECMAScript regular expression; the twelve bytes "^$.*+?()[]|\" of the literal parts are
    // escaped, nothing else is.
    std::string pattern;
    std::vector<RouteCapture> captures;
};

// Never fails. A "{" inside a parameter starts it over and keeps the name read so far; a
// parameter that is never closed is dropped.
CompiledUrlTemplate CompileUrlTemplate(std::string_view text);

// "+" becomes a blank and "%XY" the byte 16 * X + Y (low eight bits), where a byte that is no
// hexadecimal digit counts as 16: "%41" is "A", "%zz" is 0x10. A "%" with fewer than two bytes
// behind it is dropped and the bytes behind it are copied. Never fails.
std::string UrlDecode(std::string_view text);

}  // namespace Tavix::Client
