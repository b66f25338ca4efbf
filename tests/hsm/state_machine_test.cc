#include "hsm/state_machine.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <string>
#include <vector>

namespace Tavix::Hsm {
namespace {

struct Recorder;
using Machine = StateMachine<Recorder, std::string>;
using TestState = State<Recorder, std::string>;
using Row = Transition<Recorder, std::string>;

struct Recorder {
    std::vector<std::string> log;
    Machine* machine = nullptr;
    std::vector<bool> nestedResults;
};

std::string CurrentName(const Machine& machine) {
    return machine.GetCurrentState() != nullptr ? machine.GetCurrentState()->name : "null";
}

// Entries and exits log the name of the machine's current state rather than their own, so a
// wrong `current` during an action shows in the log.
void Enter(const Machine& machine) {
    machine.GetOwner()->log.push_back("+" + CurrentName(machine));
}
void Exit(const Machine& machine) {
    machine.GetOwner()->log.push_back("-" + CurrentName(machine));
}

template <const char* Label>
void Act(const Machine& machine) {
    machine.GetOwner()->log.push_back(std::string(Label) + "@" + CurrentName(machine));
}

template <const char* Label, const std::string& Event>
void ActAndDispatch(const Machine& machine) {
    Act<Label>(machine);
    Recorder* recorder = machine.GetOwner();
    recorder->nestedResults.push_back(recorder->machine->Dispatch(Event));
}

std::string CopyEvent(const std::string& event) {
    return event;
}

constexpr char kInit[] = "init";
constexpr char kReset[] = "reset";
constexpr char kHome[] = "home";
constexpr char kDeep[] = "deep";
constexpr char kAlien[] = "alien";
constexpr char kRootShadow[] = "root-shadow";
constexpr char kPing[] = "ping";
constexpr char kToA1a[] = "toA1a";
constexpr char kAShadow[] = "A-shadow";
constexpr char kDown[] = "down";
constexpr char kUp[] = "up";
constexpr char kToB1[] = "toB1";
constexpr char kToB2[] = "toB2";
constexpr char kA1Shadow[] = "A1-shadow";
constexpr char kParent[] = "parent";
constexpr char kTick[] = "tick";
constexpr char kSelf[] = "self";
constexpr char kFirst[] = "first";
constexpr char kSecond[] = "second";
constexpr char kSibling[] = "sibling";
constexpr char kNest[] = "nest";
constexpr char kNestReset[] = "nest-reset";

const std::string kResetEvent = "reset";
const std::string kHomeEvent = "home";
const std::string kDeepEvent = "deep";
const std::string kAlienEvent = "alien";
const std::string kShadowEvent = "shadow";
const std::string kPingEvent = "ping";
const std::string kToA1aEvent = "toA1a";
const std::string kDownEvent = "down";
const std::string kUpEvent = "up";
const std::string kToB1Event = "toB1";
const std::string kToB2Event = "toB2";
const std::string kParentEvent = "parent";
const std::string kTickEvent = "tick";
const std::string kSelfEvent = "self";
const std::string kDupEvent = "dup";
const std::string kSiblingEvent = "sibling";
const std::string kNestEvent = "nest";
const std::string kNestResetEvent = "nest-reset";

// Root
// ├── A ─────────── initial A1
// │   ├── A1 ────── initial A1a
// │   │   ├── A1a
// │   │   └── A1b
// │   └── A2 ────── initial A2a
// │       └── A2a
// └── B
//     ├── B1 ────── initial B1 (itself: refused)
//     └── B2 ────── initial A (outside its subtree: refused)
// Island, a second tree
// └── IslandChild
extern const TestState Root, A, A1, A1a, A1b, A2, A2a, B, B1, B2, Island, IslandChild;

const Row kRootRows[] = {
    {kResetEvent, &B, &Act<kReset>},       {kHomeEvent, &Root, &Act<kHome>},
    {kDeepEvent, &A2, &Act<kDeep>},        {kAlienEvent, &IslandChild, &Act<kAlien>},
    {kShadowEvent, &B, &Act<kRootShadow>}, {kPingEvent, nullptr, &Act<kPing>},
    {kToA1aEvent, &A1a, &Act<kToA1a>},
};
const Row kARows[] = {
    {kShadowEvent, &A2, &Act<kAShadow>}, {kDownEvent, &A1b, &Act<kDown>}, {kUpEvent, &A, &Act<kUp>},
    {kToB1Event, &B1, &Act<kToB1>},      {kToB2Event, &B2, &Act<kToB2>},
};
const Row kA1Rows[] = {
    {kShadowEvent, &A1b, &Act<kA1Shadow>},
    {kParentEvent, &A1, &Act<kParent>},
};
const Row kA1aRows[] = {
    {kTickEvent, nullptr, &Act<kTick>},
    {kSelfEvent, &A1a, &Act<kSelf>},
    {kDupEvent, &A1b, &Act<kFirst>},
    {kDupEvent, &A2, &Act<kSecond>},
    {kSiblingEvent, &A1b, &Act<kSibling>},
    {kNestEvent, &A2, &ActAndDispatch<kNest, kPingEvent>},
    {kNestResetEvent, &A1b, &ActAndDispatch<kNestReset, kResetEvent>},
};

const TestState Root{.name = "Root",
                     .onEntry = &Enter,
                     .onExit = &Exit,
                     .initial = {.target = &A, .action = &Act<kInit>},
                     .transitions = kRootRows};
const TestState A{.name = "A",
                  .parent = &Root,
                  .onEntry = &Enter,
                  .onExit = &Exit,
                  .initial = {.target = &A1},
                  .transitions = kARows};
const TestState A1{.name = "A1",
                   .parent = &A,
                   .onEntry = &Enter,
                   .onExit = &Exit,
                   .initial = {.target = &A1a},
                   .transitions = kA1Rows};
const TestState A1a{
    .name = "A1a", .parent = &A1, .onEntry = &Enter, .onExit = &Exit, .transitions = kA1aRows};
const TestState A1b{.name = "A1b", .parent = &A1, .onEntry = &Enter, .onExit = &Exit};
const TestState A2{
    .name = "A2", .parent = &A, .onEntry = &Enter, .onExit = &Exit, .initial = {.target = &A2a}};
const TestState A2a{.name = "A2a", .parent = &A2, .onEntry = &Enter, .onExit = &Exit};
const TestState B{.name = "B", .parent = &Root, .onEntry = &Enter, .onExit = &Exit};
const TestState B1{
    .name = "B1", .parent = &B, .onEntry = &Enter, .onExit = &Exit, .initial = {.target = &B1}};
const TestState B2{
    .name = "B2", .parent = &B, .onEntry = &Enter, .onExit = &Exit, .initial = {.target = &A}};
const TestState Island{.name = "Island", .onEntry = &Enter, .onExit = &Exit};
const TestState IslandChild{.name = "IslandChild", .parent = &Island};

void CollectDiagnostic(void* context, const char* format, std::va_list arguments) {
    char text[512];
    std::vsnprintf(text, sizeof text, format, arguments);
    static_cast<std::vector<std::string>*>(context)->push_back(text);
}

class StateMachineTest : public ::testing::Test {
protected:
    StateMachineTest() { recorder.machine = &machine; }

