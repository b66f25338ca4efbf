#include "routing/route.h"

#include <algorithm>
#include <array>
#include <span>
#include <vector>

#include "routing/route_entry.h"

namespace Tavix::Client {

void RouteParameters::Set(std::string_view name, std::string value) {
    const auto found = std::find_if(pairs_.begin(), pairs_.end(),
                                    [&](const Pair& pair) { return pair.first == name; });
    if (found != pairs_.end()) {
        found->second = std::move(value);
    } else {
        pairs_.emplace_back(std::string(name), std::move(value));
    }
}

const std::string* RouteParameters::Find(std::string_view name) const {
    const auto found = std::find_if(pairs_.begin(), pairs_.end(),
                                    [&](const Pair& pair) { return pair.first == name; });
    return found != pairs_.end() ? &found->second : nullptr;
}

std::size_t RouteParameters::ValueLength() const {
    std::size_t total = 0;
    for (const Pair& pair : pairs_) {
        total += pair.second.size();
    }
    return total;
}

Route MakeRoute(const BindingFunctionDescriptor* function, const RouteEntry* entry,
                std::string_view text) {
    Route route;
    route.function = function;
    route.entry = entry;
    if (!text.empty() && text.find('{') != std::string_view::npos) {
        route.pattern.emplace(text);
        route.captures = CompileUrlTemplate(text).captures;
    } else {
        route.literal = std::string(text);
    }
    return route;
}

bool MatchRoute(const Route& route, std::string_view path, RouteParameters& parameters) {
    parameters.Clear();
    if (!route.pattern) {
        return !route.literal.empty() && path == route.literal;
    }
    // Templates have a few parameters; a longer list goes to the heap.
    std::array<std::string_view, 8> few;
    std::vector<std::string_view> many;
    std::span<std::string_view> groups(few);
    if (route.pattern->GroupCount() > few.size()) {
        many.resize(route.pattern->GroupCount());
        groups = many;
    }
    groups = groups.first(route.pattern->GroupCount());
    if (!route.pattern->Match(path, groups)) {
        return false;
    }
    // A capture of no group (a stray "}") reads as the empty text of a group that did not take
    // part, and so shifts every later capture onto the group before its own.
    for (std::size_t i = 0; i < route.captures.size(); ++i) {
        const std::string_view text = i < groups.size() ? groups[i] : std::string_view();
        parameters.Set(route.captures[i].name, UrlDecode(text));
    }
    return true;
}

bool FindRoute(RouteMatch& match, std::span<const Route> routes) {
    bool chosen = false;
    RouteParameters parameters;
    for (const Route& route : routes) {
        if (!MatchRoute(route, match.path, parameters)) {
            continue;
        }
        const RouteEntry& entry = *route.entry;
        const bool methodFits =
            entry.method == kMethodAny ||
            (entry.method == match.method && entry.methodText == match.methodText);
        if (!methodFits) {
            continue;
        }
        if (chosen && parameters.ValueLength() >= match.parameters.ValueLength()) {
            continue;
        }
        match.function = route.function;
        match.entry = route.entry;
        match.parameters = std::move(parameters);
        chosen = true;
        if (!route.HasParameters()) {
            break;
        }
    }
    return chosen;
}

}  // namespace Tavix::Client
