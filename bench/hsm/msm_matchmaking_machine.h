#pragma once
// The matchmaking table on Boost.MSM: the reference our engine and the plug-in's tick are
// measured against. The same tree as nested machines. `Available` rests in a state of its own
// when it is not `Penalized`; a row that leaves `Matched` from one of its children goes through an
// exit point, so the child's row keeps its own action.
//
// Boost 1.74's back-end does not compile as C++20: a file that includes this is built as C++17.

// The top level has 21 rows, past the default limit of the library's type lists.
#define BOOST_MPL_CFG_NO_PREPROCESSED_HEADERS
#define BOOST_MPL_LIMIT_VECTOR_SIZE 30
#define BOOST_MPL_LIMIT_MAP_SIZE 30

#include <boost/msm/back/state_machine.hpp>
#include <boost/msm/front/functor_row.hpp>
#include <boost/msm/front/state_machine_def.hpp>

#include "action_counter.h"

namespace msm {

namespace mpl = boost::mpl;
namespace front = boost::msm::front;
namespace back = boost::msm::back;
using front::none;
using front::Row;

struct TimerTick {};
struct LeaverPenaltyBegin {};
struct LeaverPenaltyExpired {};
struct AttachedToQueue {};
struct JoinQueueFailed {};
struct CancelQueue {};
struct CancelPartiesQueue {};
struct ReadyCheckEvent {};
struct WaitingForGameEvent {};
struct PartyDodge {};
struct TournamentDodge {};
struct StrangerDodge {};
struct TerminatedInError {};
struct GameStarted {};

struct Counted {
    template <class Event, class Fsm, class Source, class Target>
    void operator()(const Event&, Fsm&, Source&, Target&) const {
        Count();
    }
};
using NotifyEnteredQueue = Counted;
using NotifyExitedQueue = Counted;
using TickAvailable = Counted;
using TickSearching = Counted;
using TickReadyCheck = Counted;
using OnEveryoneReady = Counted;
using OnReadyCheckDodged = Counted;
using OnGameDodged = Counted;
using OnTerminatedInError = Counted;
using OnPenaltyExpired = Counted;
using AbandonSearch = Counted;

// Like ours, these machines let what an action throws pass through, and ignore an event that no
// row takes. They keep the library's event queue: the exit points forward their event through it,
// and without it the forwarded event would come straight back into the exited machine.
struct Settings {
    using no_exception_thrown = int;
    template <class Fsm, class Event>
    void no_transition(const Event&, Fsm&, int) {}
};

struct LoggedState : front::state<> {
    template <class Event, class Fsm>
    void on_entry(const Event&, Fsm&) {
        Count();
    }
    template <class Event, class Fsm>
    void on_exit(const Event&, Fsm&) {
        Count();
    }
};

struct Penalized : LoggedState {};
struct Searching : LoggedState {};
struct AvailableRest : front::state<> {};

struct ReadyCheck : front::state<> {
    template <class Event, class Fsm>
    void on_entry(const Event&, Fsm&) {
        Count();
        Count();
    }
    template <class Event, class Fsm>
    void on_exit(const Event&, Fsm&) {
        Count();
    }
};

struct WaitingForGame : front::state<> {
    template <class Event, class Fsm>
    void on_entry(const Event&, Fsm&) {
        Count();
    }
    template <class Event, class Fsm>
    void on_exit(const Event&, Fsm&) {
        Count();
        Count();
    }
};

struct PartyDodgeExit : front::exit_pseudo_state<PartyDodge> {};
struct StrangerDodgeExit : front::exit_pseudo_state<StrangerDodge> {};
struct TournamentDodgeExit : front::exit_pseudo_state<TournamentDodge> {};
struct GameStartedExit : front::exit_pseudo_state<GameStarted> {};

struct AvailableDef : front::state_machine_def<AvailableDef>, Settings {
    template <class Event, class Fsm>
    void on_entry(const Event&, Fsm&) {
        Count();
        Count();
    }
    template <class Event, class Fsm>
    void on_exit(const Event&, Fsm&) {
        Count();
    }
    using initial_state = AvailableRest;
    // clang-format off
    struct transition_table : mpl::vector<
        Row<AvailableRest, LeaverPenaltyBegin,   Penalized,     NotifyEnteredQueue>,
        Row<Penalized,     LeaverPenaltyBegin,   none,          NotifyEnteredQueue>,
        Row<Penalized,     LeaverPenaltyExpired, AvailableRest, OnPenaltyExpired>,
        Row<Penalized,     CancelQueue,          AvailableRest, AbandonSearch>,
        Row<Penalized,     CancelPartiesQueue,   AvailableRest, none>,
        Row<Penalized,     TerminatedInError,    AvailableRest, OnTerminatedInError>> {};
    // clang-format on
    using Settings::no_transition;
};
using Available = back::state_machine<AvailableDef>;

struct MatchedDef : front::state_machine_def<MatchedDef>, Settings {
    template <class Event, class Fsm>
    void on_entry(const Event&, Fsm&) {
        Count();
    }
    template <class Event, class Fsm>
    void on_exit(const Event&, Fsm&) {
        Count();
    }
    using initial_state = ReadyCheck;
    // clang-format off
    struct transition_table : mpl::vector<
        Row<ReadyCheck,     TimerTick,           none,                TickReadyCheck>,
        Row<ReadyCheck,     WaitingForGameEvent, WaitingForGame,      OnEveryoneReady>,
        Row<ReadyCheck,     PartyDodge,          PartyDodgeExit,      OnReadyCheckDodged>,
        Row<ReadyCheck,     StrangerDodge,       StrangerDodgeExit,   OnReadyCheckDodged>,
        Row<ReadyCheck,     TournamentDodge,     TournamentDodgeExit, OnGameDodged>,
        Row<WaitingForGame, TimerTick,           none,                none>,
        Row<WaitingForGame, GameStarted,         GameStartedExit,     none>,
        Row<WaitingForGame, PartyDodge,          PartyDodgeExit,      OnGameDodged>,
        Row<WaitingForGame, StrangerDodge,       StrangerDodgeExit,   OnGameDodged>,
        Row<WaitingForGame, TournamentDodge,     TournamentDodgeExit, OnGameDodged>> {};
    // clang-format on
    using Settings::no_transition;
};
using Matched = back::state_machine<MatchedDef>;

struct MatchmakingDef : front::state_machine_def<MatchmakingDef>, Settings {
    template <class Event, class Fsm>
    void on_entry(const Event&, Fsm&) {
        Count();
    }
    template <class Event, class Fsm>
    void on_exit(const Event&, Fsm&) {
        Count();
    }
    using initial_state = Available;
    // clang-format off
    struct transition_table : mpl::vector<
        Row<Available, AttachedToQueue,     Searching, NotifyEnteredQueue>,
        Row<Available, TimerTick,           none,      TickAvailable>,
        Row<Available, JoinQueueFailed,     none,      none>,
        Row<Available, CancelQueue,         none,      none>,
        Row<Available, CancelPartiesQueue,  none,      none>,
        Row<Available, WaitingForGameEvent, none,      none>,
        Row<Available, GameStarted,         none,      none>,
        Row<Available, TerminatedInError,   none,      OnTerminatedInError>,
        Row<Searching, TimerTick,           none,      TickSearching>,
        Row<Searching, AttachedToQueue,     none,      NotifyEnteredQueue>,
        Row<Searching, CancelQueue,         Available, NotifyExitedQueue>,
        Row<Searching, CancelPartiesQueue,  Available, none>,
        Row<Searching, ReadyCheckEvent,     Matched,   none>,
        Row<Searching, TerminatedInError,   Available, OnTerminatedInError>,
        Row<Matched,   CancelQueue,         Available, NotifyExitedQueue>,
        Row<Matched,   CancelPartiesQueue,  Available, none>,
        Row<Matched,   TerminatedInError,   Available, OnTerminatedInError>,
        Row<Matched::exit_pt<PartyDodgeExit>,      PartyDodge,      Available, none>,
        Row<Matched::exit_pt<StrangerDodgeExit>,   StrangerDodge,   Searching, none>,
        Row<Matched::exit_pt<TournamentDodgeExit>, TournamentDodge, Available, none>,
        Row<Matched::exit_pt<GameStartedExit>,     GameStarted,     Available, none>> {};
    // clang-format on
    using Settings::no_transition;
};
using Matchmaking = back::state_machine<MatchmakingDef>;

template <class State>
bool IsIn(const Matchmaking& machine) {
    return machine.current_state()[0] == back::get_state_id<Matchmaking::stt, State>::type::value;
}

}  // namespace msm
