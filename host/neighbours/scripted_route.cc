#include "neighbours/scripted_route.h"

#include <utility>

namespace Tavix::TestHost {

ScriptedRoute::ScriptedRoute(Host& host, std::uint32_t method, std::string url, Match match)
    : standing_([](const RecordedRequest&) { return Reply::Answer(); }) {
    RequestHandler handler = [this](const RecordedRequest& request, Response& response) {
        Serve(request, response);
    };
    if (match == Match::Prefix) {
        host.RoutePrefix(method, std::move(url), std::move(handler));
    } else {
        host.Route(method, std::move(url), std::move(handler));
    }
}

void ScriptedRoute::Next(Reply reply) {
    next_.push_back(std::move(reply));
}

void ScriptedRoute::Always(Reply reply) {
    standing_ = [reply = std::move(reply)](const RecordedRequest&) { return reply; };
}

void ScriptedRoute::AlwaysWith(Answerer answerer) {
    standing_ = std::move(answerer);
}

std::vector<Value> ScriptedRoute::Bodies() const {
    std::vector<Value> bodies;
    for (const RecordedRequest& request : requests_) {
        bodies.push_back(request.parameters.empty() ? Value::None()
                                                    : request.parameters.front().value);
    }
    return bodies;
}

void ScriptedRoute::Serve(const RecordedRequest& request, Response& response) {
    requests_.push_back(request);
    if (!next_.empty()) {
        const Reply reply = std::move(next_.front());
        next_.pop_front();
        reply.Fill(response);
        return;
    }
    standing_(request).Fill(response);
}

}  // namespace Tavix::TestHost
