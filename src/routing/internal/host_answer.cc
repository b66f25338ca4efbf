#include "routing/internal/host_answer.h"

#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "binding/host_conversion.h"
#include "binding/value.h"
#include "binding/value_kind.h"
#include "frame/host_value.h"
#include "log/memory.h"

namespace Tavix::Client::Internal {

namespace {

// The status text of an answer without one. Never freed: the release function knows it by its
// address.
constexpr char kNoStatusText[] = "";


void FreeText(const char* text) {
    Release(const_cast<char*>(text));
}

// What a response owns besides its records: the value tree whose texts its HostValue borrows,
// and the stream. It stands in the stream context word, which is the host's to pass back only
// when the response is streamed. Closing the stream destroys the stream; releasing the response
// destroys this, with the stream when the host never closed it.
struct AnswerStorage {
    BindingValue value;
    std::unique_ptr<ResponseStream> stream;
};

bool ReadStream(void* context, char* buffer, std::uint32_t* size, bool* more) {
    ResponseStream* stream = static_cast<AnswerStorage*>(context)->stream.get();
    if (stream == nullptr) {
        *size = 0;
        *more = false;
        return false;
    }
    return stream->Read(buffer, *size, *more);
}

void CloseStream(void* context) {
    static_cast<AnswerStorage*>(context)->stream.reset();
}

}  // namespace

void StartAnswer(HostResponse& response) {
    if (response.release != nullptr) {
        response.release(&response);
    }
    std::memset(static_cast<void*>(&response), 0, sizeof response);
    response.statusText = kNoStatusText;
    response.release = &ReleaseAnswer;
}

void AnswerFailure(HostResponse& response, const char* text, std::uint32_t status) {
    response.errorText = DuplicateText(text);
    response.errorTextOwned = 1;
    response.status = status;
}

void AnswerCall(HostResponse& response, CallResult& result, const BindingRegistry* registry) {
    AnswerStorage* storage = nullptr;
    if (!result.Ok()) {
        // The error text of a result is a string value, NUL-terminated.
        const std::string_view error = result.result.ErrorText();
        AnswerFailure(response, error.empty() ? "" : error.data(), result.status);
    } else {
        if (result.result.Kind() > BindingValueKind::Float) {
            // A tree with texts stays with the response, so that the HostValue need not copy
            // every string and key of it.
            storage = new AnswerStorage{std::move(result.result), nullptr};
            ToHostValue(storage->value, response.value, registry, HostTexts::Borrowed);
        } else {
            ToHostValue(result.result, response.value, registry);
        }
        response.status = result.status;
    }
    response.flag = result.flag;
    // Only the modes the host knows pass.
    response.mode = result.mode >= 1 && result.mode <= 3 ? result.mode : 0;
    if (!result.statusText.empty()) {
        response.statusText = DuplicateText(result.statusText.c_str());
    }
    if (!result.headers.empty()) {
        auto* headers =
            static_cast<HostHeader*>(Allocate(sizeof(HostHeader) * result.headers.size()));
        std::uint32_t count = 0;
        for (const auto& [name, value] : result.headers) {
            headers[count].name = DuplicateText(name.c_str());
            headers[count].value = DuplicateText(value.c_str());
            ++count;
        }
        response.headers = headers;
        response.headerCount = count;
    }
    if (result.stream != nullptr) {
        if (storage == nullptr) {
            storage = new AnswerStorage();
        }
        response.streamSize = result.stream->Size();
        response.streamRead = &ReadStream;
        response.streamClose = &CloseStream;
        storage->stream = std::move(result.stream);
    }
    response.streamContext = storage;
}

void ReleaseAnswer(HostResponse* response) {
    ReleaseHostValue(response->value);
    if (response->errorTextOwned != 0) {
        FreeText(response->errorText);
    }
    if (response->statusText != kNoStatusText) {
        FreeText(response->statusText);
    }
    for (std::uint32_t i = 0; i < response->headerCount; ++i) {
        FreeText(response->headers[i].name);
        FreeText(response->headers[i].value);
    }
    Release(response->headers);
    delete static_cast<AnswerStorage*>(response->streamContext);
    std::memset(static_cast<void*>(response), 0, sizeof *response);
}

}  // namespace Tavix::Client::Internal
