#pragma once
// The session's invoke resource as a test scripts it: the one route through which a module calls
// methods of the remote platform. Each call is kept, and each is answered from a queue of
// scripted answers kept per destination and method.

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "core/host.h"
#include "core/routing.h"
#include "core/value.h"

namespace Tavix::TestHost {

inline constexpr const char* kLcdsInvokeUrl = "/arx-login/v1/session/invoke";

// One call as it reached the resource.
struct LcdsInvocation {
    std::string destination;
    std::string method;
    // The one collection of the method's positional arguments.
    Value arguments;
};

class LcdsEndpoint {
public:
    using Script = std::function<void(const LcdsInvocation& call, Response& response)>;

    // Serves POST on the invoke URL of `host`, replacing an earlier route there. The endpoint must
    // outlive every request the module sends to it.
    explicit LcdsEndpoint(Host& host);
    LcdsEndpoint(const LcdsEndpoint&) = delete;
    LcdsEndpoint& operator=(const LcdsEndpoint&) = delete;

    // Queues the answer to the next unanswered call of destination.method: a response record of
    // the remote class `typeName` with `body`. A body of Value::None() is an empty answer.
    void Answer(const std::string& destination, const std::string& method,
                const std::string& typeName, const Value& body);
    // Queues a failed request: the host's error text and status.
    void AnswerError(const std::string& destination, const std::string& method,
                     const std::string& error, std::uint32_t status);
    // Queues an answer written by the test, for shapes the two forms above cannot give.
    void AnswerWith(const std::string& destination, const std::string& method, Script script);
    // The answer of every call of destination.method that finds no queued answer.
    void AnswerAlways(const std::string& destination, const std::string& method, Script script);

    // Every call in arrival order, malformed ones included.
    const std::vector<LcdsInvocation>& Invocations() const { return invocations_; }
    // Scripted answers no call has taken yet.
    std::size_t PendingAnswers() const;

private:
    void Serve(const RecordedRequest& request, Response& response);

    std::map<std::string, std::deque<Script>> scripts_;
    std::map<std::string, Script> standing_;
    std::vector<LcdsInvocation> invocations_;
};

}  // namespace Tavix::TestHost
