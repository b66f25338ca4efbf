#include "core/lcds_endpoint.h"

#include <utility>

namespace Tavix::TestHost {

namespace {

std::string KeyOf(const std::string& destination, const std::string& method) {
    return destination + "." + method;
}

}  // namespace

LcdsEndpoint::LcdsEndpoint(Host& host) {
    host.Route(
        Client::kMethodPost, kLcdsInvokeUrl,
        [this](const RecordedRequest& request, Response& response) { Serve(request, response); });
}

void LcdsEndpoint::Answer(const std::string& destination, const std::string& method,
                          const std::string& typeName, const Value& body) {
    AnswerWith(destination, method, [typeName, body](const LcdsInvocation&, Response& response) {
        response.value = Value::Map({{"typeName", Value::Text(typeName)}, {"body", body}});
    });
}

void LcdsEndpoint::AnswerError(const std::string& destination, const std::string& method,
                               const std::string& error, std::uint32_t status) {
    AnswerWith(destination, method, [error, status](const LcdsInvocation&, Response& response) {
        response = Response::Error(error, status);
    });
}

void LcdsEndpoint::AnswerWith(const std::string& destination, const std::string& method,
                              Script script) {
    scripts_[KeyOf(destination, method)].push_back(std::move(script));
}

void LcdsEndpoint::AnswerAlways(const std::string& destination, const std::string& method,
                                Script script) {
    standing_[KeyOf(destination, method)] = std::move(script);
}

std::size_t LcdsEndpoint::PendingAnswers() const {
    std::size_t count = 0;
    for (const auto& [key, queue] : scripts_) {
        count += queue.size();
    }
    return count;
}

// The remote side takes positional arguments only: destination, method, and one collection.
void LcdsEndpoint::Serve(const RecordedRequest& request, Response& response) {
    LcdsInvocation call;
    const std::vector<RecordedParameter>& parameters = request.parameters;
    const bool wellFormed = parameters.size() == 3 && !parameters[0].name && !parameters[1].name &&
                            !parameters[2].name && parameters[0].value.IsText() &&
                            parameters[1].value.IsText() &&
                            parameters[2].value.tag == Client::kHostValueCollection;
    if (parameters.size() > 0) {
        call.destination = parameters[0].value.bytes;
    }
    if (parameters.size() > 1) {
        call.method = parameters[1].value.bytes;
    }
    if (parameters.size() > 2) {
        call.arguments = parameters[2].value;
    }
    invocations_.push_back(call);
    if (!wellFormed) {
        response = Response::Error(
            "Malformed LCDS invoke: expected a destination, a method and a collection of "
            "arguments",
            400);
        return;
    }
    const std::string key = KeyOf(call.destination, call.method);
    auto found = scripts_.find(key);
    if (found == scripts_.end() || found->second.empty()) {
        if (auto standing = standing_.find(key); standing != standing_.end()) {
            standing->second(call, response);
            return;
        }
        response = Response::Error(
            "No LCDS answer scripted for " + KeyOf(call.destination, call.method), 500);
        return;
    }
    Script script = std::move(found->second.front());
    found->second.pop_front();
    script(call, response);
}

}  // namespace Tavix::TestHost
