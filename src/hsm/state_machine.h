#pragma once

#include <concepts>
#include <string>
#include <utility>

#include "hsm/diagnostic_hook.h"
#include "hsm/internal/event_equality.h"
#include "hsm/state.h"

namespace Tavix::Hsm {

// A hierarchical state machine over a constant table of `State` objects. The machine owns no
// behaviour of its own: it only remembers the current state and walks the table.
//
// A row is looked up from the current (innermost) state outward; the first state with a row for
// the event decides, and its first matching row is taken. Taking a row runs the exits from the
// current state up to, not including, the least common ancestor of the current and target states,
// then the row's action, then the entries from just below that ancestor down to the target, and
// last the initial transitions of the target and of each state they lead to.
//
// All transitions are local: the least common ancestor is never exited nor re-entered, even when
// it is the target itself. `current` always names the state being exited or entered while its
// action runs, and the least common ancestor while the row's action runs.
//
// Nothing is allocated, locked or thrown by the machine itself. Actions may dispatch further
// events: such a dispatch runs at once against whatever state is current at that moment, and the
// outer transition then goes on along the path it had computed.
template <typename Owner, typename Event>
class StateMachine {
    static_assert(std::equality_comparable<Event>, "rows are selected by comparing events");

public:
    using StateType = State<Owner, Event>;
    using TransitionType = Transition<Owner, Event>;
    // Only used to name events in diagnostics; may be null, and the text is then "n/a".
    using EventToString = std::string (*)(const Event&);

    // The machine rests in `root` without having entered it; `Start` runs the entry.
    StateMachine(Owner* owner, std::string name, const StateType& root,
                 EventToString eventToString = nullptr)
        : owner_(owner),
          name_(std::move(name)),
          root_(&root),
          current_(&root),
          eventToString_(eventToString) {}
    StateMachine(Owner* owner, std::string name, const StateType&& root,
                 EventToString eventToString = nullptr) = delete;

    // Actions hold on to the machine by reference while a transition runs.
    StateMachine(const StateMachine&) = delete;
    StateMachine& operator=(const StateMachine&) = delete;

    // Enters the current state, then follows the chain of initial transitions. After a `Stop` the
    // machine starts again from its root.
    void Start();

    // True if a row was found and performed; false if no state from the current one outward has a
    // row for the event, or if the row leads into another tree.
    bool Dispatch(const Event& event);

    // Exits the current state and every ancestor, innermost first. The machine then has no current
    // state and ignores every event.
    void Stop();

    Owner* GetOwner() const { return owner_; }
    const std::string& GetName() const { return name_; }
    // Null once the machine is stopped.
    const StateType* GetCurrentState() const { return current_; }

private:
    enum class Outcome { Refused, Stayed, Entered };

    // Where a transition between two states of one tree turns: the least common ancestor, and how
    // many states lie from just below it down to the target.
    struct Route {
        const StateType* ancestor;
        int entryCount;
    };

    bool PerformTransition(const TransitionType& transition);
    // Exits, action and entries of a row whose target is another state; no initial transition.
    Outcome Traverse(const TransitionType& transition);
    void FollowInitialTransition();

    void Run(Action<Owner, Event> action) const {
        if (action != nullptr) {
            action(*this);
        }
    }

    static bool FindRoute(const StateType* from, const StateType* to, Route& route);
    static const StateType* AncestorOf(const StateType* state, int levels);
    static bool IsProperDescendant(const StateType* state, const StateType* ancestor);

    std::string EventText(const Event& event) const {
        return eventToString_ != nullptr ? eventToString_(event) : std::string("n/a");
    }
    const char* CurrentName() const { return current_ != nullptr ? current_->name : "n/a"; }

