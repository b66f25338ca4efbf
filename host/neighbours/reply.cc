#include "neighbours/reply.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace Tavix::TestHost {

Reply Reply::Answer(Value value) {
    Reply reply;
    reply.value = std::move(value);
    return reply;
}

Reply Reply::Fail(std::string error, std::uint32_t status) {
    Reply reply;
    reply.kind = Kind::Fail;
    reply.error = std::move(error);
    reply.status = status;
    return reply;
}

Reply Reply::Late(int turns, Value value) {
    Reply reply;
    reply.kind = Kind::Late;
    reply.turns = std::max(turns, 1);
    reply.value = std::move(value);
    return reply;
}

void Reply::Fill(Response& response) const {
    switch (kind) {
        case Kind::Answer:
            response = Response::Ok(value);
            return;
        case Kind::Fail:
            response = Response::Error(error, status);
            return;
        case Kind::Late: {
            // The first chunk is there at once and each later one a turn after the reader took
            // the one before: `turns` empty chunks keep the reader waiting that many turns.
            std::vector<std::string> chunks(static_cast<std::size_t>(turns));
            chunks.push_back(value.ToJson());
            response = Response();
            response.stream = std::move(chunks);
            response.streamArrivesOnTurns = true;
            return;
        }
    }
}

}  // namespace Tavix::TestHost
