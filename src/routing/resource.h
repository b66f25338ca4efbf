#pragma once
// What a REST handler returns: whether it succeeded, the status and reason the host should give,
// response headers, and optionally a body that the host reads in pieces. A handler with a result
// returns `ResourceOf<T>`, which carries the value beside.
//
//     ResourceOf<SearchResource> GetSearch() {
//         if (!search) {
//             return NotFound("No matchmaking search exists.");
//         }
//         return *search;
//     }

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "support/fnv1a.h"

namespace Tavix::Client {

// A body that the host reads in pieces. The module hands it over with the response; it is
// destroyed when the host closes the stream or releases the response, whichever comes first.
class ResponseStream {
public:
    // Fills `buffer` with at most `size` bytes and stores the count in `size`; clears `more` at
    // the end. A short read with `more` still set means that the rest has not arrived yet.
    // False reports a failure.
    virtual bool Read(char* buffer, std::uint32_t& size, bool& more) = 0;
    // The expected size of the whole body, a hint for the reader's buffer.
    virtual std::uint32_t Size() const = 0;
    virtual ~ResponseStream() = default;
};

// What an answer tells the host besides its value or its error.
struct ResponseParts {
    // Passed to the host as they are; nothing in the module gives them a meaning.
    std::uint8_t flag = 0;
    std::uint32_t mode = 0;
    // 0 leaves the choice to the host.
    std::uint32_t status = 0;
    std::string statusText;
    FrameHashMap<std::string, std::string> headers;
    std::unique_ptr<ResponseStream> stream;
};

class Resource : public ResponseParts {
public:
    // Success, with the status left to the host.
    Resource() = default;
    // A failure with this status and text.
    Resource(std::uint32_t failureStatus, std::string_view text) : error(text), ok(false) {
        status = failureStatus;
    }

    std::string error;
    bool ok = true;
};

// 404, with "Not found" for an empty text.
Resource NotFound(std::string_view text = {});
// 500, with "Internal server error" for an empty text.
Resource InternalServerError(std::string_view text = {});

template <typename T>
class ResourceOf : public Resource {
public:
    // A failure, or a success that has no value to give (a default one goes out).
    ResourceOf(Resource resource) : Resource(std::move(resource)) {}
    ResourceOf(T result) : value(std::move(result)) {}
    ResourceOf(Resource resource, T result)
        : Resource(std::move(resource)), value(std::move(result)) {}

    T value{};
};

}  // namespace Tavix::Client
