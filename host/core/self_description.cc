#include "core/self_description.h"

namespace Tavix::TestHost {

OpenApiFetch FetchOpenApiDocument(Module& module) {
    OpenApiFetch fetch;
    const Client::ApiDescription* api = module.Block().apiDescription;
    const Client::HostFunctionRecord* record =
        api != nullptr ? FindFunctionRecordNamed(*api, Client::kOpenApiFunction) : nullptr;
    if (record == nullptr) {
        fetch.error =
            std::string("the module has no function \"") + Client::kOpenApiFunction + "\"";
        return fetch;
    }
    ApiCall call;
    call.method = Client::kMethodGet;
    call.url = record->url != nullptr ? record->url : "";
    call.clientId = module.ClientId();
    const ApiAnswer answer = module.CallRecord(*record, call);
    if (answer.error) {
        // An empty error text is still a failure.
        fetch.error = answer.error->empty() ? "the module gave no reason" : *answer.error;
        fetch.status = answer.status;
        return fetch;
    }
    fetch.json = answer.value.ToJson();
    return fetch;
}

}  // namespace Tavix::TestHost