    Owner* owner_;
    std::string name_;
    const StateType* root_;
    const StateType* current_;
    EventToString eventToString_;
};

template <typename Owner, typename Event>
void StateMachine<Owner, Event>::Start() {
    if (current_ == nullptr) {
        current_ = root_;
    }
    Run(current_->onEntry);
    FollowInitialTransition();
}

template <typename Owner, typename Event>
bool StateMachine<Owner, Event>::Dispatch(const Event& event) {
    // The innermost state that names the event decides, even if an ancestor names it too; the
    // state whose row is taken plays no further part, the transition starts from `current`.
    for (const StateType* state = current_; state != nullptr; state = state->parent) {
        for (const TransitionType& row : state->transitions) {
            if (Internal::EventEquality<Event>::Equal(row.event, event)) {
                return PerformTransition(row);
            }
        }
    }
    if (IsDiagnosticSinkInstalled()) {
        const std::string text = EventText(event);
        ReportDiagnostic(
            "State machine '%s': Event '%s' is not handled by state '%s', or its ancestors. The "
            "event will be ignored.",
            name_.c_str(), text.c_str(), CurrentName());
    }
    return false;
}

template <typename Owner, typename Event>
void StateMachine<Owner, Event>::Stop() {
    for (const StateType* state = current_; state != nullptr; state = state->parent) {
        Run(state->onExit);
        current_ = state->parent;
    }
}

template <typename Owner, typename Event>
bool StateMachine<Owner, Event>::PerformTransition(const TransitionType& transition) {
    // Internal row, or a row (possibly inherited from an ancestor) whose target is the current
    // state: there is no external self-transition, so only the action runs. These rows carry most
    // of the traffic (timer ticks), and skip the walk through the tree.
    if (transition.target == nullptr || transition.target == current_) {
        Run(transition.action);
        return true;
    }
    switch (Traverse(transition)) {
        case Outcome::Refused:
            return false;
        case Outcome::Stayed:
            return true;
        case Outcome::Entered:
            break;
    }
    FollowInitialTransition();
    return true;
}

template <typename Owner, typename Event>
typename StateMachine<Owner, Event>::Outcome StateMachine<Owner, Event>::Traverse(
    const TransitionType& transition) {
    // Both callers have already taken care of a null target and of a target equal to `current`.
    const StateType* const source = current_;
    const StateType* const target = transition.target;

    Route route{};
    if (!FindRoute(source, target, route)) {
        if (IsDiagnosticSinkInstalled()) {
            const std::string text = EventText(transition.event);
            ReportDiagnostic(
                "State machine '%s': The transition from state '%s' to state '%s' on event '%s' "
                "is invalid because the states do not share a common ancestry. The event will be "
                "ignored.",
                name_.c_str(), source->name, target->name, text.c_str());
        }
        return Outcome::Refused;
    }

    // Exits, innermost first. When the target is a descendant of the source the source is the
    // ancestor, and nothing is exited. The walk follows the path computed above, not `current`,
    // which an action that dispatches may have moved.
    for (const StateType* state = source; state != route.ancestor; state = state->parent) {
        Run(state->onExit);
        current_ = state->parent;
    }

    Run(transition.action);

    // The target is an ancestor of the source: the machine rests there without entering it, and
    // its initial transition is not followed.
    if (route.entryCount == 0) {
        return Outcome::Stayed;
    }

    // Entries, outermost first: siblings, cousins, and descendants of the source alike enter the
    // path from just below the ancestor down to the target. Paths are a few states long, so the
    // walk up from the target for each level costs less than keeping a list.
    for (int level = route.entryCount - 1; level >= 0; --level) {
        const StateType* const state = AncestorOf(target, level);
        current_ = state;
        Run(state->onEntry);
    }
    return Outcome::Entered;
}

template <typename Owner, typename Event>
void StateMachine<Owner, Event>::FollowInitialTransition() {
    // Each step enters at least one state deeper than the last, so the chain ends at a state
    // without an initial transition. An action that stopped the machine ends it too.
    while (current_ != nullptr) {
        const TransitionType& initial = current_->initial;
        if (initial.target == nullptr) {
            return;
        }
        // The target must lie strictly inside the state: the state itself or any state outside
        // its subtree is refused, and the machine rests where it is.
        if (!IsProperDescendant(initial.target, current_)) {
            ReportDiagnostic(
                "State machine '%s': The initial transition from state '%s' to state '%s' is "
                "invalid because the target state is not a descendant. The transition will be "
                "ignored.",
                name_.c_str(), current_->name, initial.target->name);
            return;
        }
        if (Traverse(initial) != Outcome::Entered) {
            return;
        }
    }
}

template <typename Owner, typename Event>
bool StateMachine<Owner, Event>::FindRoute(const StateType* from, const StateType* to,
                                           Route& route) {
    int fromDepth = 0;
    const StateType* fromRoot = from;
    for (; fromRoot->parent != nullptr; fromRoot = fromRoot->parent) {
        ++fromDepth;
    }
    int toDepth = 0;
    const StateType* toRoot = to;
    for (; toRoot->parent != nullptr; toRoot = toRoot->parent) {
        ++toDepth;
    }
    if (fromRoot != toRoot) {
        return false;
    }

    int entryCount = 0;
    for (; fromDepth > toDepth; --fromDepth) {
        from = from->parent;
    }
    for (; toDepth > fromDepth; --toDepth) {
        to = to->parent;
        ++entryCount;
    }
    while (from != to) {
        from = from->parent;
        to = to->parent;
        ++entryCount;
    }
    route = Route{from, entryCount};
    return true;
}

template <typename Owner, typename Event>
const typename StateMachine<Owner, Event>::StateType* StateMachine<Owner, Event>::AncestorOf(
    const StateType* state, int levels) {
    for (; levels > 0; --levels) {
        state = state->parent;
    }
    return state;
}

template <typename Owner, typename Event>
bool StateMachine<Owner, Event>::IsProperDescendant(const StateType* state,
                                                    const StateType* ancestor) {
    for (const StateType* above = state->parent; above != nullptr; above = above->parent) {
        if (above == ancestor) {
            return true;
        }
    }
    return false;
}

}  // namespace Tavix::Hsm
