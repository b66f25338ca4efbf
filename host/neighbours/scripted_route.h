#pragma once
// One route of a neighbour, as a test or a simulation scripts it: every request is kept, and
// answered by the next one-shot reply if one waits, else by the standing answer.

#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "core/host.h"
#include "neighbours/reply.h"

namespace Tavix::TestHost {

class ScriptedRoute {
public:
    using Answerer = std::function<Reply(const RecordedRequest& request)>;

    enum class Match { Exact, Prefix };

    // Serves `method` on `url` of `host` (or on every URL that starts with it), replacing an
    // earlier route there; answers with an empty value until told otherwise. The route must
    // outlive the requests sent to it.
    ScriptedRoute(Host& host, std::uint32_t method, std::string url, Match match = Match::Exact);
    ScriptedRoute(const ScriptedRoute&) = delete;
    ScriptedRoute& operator=(const ScriptedRoute&) = delete;

    // Answers the next request that finds no earlier one-shot reply waiting.
    void Next(Reply reply);
    // The answer of every request that finds no one-shot reply.
    void Always(Reply reply);
    void AlwaysWith(Answerer answerer);

    const std::vector<RecordedRequest>& Requests() const { return requests_; }
    std::size_t Count() const { return requests_.size(); }
    // The requests' first parameter, the body of the neighbours' routes, in order.
    std::vector<Value> Bodies() const;
    void ForgetRequests() { requests_.clear(); }

private:
    void Serve(const RecordedRequest& request, Response& response);

    std::deque<Reply> next_;
    Answerer standing_;
    std::vector<RecordedRequest> requests_;
};

}  // namespace Tavix::TestHost
