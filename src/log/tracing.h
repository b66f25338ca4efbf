#pragma once

#include <cstddef>
#include <cstdint>

namespace Tavix::Client {

// Event tracing of the platform, in the scheme of a generated manifest provider: four providers,
// each with a table of events that a trace consumer switches on and off. Everything goes through
// the three functions of a tracing library looked up at load; without that library tracing
// stays off and nothing else changes. This platform has no such library, so here tracing is
// always off and no event is ever written.

struct TraceGuid {
    std::uint32_t data1;
    std::uint16_t data2;
    std::uint16_t data3;
    std::uint8_t data4[8];
};

struct TraceEventBit {
    std::uint64_t keyword;
    std::uint8_t level;
};

struct TraceProvider {
    TraceGuid id;
    const TraceEventBit* events;
    std::size_t eventCount;
};

inline constexpr std::size_t kTraceProviderCount = 4;
inline constexpr std::size_t kMaxTraceEvents = 2;

// The four providers in the order of their registration.
const TraceProvider* TraceProviders();

struct ProviderState {
    std::uint64_t handle = 0;  // 0 while not registered
    std::uint8_t level = 0;
    std::uint64_t matchAnyKeyword = 0;
    std::uint64_t matchAllKeyword = 0;
    bool enabled = false;
    bool enableBits[kMaxTraceEvents] = {};
};

inline constexpr std::uint32_t kTraceControlDisable = 0;
inline constexpr std::uint32_t kTraceControlEnable = 1;

// What the consumer's control request does to a provider: 0 disables it and clears every event,
// 1 enables it and sets each event whose level and keyword the request selects, any other code
// changes nothing.
void ApplyTraceControl(std::uint32_t controlCode, std::uint8_t level, std::uint64_t matchAny,
                       std::uint64_t matchAll, const TraceProvider& provider, ProviderState& state);

struct TraceEventDescriptor {
    std::uint16_t id;
    std::uint8_t version;
    std::uint8_t channel;
    std::uint8_t level;
    std::uint8_t opcode;
    std::uint16_t task;
    std::uint64_t keyword;
};

struct TraceDataField {
    const void* data;
    std::uint32_t size;
};

// The functions of a tracing library; any of them may be missing.
struct TracingLibrary {
    using EnableCallback = void (*)(std::uint32_t controlCode, std::uint8_t level,
                                    std::uint64_t matchAny, std::uint64_t matchAll, void* context);
    std::uint32_t (*registerProvider)(const TraceGuid* id, EnableCallback callback, void* context,
                                      std::uint64_t* handle);
    std::uint32_t (*writeEvent)(std::uint64_t handle, const TraceEventDescriptor* descriptor,
                                std::uint32_t fieldCount, const TraceDataField* fields);
    std::uint32_t (*unregisterProvider)(std::uint64_t handle);
};

// Registers the providers with `library` and announces the calling thread as "Main thread" when
// the consumer asked for that event. Returns false, doing nothing, when there is no library.
bool StartTracing(const TracingLibrary* library);
// Unregisters the providers, last first, and forgets the library.
void StopTracing();

// The providers' states, for the enable callback and for tests.
ProviderState* TraceProviderStates();

// Looks for the platform's tracing library; on this platform there is none, so the result is
// null and tracing stays off.
const TracingLibrary* FindTracingLibrary();

}  // namespace Tavix::Client
