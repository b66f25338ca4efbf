#pragma once
// The outcome of one call of a route as it accumulates: the binding's result (and later the
// handler's value), and what the handler's Resource says to the host.

#include <string_view>
#include <utility>

#include "binding/result.h"
#include "routing/resource.h"

namespace Tavix::Client {

struct CallResult : ResponseParts {
    BindingResult result;

    bool Ok() const { return result.Ok(); }
    // A failure has no body to stream.
    void SetError(std::string_view text) {
        result.SetError(text);
        stream.reset();
    }

    // What a handler's Resource tells the host, failed or not. Its stream comes along only when
    // `withStream` and the handler succeeded.
    void TakeResource(Resource& resource, bool withStream) {
        if (!resource.ok) {
            SetError(resource.error);
        }
        if (!resource.ok || !withStream) {
            resource.stream.reset();
        }
        static_cast<ResponseParts&>(*this) = std::move(static_cast<ResponseParts&>(resource));
    }
};

}  // namespace Tavix::Client
