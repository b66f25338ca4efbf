#include "sim/main_job.h"

#include "sim/plugin_session.h"
#include "sim/simulation.h"

namespace Tavix::TestHost {

namespace {

constexpr const char* kSearchUrl = "/arx-matchmaking/v1/search";
constexpr const char* kAcceptUrl = "/arx-matchmaking/v1/ready-check/accept";
// Time for the neighbours' news to reach the plug-in between two steps of the player.
constexpr double kBeat = 0.5;
// Strangers who nearly never accept would keep the walk going for ever.
constexpr int kMostReadyChecks = 5;

class Walk {
public:
    Walk(const MainJobOptions& options, Simulation& simulation, std::FILE* err)
        : options_(options), simulation_(simulation), err_(err) {}

    enum class End { Game, Ended, Stuck };

    End Run() {
        SimulatedPlatform& platform = simulation_.Platform();
        if (!simulation_.Run(kBeat)) {
            return End::Ended;
        }
        Check(platform.LogIn());
        if (!simulation_.Run(kBeat)) {
            return End::Ended;
        }
        if (auto refused = platform.JoinLobby(options_.queueId, SimulatedPlatform::kFriends,
                                              SimulatedPlatform::kPlayer)) {
            return Stuck("the lobby", *refused);
        }
        if (!simulation_.Run(kBeat)) {
            return End::Ended;
        }
        const RouteAnswer search = simulation_.Call("POST", kSearchUrl);
        if (!search.ok) {
            return Stuck("the search", search.error);
        }
        // A ready check that a stranger declines puts the party back in the queue: each new one
        // is accepted in turn until the game starts.
        const PlatformSettings& settings = platform.Settings();
        const double limit = settings.queueSeconds + settings.readyCheckSeconds +
                             settings.pickSeconds + settings.launchSeconds + 30.0;
        while (platform.Stage() != PartyStage::InGame) {
            const Simulation::Until until = simulation_.RunUntil(
                [&] {
                    return platform.Stage() == PartyStage::InGame ||
                           (platform.Stage() == PartyStage::ReadyCheck && !answered_);
                },
                limit);
            if (until == Simulation::Until::Stopped) {
                return End::Ended;
            }
            if (until == Simulation::Until::TimedOut) {
                return Stuck("the game",
                             "the party is " + std::string(PartyStageName(platform.Stage())) +
                                 " after " + std::to_string(static_cast<int>(limit)) + " s");
            }
            if (platform.Stage() == PartyStage::ReadyCheck) {
                if (++readyChecks_ > kMostReadyChecks) {
                    return Stuck("the game", std::to_string(kMostReadyChecks) +
                                                 " ready checks failed: the strangers decline");
                }
                // A player takes a moment to see the window and press the button.
                if (!simulation_.Run(1.0)) {
                    return End::Ended;
                }
                if (platform.Stage() != PartyStage::ReadyCheck) {
                    // A stranger declined before the player could answer.
                    continue;
                }
                answered_ = true;
                const RouteAnswer accept = simulation_.Call("POST", kAcceptUrl);
                if (!accept.ok) {
                    return Stuck("the ready check", accept.error);
                }
                const Simulation::Until left = simulation_.RunUntil(
                    [&] { return platform.Stage() != PartyStage::ReadyCheck; }, limit);
                if (left == Simulation::Until::Stopped) {
                    return End::Ended;
                }
                answered_ = false;
            }
        }
        return End::Game;
    }

private:
    void Check(const SimulatedPlatform::Refusal& refusal) {
        if (refusal) {
            simulation_.GetTimeline().Note("arx-host", "the platform refused: " + *refusal);
        }
    }

    End Stuck(const std::string& towards, const std::string& why) {
        std::fprintf(err_, "arx-host: the search did not reach %s: %s\n", towards.c_str(),
                     why.c_str());
        return End::Stuck;
    }

    const MainJobOptions& options_;
    Simulation& simulation_;
    std::FILE* err_;
    bool answered_ = false;
    int readyChecks_ = 0;
};

}  // namespace

int RunMainJob(const MainJobOptions& options, const volatile std::sig_atomic_t* stop,
               std::FILE* out, std::FILE* err) {
    Simulation simulation(options.clock, options.settings);
    SimulatedPlatform& platform = simulation.Platform();
    if (!platform.KnowsQueue(options.queueId)) {
        std::fprintf(err, "arx-host: queue %d is not in the simulated queue list (%s)\n",
                     options.queueId, platform.QueueList().c_str());
        return 2;
    }
    platform.StartLoggingIn();
    Timeline& timeline = simulation.GetTimeline();
    std::unique_ptr<Module> module =
        StartPlugin(simulation.GetHost(), options.library, options.core, out, err);
    if (!module) {
        return 1;
    }
    std::fprintf(out,
                 "arx-host: one whole search in queue %d on the simulated platform: queue time %g "
                 "s, strangers accept %g%%, seed %llu\n",
                 options.queueId, options.settings.queueSeconds,
                 options.settings.acceptRate * 100.0,
                 static_cast<unsigned long long>(options.settings.seed));
    timeline.ShowLogLines(options.showLog);
    timeline.PrintTo(out);
    timeline.PrintHeader();
    simulation.Drive(*module);
    simulation.StopOn(stop);
    if (options.seconds >= 0.0) {
        simulation.EndAfter(options.seconds);
    }

    const Walk::End end = Walk(options, simulation, err).Run();
    if (end == Walk::End::Game) {
        timeline.Note("arx-host", "the game has started: the search is done");
        if (options.seconds >= 0.0) {
            // The rest of the time given, the plug-in's life in the game included.
            simulation.RunUntil([] { return false; }, options.seconds);
        }
    } else if (end == Walk::End::Ended) {
        timeline.Note("arx-host", "stopped before the game started");
    }
    timeline.Flush();
    timeline.PrintTo(nullptr);
    StopPlugin(*module, out);
    return end == Walk::End::Stuck ? 1 : 0;
}

}  // namespace Tavix::TestHost
