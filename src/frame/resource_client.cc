#include "frame/resource_client.h"

#include <cstring>

#include "binding/host_conversion.h"
#include "binding/json.h"
#include "frame/host_value.h"
#include "support/format.h"

namespace Tavix::Client::Internal {

namespace {

// One read's worth: the buffer lives on the stack of the reading loop.
constexpr std::uint32_t kStreamPieceSize = 4096;

std::string MethodText(std::uint32_t method) {
    return HostMethodText(method);
}

// Drains a streamed answer into one text and parses it. A read that fails ends with the error
// value "Stream read error"; a short read with more to come means the rest has not arrived, so
// the host gets a turn before the next read. A full read never yields.
void ReadStream(AppClient& client, const HostResponse& response, BindingResult& result) {
    const auto read = response.streamRead;
    const auto close = response.streamClose;
    void* const context = response.streamContext;
    const std::uint32_t expected = response.streamSize;

    std::string text;
    text.reserve(expected);
    for (;;) {
        char buffer[kStreamPieceSize];
        std::uint32_t size = kStreamPieceSize;
        bool more = true;
        // A count beyond the buffer cannot be trusted and is a failed read too.
        if (!read(context, buffer, &size, &more) || size > kStreamPieceSize) {
            std::string().swap(text);
            result.SetError("Stream read error");
            if (close != nullptr) {
                close(context);
            }
            return;
        }
        text.append(buffer, size);
        if (size < kStreamPieceSize) {
            if (!more) {
                break;
            }
            client.Yield();
        }
        if (!more) {
            break;
        }
    }
    ParseJson(result, text.c_str());
    if (close != nullptr) {
        close(context);
    }
}

}  // namespace

RequestParameters::RequestParameters() {
    list_.reserve(1);
}

RequestParameters::~RequestParameters() {
    for (HostParameter& parameter : list_) {
        ReleaseHostValue(parameter.value);
    }
}

bool RequestParameters::Append(const BindingValue& value, const BindingRegistry* registry,
                               std::string& error) {
    HostParameter& parameter = list_.emplace_back();
    parameter.name = nullptr;
    std::memset(static_cast<void*>(&parameter.value), 0, sizeof parameter.value);
    if (!ToHostValue(value, parameter.value, registry)) {
        error = Format("The value nests deeper than %1 levels.", kBindingMaxDepth);
        return false;
    }
    return true;
}

Failure ParameterFailure(std::uint32_t method, const std::string& url, std::string_view error) {
    return Failure(400, "Request not sent: Error converting parameters for {method} {url}: {error}",
                   MethodText(method), url, std::string(error));
}

MaybeType<Failure, void> SendPreparedRequest(AppClient& client, HostResponse& response,
                                             std::uint32_t method, const std::string& url,
                                             const RequestParameters& parameters) {
    HostRequest request;
    std::memset(static_cast<void*>(&request), 0, sizeof request);
    request.method = method;
    request.url = url.c_str();
    request.parameters = parameters.Data();
    request.parameterCount = parameters.Count();
    request.clientId = client.GetClientId();
    client.SendRequest(response, request);

    const char* errorText = response.errorText;
    if (errorText != nullptr) {
        const std::uint32_t status = response.status;
        return Failure(static_cast<std::int32_t>(status),
                       "Error response for {method} {url}: {error}", MethodText(method), url,
                       errorText);
    }
    return {};
}

MaybeType<Failure, void> ReadResponseValue(AppClient& client, const HostResponse& response,
                                           std::uint32_t method, const std::string& url,
                                           BindingValue& value) {
    if (response.streamRead != nullptr) {
        BindingResult streamed;
        ReadStream(client, response, streamed);
        if (!streamed.Ok()) {
            return Failure("Error reading streamed response for {method} {url}: {error}",
                           MethodText(method), url, std::string(streamed.ErrorText()));
        }
        value = std::move(streamed);
        return {};
    }
    BindingResult conversion;
    const HostValue result = response.value;
    if (!FromHostValue(conversion, value, result, "<result>")) {
        return ResponseConversionFailure(method, url, conversion.ErrorText());
    }
    return {};
}

Failure ResponseConversionFailure(std::uint32_t method, const std::string& url,
                                  std::string_view error) {
    return Failure("Error converting response for {method} {url}: {error}", MethodText(method), url,
                   std::string(error));
}

void ReleaseResponse(HostResponse& response) {
    const auto release = response.release;
    if (release != nullptr) {
        release(&response);
    }
}

}  // namespace Tavix::Client::Internal