    void SetUp() override { SetDiagnosticSink(&CollectDiagnostic, &diagnostics); }
    void TearDown() override { SetDiagnosticSink(nullptr, nullptr); }

    void StartAndClear() {
        machine.Start();
        recorder.log.clear();
    }

    Recorder recorder;
    Machine machine{&recorder, "Test", Root, &CopyEvent};
    std::vector<std::string> diagnostics;
};

using Log = std::vector<std::string>;

TEST_F(StateMachineTest, StartEntersTheRootAndFollowsTheInitialChain) {
    EXPECT_TRUE(recorder.log.empty());
    EXPECT_EQ(machine.GetCurrentState(), &Root);

    machine.Start();

    EXPECT_EQ(recorder.log, (Log{"+Root", "init@Root", "+A", "+A1", "+A1a"}));
    EXPECT_EQ(machine.GetCurrentState(), &A1a);
}

TEST_F(StateMachineTest, StopExitsInnermostFirstAndThenIgnoresEvents) {
    StartAndClear();

    machine.Stop();

    EXPECT_EQ(recorder.log, (Log{"-A1a", "-A1", "-A", "-Root"}));
    EXPECT_EQ(machine.GetCurrentState(), nullptr);
    recorder.log.clear();
    EXPECT_FALSE(machine.Dispatch(kTickEvent));
    EXPECT_FALSE(machine.Dispatch(kResetEvent));
    EXPECT_TRUE(recorder.log.empty());
}

TEST_F(StateMachineTest, StopFromAStateRestingAtTheRootExitsOnlyTheRoot) {
    machine.Start();
    ASSERT_TRUE(machine.Dispatch(kHomeEvent));
    recorder.log.clear();

    machine.Stop();

    EXPECT_EQ(recorder.log, (Log{"-Root"}));
}

TEST_F(StateMachineTest, StartAfterStopBeginsAgainAtTheRoot) {
    machine.Start();
    ASSERT_TRUE(machine.Dispatch(kResetEvent));
    machine.Stop();
    recorder.log.clear();

    machine.Start();

    EXPECT_EQ(recorder.log, (Log{"+Root", "init@Root", "+A", "+A1", "+A1a"}));
    EXPECT_EQ(machine.GetCurrentState(), &A1a);
}

struct DispatchCase {
    const char* title;
    std::vector<std::string> prelude;
    std::string event;
    bool handled;
    Log log;
    const TestState* final;
};

void PrintTo(const DispatchCase& dispatchCase, std::ostream* out) {
    *out << dispatchCase.title;
}

class DispatchTest : public StateMachineTest, public ::testing::WithParamInterface<DispatchCase> {};

// Every case starts in A1a, plays its prelude, and then records what one event does.
TEST_P(DispatchTest, RunsExitsActionAndEntriesInOrder) {
    const DispatchCase& dispatchCase = GetParam();
    machine.Start();
    for (const std::string& event : dispatchCase.prelude) {
        ASSERT_TRUE(machine.Dispatch(event)) << event;
    }
    recorder.log.clear();

    EXPECT_EQ(machine.Dispatch(dispatchCase.event), dispatchCase.handled);

    EXPECT_EQ(recorder.log, dispatchCase.log);
    EXPECT_EQ(machine.GetCurrentState(), dispatchCase.final)
        << CurrentName(machine) << " instead of " << dispatchCase.final->name;
}

INSTANTIATE_TEST_SUITE_P(
    Rows, DispatchTest,
    ::testing::Values(
        DispatchCase{"internal row", {}, "tick", true, {"tick@A1a"}, &A1a},
        DispatchCase{"target is the current state", {}, "self", true, {"self@A1a"}, &A1a},
        DispatchCase{
            "ancestor's row targets the current state", {}, "toA1a", true, {"toA1a@A1a"}, &A1a},
        DispatchCase{"sibling", {}, "sibling", true, {"-A1a", "sibling@A1", "+A1b"}, &A1b},
        DispatchCase{"root's row three levels up",
                     {},
                     "reset",
                     true,
                     {"-A1a", "-A1", "-A", "reset@Root", "+B"},
                     &B},
        DispatchCase{"inner row shadows outer rows",
                     {},
                     "shadow",
                     true,
                     {"-A1a", "A1-shadow@A1", "+A1b"},
                     &A1b},
        DispatchCase{"first of two rows wins", {}, "dup", true, {"-A1a", "first@A1", "+A1b"}, &A1b},
        DispatchCase{"to the parent, whose initial is not followed",
                     {},
                     "parent",
                     true,
                     {"-A1a", "parent@A1"},
                     &A1},
        DispatchCase{"to the grandparent", {}, "up", true, {"-A1a", "-A1", "up@A"}, &A},
        DispatchCase{"to the root", {}, "home", true, {"-A1a", "-A1", "-A", "home@Root"}, &Root},
        DispatchCase{"to a grandchild, whose parent's initial is not followed",
                     {"up"},
                     "down",
                     true,
                     {"down@A", "+A1", "+A1b"},
                     &A1b},
        DispatchCase{"to a grandchild with an initial chain",
                     {"home"},
                     "deep",
                     true,
                     {"deep@Root", "+A", "+A2", "+A2a"},
                     &A2a},
        DispatchCase{"from a sibling subtree into one with an initial chain",
                     {"reset"},
                     "deep",
                     true,
                     {"-B", "deep@Root", "+A", "+A2", "+A2a"},
                     &A2a},
        DispatchCase{"initial targets its own state",
                     {},
                     "toB1",
                     true,
                     {"-A1a", "-A1", "-A", "toB1@Root", "+B", "+B1"},
                     &B1},
        DispatchCase{"initial targets a state outside the subtree",
                     {},
                     "toB2",
                     true,
                     {"-A1a", "-A1", "-A", "toB2@Root", "+B", "+B2"},
                     &B2},
        DispatchCase{"target in another tree", {}, "alien", false, {}, &A1a},
        DispatchCase{"no state names the event", {}, "nobody", false, {}, &A1a},
        DispatchCase{"event differing only in case", {}, "Tick", false, {}, &A1a}),
    [](const ::testing::TestParamInfo<DispatchCase>& param) {
        std::string name = param.param.title;
        for (char& c : name) {
            if (!std::isalnum(static_cast<unsigned char>(c))) {
                c = '_';
            }
        }
        return name;
    });

TEST_F(StateMachineTest, ReportsAnUnhandledEventWithTheInnermostState) {
    StartAndClear();

    ASSERT_FALSE(machine.Dispatch("nobody"));

    EXPECT_EQ(diagnostics, (Log{"State machine 'Test': Event 'nobody' is not handled by state "
                                "'A1a', or its ancestors. The event will be ignored."}));
}

TEST_F(StateMachineTest, ReportsAnEventAfterStopAgainstNoState) {
    machine.Start();
    machine.Stop();

    ASSERT_FALSE(machine.Dispatch(kTickEvent));

    EXPECT_EQ(diagnostics, (Log{"State machine 'Test': Event 'tick' is not handled by state "
                                "'n/a', or its ancestors. The event will be ignored."}));
}

TEST_F(StateMachineTest, ReportsATransitionIntoAnotherTreeFromTheCurrentState) {
    StartAndClear();

    ASSERT_FALSE(machine.Dispatch(kAlienEvent));

    EXPECT_EQ(diagnostics,
              (Log{"State machine 'Test': The transition from state 'A1a' to state 'IslandChild' "
                   "on event 'alien' is invalid because the states do not share a common "
                   "ancestry. The event will be ignored."}));
}

TEST_F(StateMachineTest, ReportsInitialTransitionsThatDoNotLeadInward) {
    StartAndClear();
    ASSERT_TRUE(machine.Dispatch(kToB1Event));
    ASSERT_TRUE(machine.Dispatch(kResetEvent));
    ASSERT_TRUE(machine.Dispatch(kDeepEvent));
    ASSERT_TRUE(machine.Dispatch(kToB2Event));

    EXPECT_EQ(diagnostics,
              (Log{"State machine 'Test': The initial transition from state 'B1' to state 'B1' is "
                   "invalid because the target state is not a descendant. The transition will be "
                   "ignored.",
                   "State machine 'Test': The initial transition from state 'B2' to state 'A' is "
                   "invalid because the target state is not a descendant. The transition will be "
                   "ignored."}));
}

TEST_F(StateMachineTest, HandledEventsReportNothing) {
    machine.Start();
    for (const std::string* event :
         {&kTickEvent, &kSiblingEvent, &kUpEvent, &kDownEvent, &kHomeEvent, &kDeepEvent}) {
        ASSERT_TRUE(machine.Dispatch(*event)) << *event;
    }
    machine.Stop();

    EXPECT_TRUE(diagnostics.empty());
}

TEST(StateMachineWithoutEventText, DispatchesAndNamesEventsAsNotAvailable) {
    std::vector<std::string> diagnostics;
    SetDiagnosticSink(&CollectDiagnostic, &diagnostics);
    Recorder recorder;
    Machine machine{&recorder, "Plain", Root};
    recorder.machine = &machine;
    machine.Start();

    EXPECT_TRUE(machine.Dispatch(kSiblingEvent));
    EXPECT_FALSE(machine.Dispatch(kAlienEvent));
    EXPECT_FALSE(machine.Dispatch("nobody"));
    SetDiagnosticSink(nullptr, nullptr);

    EXPECT_EQ(machine.GetCurrentState(), &A1b);
    ASSERT_EQ(diagnostics.size(), 2u);
    EXPECT_NE(diagnostics[0].find("on event 'n/a'"), std::string::npos) << diagnostics[0];
    EXPECT_NE(diagnostics[1].find("Event 'n/a' is not handled by state 'A1b'"), std::string::npos)
        << diagnostics[1];
}

int gEventTextCalls = 0;
std::string CountingEventText(const std::string& event) {
    ++gEventTextCalls;
    return event;
}

TEST(StateMachineWithoutSink, NeverTurnsEventsIntoText) {
    Recorder recorder;
    Machine machine{&recorder, "Quiet", Root, &CountingEventText};
    recorder.machine = &machine;
    machine.Start();
    gEventTextCalls = 0;

    EXPECT_FALSE(machine.Dispatch("nobody"));
    EXPECT_FALSE(machine.Dispatch(kAlienEvent));

    EXPECT_EQ(gEventTextCalls, 0);
    EXPECT_EQ(machine.GetCurrentState(), &A1a);
}

TEST_F(StateMachineTest, NestedDispatchFromAnActionRunsAtTheCommonAncestor) {
    StartAndClear();

    EXPECT_TRUE(machine.Dispatch(kNestEvent));

    EXPECT_EQ(recorder.log, (Log{"-A1a", "-A1", "nest@A", "ping@A", "+A2", "+A2a"}));
    EXPECT_EQ(recorder.nestedResults, (std::vector<bool>{true}));
    EXPECT_EQ(machine.GetCurrentState(), &A2a);
}

// The nested transition leaves A1 and A for B; the outer one then carries on along the path it
// had computed and enters A1b straight from B, without entering A1 or A again.
TEST_F(StateMachineTest, OuterTransitionResumesItsOwnPathAfterANestedTransition) {
    StartAndClear();

    EXPECT_TRUE(machine.Dispatch(kNestResetEvent));

    EXPECT_EQ(recorder.log,
              (Log{"-A1a", "nest-reset@A1", "-A1", "-A", "reset@Root", "+B", "+A1b"}));
    EXPECT_EQ(recorder.nestedResults, (std::vector<bool>{true}));
    EXPECT_EQ(machine.GetCurrentState(), &A1b);
}

}  // namespace
}  // namespace Tavix::Hsm
