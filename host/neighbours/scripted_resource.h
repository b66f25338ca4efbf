#pragma once
// A resource a neighbour publishes: the state a module reads with GET (its first read when it
// starts observing), and the Create, Update and Delete events that tell of changes.

#include <optional>
#include <string>

#include "core/host.h"
#include "neighbours/scripted_route.h"

namespace Tavix::TestHost {

class ScriptedResource {
public:
    ScriptedResource(Host& host, std::string uri);

    const std::string& Uri() const { return uri_; }
    // Null while the resource does not exist; a GET then answers 404.
    const Value* State() const { return state_ ? &*state_ : nullptr; }

    // Changes the state without telling anyone.
    void Set(Value state);
    void Clear();

    // Sets the state and publishes it.
    void Create(Value state);
    void Update(Value state);
    // Clears the state and publishes a Delete, which carries no data.
    void Delete();
    // Publishes the current state (empty when there is none) under any event type text.
    void Publish(const std::string& eventType);

    // How GETs answer: with the state (the default), with a failure, or late.
    void ReadsAnswer();
    void ReadsFail(std::string error, std::uint32_t status = 500);
    void ReadsLate(int turns);
    std::size_t ReadCount() const { return reads_.Count(); }

private:
    Host& host_;
    std::string uri_;
    std::optional<Value> state_;
    ScriptedRoute reads_;
};

}  // namespace Tavix::TestHost
