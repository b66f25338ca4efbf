#pragma once
// HTTP requests to a module's REST functions, as a host forwards them: the method and the
// request target become the call's method code and URL (the query stays in the URL, for the
// module parses it itself), header names go in lower case, a body goes with its content type; and
// the module's response becomes the HTTP answer.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/function_records.h"

namespace Tavix::TestHost {

// A request as it came over HTTP.
struct HttpRequestText {
    std::string method;
    // As the request line gave it: path and query, undecoded.
    std::string target;
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body;
};

// The answer to send.
struct HttpReplyText {
    int status = 200;
    std::string contentType;
    // Empty for 204.
    std::string body;
    std::vector<std::pair<std::string, std::string>> headers;
};

// The method code of an HTTP method's name, or nothing for a name without one.
std::optional<std::uint32_t> MethodCodeOf(std::string_view method);

// The call for `request`. A body goes only when there are bytes; it always has a content type,
// the empty text when the request named none, because the module needs one to read a body by.
ApiCall ToApiCall(const HttpRequestText& request, std::uint32_t clientId);

// The HTTP answer for a module's response: a failure's status, or 400 when it has none (the
// module could not bind the request's arguments), with {"httpStatus", "message"}; a success's
// status, or 200 with the value as JSON, or 204 when there is no value. A streamed body is sent
// as it was read. Header fields that would frame the message (length, transfer coding,
// connection) are the server's own and are not copied. A status that is no HTTP status answers
// 502.
HttpReplyText ToHttpReply(const ApiAnswer& answer);

// {"httpStatus": status, "message": message} with that status: the answers of the host itself.
HttpReplyText ErrorReply(int status, const std::string& message);

// The answer when no function record takes the request: 405 with the methods that would fit
// in "Allow" when the path is served with other methods, 404 otherwise.
HttpReplyText NoFunctionReply(const std::vector<FunctionInfo>& functions,
                              const HttpRequestText& request);

}  // namespace Tavix::TestHost
