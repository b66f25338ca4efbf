#include "routing/resource.h"

namespace Tavix::Client {

Resource NotFound(std::string_view text) {
    return Resource(404, text.empty() ? std::string_view("Not found") : text);
}

Resource InternalServerError(std::string_view text) {
    return Resource(500, text.empty() ? std::string_view("Internal server error") : text);
}

}  // namespace Tavix::Client
