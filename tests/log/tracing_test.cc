#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "log/tracing.h"
#include "platform/thread_id.h"

namespace Tavix::Client {
namespace {

using ::testing::ElementsAre;

constexpr TraceEventBit kLeveledEvents[] = {{0, 4}, {0x6, 0}};
constexpr TraceProvider kLeveledProvider = {{}, kLeveledEvents, 2};

TEST(TraceControlTest, EnableSelectsEventsByLevelAndKeywords) {
    ProviderState state;
    ApplyTraceControl(kTraceControlEnable, 3, 0x2, 0x0, kLeveledProvider, state);
    EXPECT_TRUE(state.enabled);
    EXPECT_EQ(state.level, 3);
    EXPECT_EQ(state.matchAnyKeyword, 0x2u);
    EXPECT_EQ(state.matchAllKeyword, 0x0u);
    // Level 4 is above the requested 3; the keyword 0x6 shares a bit with 0x2.
    EXPECT_FALSE(state.enableBits[0]);
    EXPECT_TRUE(state.enableBits[1]);

    // Level 0 asks for every level; the keyword must also hold every match-all bit.
    ApplyTraceControl(kTraceControlEnable, 0, 0x2, 0x6, kLeveledProvider, state);
    EXPECT_TRUE(state.enableBits[0]);
    EXPECT_TRUE(state.enableBits[1]);
    ApplyTraceControl(kTraceControlEnable, 5, 0x2, 0x5, kLeveledProvider, state);
    EXPECT_TRUE(state.enableBits[0]);
    EXPECT_FALSE(state.enableBits[1]);
    ApplyTraceControl(kTraceControlEnable, 4, 0x1, 0x0, kLeveledProvider, state);
    EXPECT_TRUE(state.enableBits[0]);
    EXPECT_FALSE(state.enableBits[1]);
}

TEST(TraceControlTest, DisableClearsEverythingAndOtherCodesChangeNothing) {
    ProviderState state;
    ApplyTraceControl(kTraceControlEnable, 2, 0xFF, 0x2, kLeveledProvider, state);
    ApplyTraceControl(7, 0, 0, 0, kLeveledProvider, state);
    EXPECT_TRUE(state.enabled);
    EXPECT_EQ(state.level, 2);
    EXPECT_TRUE(state.enableBits[1]);

    ApplyTraceControl(kTraceControlDisable, 9, 9, 9, kLeveledProvider, state);
    EXPECT_FALSE(state.enabled);
    EXPECT_EQ(state.level, 0);
    EXPECT_EQ(state.matchAnyKeyword, 0u);
    EXPECT_EQ(state.matchAllKeyword, 0u);
    EXPECT_FALSE(state.enableBits[0]);
    EXPECT_FALSE(state.enableBits[1]);
}

TEST(TraceControlTest, EventWithoutKeywordIsOnWheneverItsProviderIs) {
    ProviderState state;
    ApplyTraceControl(kTraceControlEnable, 0, 0, 0, TraceProviders()[2], state);
    EXPECT_TRUE(state.enableBits[0]);
}

// A tracing library that records what it is asked and enables what the test chooses.
struct FakeTracing {
    static inline std::vector<std::uint32_t> registered;
    static inline std::vector<std::uint64_t> unregistered;
    static inline std::vector<std::string> written;
    static inline std::uint64_t enableKeyword = 0;
    static inline std::uint32_t writtenThread = 0;
    static inline TraceEventDescriptor writtenDescriptor{};

