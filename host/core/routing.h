#pragma once
// The answer a fake handler gives to a module's request, before the host lays it out as a
// HostResponse.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/recording.h"
#include "core/value.h"

namespace Tavix::TestHost {

struct Response {
    Value value;
    // Set means failure, whatever `value` holds.
    std::optional<std::string> error;
    std::uint32_t status = 0;
    std::string statusText;
    std::vector<std::pair<std::string, std::string>> headers;

    // A streamed body, read piece by piece. One read never crosses from one chunk into the next,
    // so a chunk shorter than the reader's buffer is a short read with more to come; only the
    // last chunk ends the stream.
    std::optional<std::vector<std::string>> stream;
    // The read with this index (0 first) fails.
    std::optional<std::size_t> failStreamAtRead;
    // The chunks arrive one host turn apart, as from a slow neighbour: after a short read that
    // leaves more to come, the next chunk is there only once the module has given the host a
    // turn (YieldToHost); a read before that is an empty short read with more still to come.
    bool streamArrivesOnTurns = false;

    // Without it the response record carries no release function.
    bool withRelease = true;

    static Response Ok(Value value) {
        Response response;
        response.value = std::move(value);
        return response;
    }
    static Response Error(std::string text, std::uint32_t status) {
        Response response;
        response.error = std::move(text);
        response.status = status;
        return response;
    }
};

using RequestHandler = std::function<void(const RecordedRequest& request, Response& response)>;

}  // namespace Tavix::TestHost
