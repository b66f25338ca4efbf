#pragma once
// TEMPORARY stand-in for the dispatcher's Resource, replaced by the routing branch's at merge.

#include <cstdint>
#include <string>
#include <utility>

namespace Tavix::Client {

struct Resource {
    Resource() = default;
    Resource(std::uint32_t code, std::string text)
        : error(std::move(text)), status(code), ok(false) {}

    std::string error;
    std::uint32_t status = 0;
    bool ok = true;
};

inline Resource NotFound(std::string text) {
    return Resource(404, text.empty() ? "Not found" : std::move(text));
}
inline Resource InternalServerError(std::string text) {
    return Resource(500, text.empty() ? "Internal server error" : std::move(text));
}

}  // namespace Tavix::Client