    static std::uint32_t Register(const TraceGuid* id, TracingLibrary::EnableCallback callback,
                                  void* context, std::uint64_t* handle) {
        registered.push_back(id->data1);
        *handle = registered.size() * 100;
        if (enableKeyword != 0) {
            callback(kTraceControlEnable, 0, enableKeyword, 0, context);
        }
        return 0;
    }
    static std::uint32_t Write(std::uint64_t handle, const TraceEventDescriptor* descriptor,
                               std::uint32_t count, const TraceDataField* fields) {
        EXPECT_EQ(handle, 200u);
        EXPECT_EQ(count, 2u);
        writtenDescriptor = *descriptor;
        std::memcpy(&writtenThread, fields[0].data, sizeof writtenThread);
        EXPECT_EQ(fields[0].size, 4u);
        written.emplace_back(static_cast<const char*>(fields[1].data), fields[1].size);
        return 0;
    }
    static std::uint32_t Unregister(std::uint64_t handle) {
        unregistered.push_back(handle);
        return 0;
    }
    static void Reset(std::uint64_t keyword) {
        registered.clear();
        unregistered.clear();
        written.clear();
        enableKeyword = keyword;
        for (std::size_t index = 0; index < kTraceProviderCount; ++index) {
            TraceProviderStates()[index] = ProviderState{};
        }
    }
};

TEST(TracingLifecycleTest, ThisPlatformHasNoTracingAndTheLoadGoesOn) {
    EXPECT_EQ(FindTracingLibrary(), nullptr);
    EXPECT_FALSE(StartTracing(FindTracingLibrary()));
    StopTracing();
    for (std::size_t index = 0; index < kTraceProviderCount; ++index) {
        EXPECT_EQ(TraceProviderStates()[index].handle, 0u);
    }
}

TEST(TracingLifecycleTest, RegistersInOrderAnnouncesTheMainThreadAndUnregistersBackwards) {
    FakeTracing::Reset(1);
    const TracingLibrary library{FakeTracing::Register, FakeTracing::Write,
                                 FakeTracing::Unregister};
    ASSERT_TRUE(StartTracing(&library));
    EXPECT_THAT(FakeTracing::registered,
                ElementsAre(0x2F9EFE86u, 0xEA08C559u, 0x10F6728Cu, 0x46DD7F96u));
    ASSERT_EQ(FakeTracing::written.size(), 1u);
    EXPECT_EQ(FakeTracing::written[0], std::string("Main thread", 12));
    EXPECT_EQ(FakeTracing::writtenThread, static_cast<std::uint32_t>(Platform::CurrentThreadId()));
    const TraceEventDescriptor& event = FakeTracing::writtenDescriptor;
    EXPECT_EQ(event.id, 103);
    EXPECT_EQ(event.version, 0);
    EXPECT_EQ(event.channel, 0);
    EXPECT_EQ(event.level, 0);
    EXPECT_EQ(event.opcode, 14);
    EXPECT_EQ(event.task, 2);
    EXPECT_EQ(event.keyword, 1u);

    // Registered providers are not registered twice.
    ASSERT_TRUE(StartTracing(&library));
    EXPECT_EQ(FakeTracing::registered.size(), 4u);

    StopTracing();
    EXPECT_THAT(FakeTracing::unregistered, ElementsAre(400u, 300u, 200u, 100u));
    for (std::size_t index = 0; index < kTraceProviderCount; ++index) {
        EXPECT_EQ(TraceProviderStates()[index].handle, 0u);
    }
}

TEST(TracingLifecycleTest, NothingIsWrittenUnlessTheConsumerAskedForIt) {
    FakeTracing::Reset(2);
    const TracingLibrary library{FakeTracing::Register, FakeTracing::Write,
                                 FakeTracing::Unregister};
    ASSERT_TRUE(StartTracing(&library));
    EXPECT_TRUE(FakeTracing::written.empty());
    EXPECT_TRUE(TraceProviderStates()[3].enableBits[1]);
    StopTracing();
}

TEST(TracingLifecycleTest, MissingFunctionsLeaveTracingOffWithoutHarm) {
    FakeTracing::Reset(1);
    const TracingLibrary empty{nullptr, nullptr, nullptr};
    ASSERT_TRUE(StartTracing(&empty));
    EXPECT_EQ(TraceProviderStates()[0].handle, 0u);
    StopTracing();

    const TracingLibrary noWriter{FakeTracing::Register, nullptr, nullptr};
    ASSERT_TRUE(StartTracing(&noWriter));
    EXPECT_TRUE(FakeTracing::written.empty());
    StopTracing();
    EXPECT_EQ(TraceProviderStates()[1].handle, 0u);
}

}  // namespace
}  // namespace Tavix::Client
