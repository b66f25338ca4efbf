#include "log/tracing.h"

#include "platform/thread_id.h"

namespace Tavix::Client {
namespace {

constexpr TraceEventBit kFirstEvents[] = {{1, 0}};
constexpr TraceEventBit kSecondEvents[] = {{1, 0}};
constexpr TraceEventBit kThirdEvents[] = {{0, 0}};
constexpr TraceEventBit kFourthEvents[] = {{1, 0}, {2, 0}};

constexpr TraceProvider kProviders[kTraceProviderCount] = {
    {{0x2F9EFE86, 0x4AF7, 0x4F37, {0xA4, 0x0F, 0x94, 0xB9, 0x09, 0xA1, 0x57, 0xD6}},
     kFirstEvents,
     1},
    {{0xEA08C559, 0x95A8, 0x4AA2, {0xAF, 0xA6, 0x18, 0x73, 0x8E, 0xEC, 0x6D, 0x37}},
     kSecondEvents,
     1},
    {{0x10F6728C, 0xEF92, 0x4BF1, {0x83, 0x97, 0x49, 0xE6, 0x93, 0xA6, 0xEB, 0x74}},
     kThirdEvents,
     1},
    {{0x46DD7F96, 0x60CB, 0x416B, {0x80, 0x85, 0xDA, 0x5C, 0xD8, 0xF4, 0x91, 0xDD}},
     kFourthEvents,
     2},
};

ProviderState states[kTraceProviderCount];
const TracingLibrary* activeLibrary = nullptr;

struct CallbackContext {
    const TraceProvider* provider;
    ProviderState* state;
};

CallbackContext contexts[kTraceProviderCount];

void EnableCallback(std::uint32_t controlCode, std::uint8_t level, std::uint64_t matchAny,
                    std::uint64_t matchAll, void* context) {
    auto* target = static_cast<CallbackContext*>(context);
    ApplyTraceControl(controlCode, level, matchAny, matchAll, *target->provider, *target->state);
}

constexpr TraceEventDescriptor kThreadNameEvent = {103, 0, 0, 0, 14, 2, 1};

void WriteThreadName(const char* name) {
    if (activeLibrary->writeEvent == nullptr) {
        return;
    }
    const auto threadId = static_cast<std::uint32_t>(Platform::CurrentThreadId());
    const char* text = name != nullptr ? name : "NULL";
    std::uint32_t length = 0;
    while (text[length] != '\0') {
        ++length;
    }
    const TraceDataField fields[2] = {{&threadId, sizeof threadId}, {text, length + 1}};
    activeLibrary->writeEvent(states[1].handle, &kThreadNameEvent, 2, fields);
}

}  // namespace

const TraceProvider* TraceProviders() {
    return kProviders;
}

ProviderState* TraceProviderStates() {
    return states;
}

void ApplyTraceControl(std::uint32_t controlCode, std::uint8_t level, std::uint64_t matchAny,
                       std::uint64_t matchAll, const TraceProvider& provider,
                       ProviderState& state) {
    if (controlCode == kTraceControlDisable) {
        state.level = 0;
        state.matchAnyKeyword = 0;
        state.matchAllKeyword = 0;
        state.enabled = false;
        for (bool& bit : state.enableBits) {
            bit = false;
        }
        return;
    }
    if (controlCode != kTraceControlEnable) {
        return;
    }
    state.level = level;
    state.matchAnyKeyword = matchAny;
    state.matchAllKeyword = matchAll;
    state.enabled = true;
    for (std::size_t index = 0; index < provider.eventCount && index < kMaxTraceEvents; ++index) {
        const TraceEventBit& event = provider.events[index];
        const bool levelFits = level == 0 || level >= event.level;
        const bool keywordFits = event.keyword == 0 || ((event.keyword & matchAny) != 0 &&
                                                        (event.keyword & matchAll) == matchAll);
        state.enableBits[index] = levelFits && keywordFits;
    }
}

bool StartTracing(const TracingLibrary* library) {
    if (library == nullptr) {
        return false;
    }
    activeLibrary = library;
    for (std::size_t index = 0; index < kTraceProviderCount; ++index) {
        contexts[index] = CallbackContext{&kProviders[index], &states[index]};
        if (states[index].handle != 0 || library->registerProvider == nullptr) {
            continue;
        }
        library->registerProvider(&kProviders[index].id, EnableCallback, &contexts[index],
                                  &states[index].handle);
    }
    if (states[1].enableBits[0]) {
        WriteThreadName("Main thread");
    }
    return true;
}

void StopTracing() {
    if (activeLibrary == nullptr) {
        return;
    }
    for (std::size_t index = kTraceProviderCount; index-- > 0;) {
        if (activeLibrary->unregisterProvider != nullptr && states[index].handle != 0) {
            activeLibrary->unregisterProvider(states[index].handle);
        }
        states[index].handle = 0;
    }
    activeLibrary = nullptr;
}

const TracingLibrary* FindTracingLibrary() {
    return nullptr;
}

}  // namespace Tavix::Client
