#pragma once

#include <span>

namespace Tavix::Hsm {

template <typename Owner, typename Event>
class StateMachine;

template <typename Owner, typename Event>
struct State;

// Every action of a table, whether it runs on entry, on exit or along a row, is a plain function:
// it reaches the object it works on through the machine's owner and learns where it stands from
// the machine's current state.
template <typename Owner, typename Event>
using Action = void (*)(const StateMachine<Owner, Event>&);

// One row of a state's table. A null target makes the row internal: only the action runs.
template <typename Owner, typename Event>
struct Transition {
    Event event{};
    const State<Owner, Event>* target = nullptr;
    Action<Owner, Event> action = nullptr;
};

// One node of a state tree. Tables are built from constant objects with static storage duration
// that point at each other by address, so a state may name one that is defined after it once it
// has been declared `extern`. The rows usually live in a static array of their own just before
// the state:
//
//     extern const State<Owner, Event> Idle;
//     const Transition<Owner, Event> kBusyRows[] = {{kDone, &Idle, &Report}};
//     const State<Owner, Event> Busy{.name = "Busy", .parent = &Root, .transitions = kBusyRows};
//
// A row copies its event, so the event objects must be constructed before the rows that name
// them.
template <typename Owner, typename Event>
struct State {
    const char* name = "";
    const State* parent = nullptr;
    Action<Owner, Event> onEntry = nullptr;
    Action<Owner, Event> onExit = nullptr;
    // Its event is never compared; a null target means the state has no initial transition.
    Transition<Owner, Event> initial{};
    // Searched in order: the first row whose event matches wins.
    std::span<const Transition<Owner, Event>> transitions{};
};

}  // namespace Tavix::Hsm
