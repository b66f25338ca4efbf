#pragma once
// The one handler of a host event name, as `eventHandlers` keeps it: a function of one of the
// frame's payload records, with the record's static type so that a callback of another payload
// never calls it.

#include <functional>
#include <utility>

#include "binding/static_type.h"

namespace Tavix::Client::Internal {

class FrameEventHandler {
public:
    explicit FrameEventHandler(const StaticTypeRecord* payload) : payloadType(payload) {}
    virtual ~FrameEventHandler() = default;
    FrameEventHandler(const FrameEventHandler&) = delete;
    FrameEventHandler& operator=(const FrameEventHandler&) = delete;

    const StaticTypeRecord* const payloadType;
};

template <typename Payload>
class TypedFrameEventHandler final : public FrameEventHandler {
public:
    explicit TypedFrameEventHandler(std::function<void(const Payload&)> handler)
        : FrameEventHandler(&StaticType::Record<Payload>()), function(std::move(handler)) {}

    const std::function<void(const Payload&)> function;
};

}  // namespace Tavix::Client::Internal
