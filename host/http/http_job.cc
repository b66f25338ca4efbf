#include "http/http_job.h"

#include "core/self_description.h"
#include "http/http_front.h"
#include "http/listen_address.h"
#include "http/simulation_actions.h"
#include "http/turn_loop.h"
#include "sim/plugin_session.h"
#include "sim/simulation.h"

namespace Tavix::TestHost {

int RunHttpJob(const HttpJobOptions& options, const volatile std::sig_atomic_t* stop,
               std::FILE* out, std::FILE* err) {
    const ListenAddress address = ParseListenAddress(options.address);
    if (!address.error.empty()) {
        std::fprintf(err, "arx-host: %s\n", address.error.c_str());
        return 2;
    }
    Simulation simulation(options.run.clock, options.run.settings);
    SimulatedPlatform& platform = simulation.Platform();
    if (!platform.KnowsQueue(options.run.queueId)) {
        std::fprintf(err, "arx-host: queue %d is not in the simulated queue list (%s)\n",
                     options.run.queueId, platform.QueueList().c_str());
        return 2;
    }
    Host& host = simulation.GetHost();
    LoadResult loaded = OpenModule(host, options.run.library, options.run.core);
    if (!loaded.module) {
        std::fprintf(err, "arx-host: %s\n", loaded.error.c_str());
        return 1;
    }
    Module& module = *loaded.module;

    HttpFrontOptions frontOptions;
    frontOptions.address = address.host;
    frontOptions.port = address.port;
    frontOptions.allowRemote = options.allowRemote;
    // The page shows the API document; a plug-in without one is still served.
    const OpenApiFetch document = FetchOpenApiDocument(module);
    if (document.Ok()) {
        frontOptions.apiDocument = document.json;
    } else {
        std::fprintf(err, "arx-host: the plug-in gave no OpenAPI document: %s\n",
                     document.error.c_str());
    }
    Timeline& timeline = simulation.GetTimeline();
    // What the page and other clients asked goes on the timeline after what it made the plug-in
    // do, with the answer.
    frontOptions.answered = [&timeline](const HttpRequestText& request,
                                        const HttpReplyText& reply) {
        std::string line = request.method + " " + request.target;
        if (!request.body.empty()) {
            line += " " + request.body;
        }
        line += " -> " + std::to_string(reply.status);
        if (reply.status >= 400) {
            line += " " + reply.body;
        }
        timeline.Note("http", line);
    };
    TurnLoop loop(host);
    // Made before the plug-in attaches, so that the event stream has the machine from its start.
    HttpFront front(loop, module, frontOptions);
    for (HostAction& action : SimulationActions(simulation)) {
        front.AddAction(std::move(action));
    }
    // The timeline keeps what it needs; the host's own record would only grow.
    loop.AfterTurns([&] {
        timeline.Flush();
        host.Calls().Clear();
    });

    // Listening before the plug-in attaches: a request that comes early waits for the first turn.
    if (const std::optional<std::string> error = front.Start()) {
        std::fprintf(err, "arx-host: %s\n", error->c_str());
        loaded.module->Shutdown();
        return 1;
    }
    const bool ipv6 = address.host.find(':') != std::string::npos;
    std::fprintf(out, "arx-host: serving the plug-in on http://%s%s%s:%d/ (%s clock)\n",
                 ipv6 ? "[" : "", address.host.c_str(), ipv6 ? "]" : "", front.Port(),
                 options.run.clock == ClockMode::Virtual ? "virtual" : "real");
    std::fflush(out);
    if (!module.Attach()) {
        std::fprintf(err, "arx-host: the plug-in refused to attach\n");
        front.Stop();
        StopPlugin(module, out);
        return 1;
    }
    timeline.ShowLogLines(options.run.showLog);
    timeline.PrintTo(out);
    timeline.PrintHeader();
    simulation.Drive(module);
    // The player is in a lobby when the page opens, so that a search can start at once.
    if (const auto refused = platform.JoinLobby(options.run.queueId, SimulatedPlatform::kFriends,
                                                SimulatedPlatform::kPlayer)) {
        timeline.Note("arx-host", "the platform refused the lobby: " + *refused);
    }
    host.RunUntilIdle();
    loop.RunTurns(options.run.seconds, stop);
    front.Stop();
    timeline.Flush();
    StopPlugin(module, out);
    return 0;
}

}  // namespace Tavix::TestHost
