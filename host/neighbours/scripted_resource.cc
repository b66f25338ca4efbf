#include "neighbours/scripted_resource.h"

#include <utility>

#include "core/event_injection.h"

namespace Tavix::TestHost {

ScriptedResource::ScriptedResource(Host& host, std::string uri)
    : host_(host), uri_(std::move(uri)), reads_(host, Client::kMethodGet, uri_) {
    ReadsAnswer();
}

void ScriptedResource::Set(Value state) {
    state_ = std::move(state);
}

void ScriptedResource::Clear() {
    state_.reset();
}

void ScriptedResource::Create(Value state) {
    Set(std::move(state));
    Publish("Create");
}

void ScriptedResource::Update(Value state) {
    Set(std::move(state));
    Publish("Update");
}

void ScriptedResource::Delete() {
    Clear();
    Publish("Delete");
}

void ScriptedResource::Publish(const std::string& eventType) {
    PublishResourceEvent(host_, uri_, eventType, state_ ? *state_ : Value::None());
}

void ScriptedResource::ReadsAnswer() {
    reads_.AlwaysWith([this](const RecordedRequest&) {
        return state_ ? Reply::Answer(*state_) : Reply::Fail("Resource not found: " + uri_, 404);
    });
}

void ScriptedResource::ReadsFail(std::string error, std::uint32_t status) {
    reads_.Always(Reply::Fail(std::move(error), status));
}

void ScriptedResource::ReadsLate(int turns) {
    reads_.AlwaysWith([this, turns](const RecordedRequest&) {
        return state_ ? Reply::Late(turns, *state_)
                      : Reply::Fail("Resource not found: " + uri_, 404);
    });
}

}  // namespace Tavix::TestHost
