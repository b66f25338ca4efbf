#pragma once
// What a loaded module says of itself, fetched the way any host would: through the function
// record of a fixed name (kOpenApiFunction), called with a GET of its URL and no arguments. The
// module builds the document from its own registry and routes; the host only relays it, so that
// arx-host --openapi and a server's "/openapi.json" give the same text.

#include <cstdint>
#include <string>

#include "core/module.h"

namespace Tavix::TestHost {

struct OpenApiFetch {
    // The OpenAPI document as JSON text; empty on failure.
    std::string json;
    // Why there is no document: the module has no such function, or its answer's error text.
    std::string error;
    // The status of a failed answer, 0 otherwise.
    std::uint32_t status = 0;

    bool Ok() const { return error.empty(); }
};

// As one call into the module, which must be loaded and not shut down; it need not be attached.
OpenApiFetch FetchOpenApiDocument(Module& module);

}  // namespace Tavix::TestHost
