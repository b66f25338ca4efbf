#include "http/api_forwarding.h"

#include <algorithm>
#include <cctype>

namespace Tavix::TestHost {

namespace {

constexpr const char* kJson = "application/json";

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

// Fields that say how the message is framed on the connection: the server writes its own.
bool FramesTheMessage(const std::string& name) {
    const std::string lower = Lower(name);
    return lower == "content-length" || lower == "transfer-encoding" || lower == "connection" ||
           lower == "content-type" || lower == "keep-alive" || lower == "upgrade";
}

std::string PathOf(const std::string& target) {
    return target.substr(0, target.find('?'));
}

}  // namespace

std::optional<std::uint32_t> MethodCodeOf(std::string_view method) {
    for (const std::uint32_t code :
         {Client::kMethodDelete, Client::kMethodGet, Client::kMethodHead, Client::kMethodOptions,
          Client::kMethodPatch, Client::kMethodPost, Client::kMethodPut}) {
        if (method == Client::HostMethodText(code)) {
            return code;
        }
    }
    return std::nullopt;
}

ApiCall ToApiCall(const HttpRequestText& request, std::uint32_t clientId) {
    ApiCall call;
    if (const std::optional<std::uint32_t> code = MethodCodeOf(request.method)) {
        call.method = *code;
    } else {
        call.method = Client::kMethodNamed;
        call.methodName = request.method;
    }
    call.url = request.target;
    call.clientId = clientId;
    std::string contentType;
    for (const auto& [name, value] : request.headers) {
        std::string lower = Lower(name);
        if (lower == "content-type") {
            contentType = value;
        }
        call.headers.emplace_back(std::move(lower), value);
    }
    if (!request.body.empty()) {
        call.body = request.body;
        call.contentType = contentType;
    }
    return call;
}

HttpReplyText ErrorReply(int status, const std::string& message) {
    HttpReplyText reply;
    reply.status = status;
    reply.contentType = kJson;
    reply.body =
        Value::Map({{"httpStatus", Value::Signed(status)}, {"message", Value::Text(message)}})
            .ToJson();
    return reply;
}

HttpReplyText ToHttpReply(const ApiAnswer& answer) {
    if (answer.status != 0 && (answer.status < 200 || answer.status > 599)) {
        return ErrorReply(502, "the plug-in answered with status " + std::to_string(answer.status) +
                                   ", which is no HTTP status");
    }
    HttpReplyText reply;
    std::string contentType;
    for (const auto& [name, value] : answer.headers) {
        if (Lower(name) == "content-type") {
            contentType = value;
        }
        if (!FramesTheMessage(name)) {
            reply.headers.emplace_back(name, value);
        }
    }
    if (answer.error) {
        HttpReplyText failure =
            ErrorReply(answer.status != 0 ? static_cast<int>(answer.status) : 400, *answer.error);
        failure.headers = std::move(reply.headers);
        return failure;
    }
    if (answer.stream) {
        reply.status = answer.status != 0 ? static_cast<int>(answer.status) : 200;
        reply.contentType = contentType.empty() ? "application/octet-stream" : contentType;
        reply.body = *answer.stream;
    } else if (answer.value.tag != Client::kHostValueNone) {
        reply.status = answer.status != 0 ? static_cast<int>(answer.status) : 200;
        reply.contentType = kJson;
        reply.body = answer.value.ToJson();
    } else {
        reply.status = answer.status != 0 ? static_cast<int>(answer.status) : 204;
    }
    if (reply.status == 204 || reply.status == 304) {
        reply.body.clear();
        reply.contentType.clear();
    }
    return reply;
}

HttpReplyText NoFunctionReply(const std::vector<FunctionInfo>& functions,
                              const HttpRequestText& request) {
    const std::string path = PathOf(request.target);
    std::string allow;
    for (const FunctionInfo& function : functions) {
        if (UrlFitsTemplate(path, function.url) &&
            allow.find(function.method) == std::string::npos) {
            allow += allow.empty() ? function.method : ", " + function.method;
        }
    }
    if (allow.empty()) {
        return ErrorReply(404, "No function of the plug-in serves " + path);
    }
    HttpReplyText reply =
        ErrorReply(405, "No function of the plug-in serves " + request.method + " " + path);
    reply.headers.emplace_back("Allow", allow);
    return reply;
}

}  // namespace Tavix::TestHost
