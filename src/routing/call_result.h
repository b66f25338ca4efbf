#pragma once
// The outcome of one call of a route as it accumulates: the binding's result (and later the
// handler's value), and what the handler's Resource says to the host.

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "binding/result.h"
#include "routing/resource.h"

namespace Tavix::Client {

struct CallResult {
    BindingResult result;
    std::uint8_t flag = 0;
    std::uint32_t mode = 0;
    std::uint32_t status = 0;
    std::string statusText;
    FrameHashMap<std::string, std::string> headers;
    std::unique_ptr<ResponseStream> stream;

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
        } else if (withStream) {
            stream = std::move(resource.stream);
        }
        flag = resource.flag;
        mode = resource.mode;
        status = resource.status;
        statusText = std::move(resource.statusText);
        headers = std::move(resource.headers);
    }
};

}  // namespace Tavix::Client
