#pragma once
// How a scripted neighbour answers one request: at once with a value, with a failure, or late,
// with the value arriving only after a number of host turns. A late answer is a streamed body,
// so the module reading it gives the host those turns while it waits.

#include <cstdint>
#include <string>

#include "core/routing.h"
#include "core/value.h"

namespace Tavix::TestHost {

struct Reply {
    enum class Kind { Answer, Fail, Late };

    Kind kind = Kind::Answer;
    Value value;
    std::string error;
    std::uint32_t status = 0;
    int turns = 0;

    static Reply Answer(Value value = Value::None());
    static Reply Fail(std::string error, std::uint32_t status = 500);
    // The value, as JSON text, after `turns` host turns (at least one).
    static Reply Late(int turns, Value value = Value::None());

    // Lays the reply out as the host's response.
    void Fill(Response& response) const;
};

}  // namespace Tavix::TestHost
