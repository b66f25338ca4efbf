// arx-host: loads the plug-in library into a host that plays the platform, and by default walks
// one whole search on the real clock, printing its timeline. --scenario plays a scenario file on
// the virtual clock instead; --idle only attaches the plug-in and runs the host's turns until the
// time given or SIGINT/SIGTERM; --http serves the plug-in and the platform over HTTP with a live
// page; --describe prints the plug-in's REST functions and --openapi its
// OpenAPI document, and stop without attaching it.

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include "core/host.h"
#include "core/module.h"
#include "core/self_description.h"
#include "http/http_job.h"
#include "scenario/scenario_job.h"
#include "sim/main_job.h"
#include "sim/plugin_session.h"

namespace {

using Tavix::TestHost::ClockMode;
using Tavix::TestHost::CoreVersion;
using Tavix::TestHost::Host;

volatile std::sig_atomic_t stopRequested = 0;

void OnStopSignal(int) {
    stopRequested = 1;
}

constexpr const char* kUsage =
    "usage: arx-host [--library PATH] [--core-version X.Y.Z] [--seconds N]\n"
    "                [--queue ID] [--queue-time S] [--accept-rate R] [--seed N]\n"
    "                [--virtual-clock] [--show-log]\n"
    "       arx-host [--library PATH] --scenario FILE [--timeline]\n"
    "       arx-host [--library PATH] --http ADDR:PORT [--allow-remote] [--seconds N]\n"
    "                [--queue ID] [--queue-time S] [--accept-rate R] [--seed N]\n"
    "                [--virtual-clock] [--show-log]\n"
    "       arx-host [--library PATH] --idle [--seconds N]\n"
    "       arx-host [--library PATH] --describe | --openapi\n"
    "  With no mode, one whole search on the simulated platform, told as a timeline: log in,\n"
    "  join a lobby, search, wait in the queue, accept the ready check, reach the game.\n"
    "  --library PATH        the plug-in library to load (default: the one installed beside\n"
    "                        arx-host"
#ifdef ARX_DEFAULT_PLUGIN_PATH
    ", else " ARX_DEFAULT_PLUGIN_PATH
#endif
    ")\n"
    "  --core-version X.Y.Z  the core's plug-in API version given to the plug-in (default "
    "18.0.0)\n"
    "  --seconds N           run for N seconds in all (default: until the game starts; with\n"
    "                        --idle, until SIGINT or SIGTERM)\n"
    "  --queue ID            the lobby's queue: 420 and 33 (bot) legacy, 440 squad-forge,\n"
    "                        700 and 701 (default 420)\n"
    "  --queue-time S        seconds in the queue before the match pops (default 5)\n"
    "  --accept-rate R       the chance, 0 to 1, that a stranger accepts a ready check\n"
    "                        (default 0.9)\n"
    "  --seed N              seeds the strangers: one seed, one timeline (default 1)\n"
    "  --virtual-clock       play the walk on the virtual clock, at once\n"
    "  --show-log            every log line of the plug-in on the timeline\n"
    "  --scenario FILE       play a scenario (.yaml, .yml or .json) on the virtual clock; exits 1\n"
    "                        at the first step that does not hold, naming it\n"
    "  --timeline            with --scenario, print the whole timeline\n"
    "  --http ADDR:PORT      serve the plug-in's routes, its events (GET /events), the\n"
    "                        platform's actions (/sim), the API document (/openapi.json) and a\n"
    "                        live page (/) on ADDR:PORT until the time given or SIGINT or\n"
    "                        SIGTERM, the player in a lobby of the queue; ADDR must be a\n"
    "                        loopback address (default 127.0.0.1); port 0 takes a free one\n"
    "  --allow-remote        with --http, also listen on an address other machines reach\n"
    "  --idle                only attach the plug-in and run the host's turns\n"
    "  --describe            print the plug-in's REST functions, one a line (method, URL,\n"
    "                        name, arguments with where each comes from), and stop\n"
    "  --openapi             print the plug-in's OpenAPI document as JSON, as its function\n"
    "                        \"OpenApi\" answers it, and stop\n";

enum class Mode { Walk, Scenario, Idle, Describe, OpenApi, Http };

struct Options {
    Mode mode = Mode::Walk;
    std::string library;
    CoreVersion core;
    double seconds = -1.0;
    std::string scenario;
    std::string httpAddress;
    bool allowRemote = false;
    bool timeline = false;
    bool showLog = false;
    bool virtualClock = false;
    std::int32_t queueId = 420;
    Tavix::TestHost::PlatformSettings settings;
};

// A number of `value` within [low, high]; false when it is not one.
bool ReadNumber(const std::string& value, double low, double high, double& number) {
    char* end = nullptr;
    const double read = std::strtod(value.c_str(), &end);
    if (value.empty() || *end != '\0' || !(read >= low) || !(read <= high)) {
        return false;
    }
    number = read;
    return true;
}

// An installed arx-host loads the plug-in installed beside it; one in the build tree loads the
// one built with it.
std::string DefaultLibrary() {
#ifdef ARX_INSTALLED_PLUGIN_PATH
    std::error_code error;
    const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", error);
    if (!error) {
        const std::filesystem::path installed = self.parent_path() / ARX_INSTALLED_PLUGIN_PATH;
        if (std::filesystem::exists(installed, error)) {
            return installed.lexically_normal().string();
        }
    }
#endif
#ifdef ARX_DEFAULT_PLUGIN_PATH
    return ARX_DEFAULT_PLUGIN_PATH;
#else
    return "";
#endif
}

// Returns false after printing what is wrong.
bool ParseOptions(int argc, char** argv, Options& options) {
    options.library = DefaultLibrary();
    for (int i = 1; i < argc; ++i) {
        const std::string option = argv[i];
        if (option == "--help" || option == "-h") {
            std::fputs(kUsage, stdout);
            std::exit(0);
        }
        if (option == "--describe" || option == "--idle") {
            options.mode = option == "--describe" ? Mode::Describe : Mode::Idle;
            continue;
        }
        if (option == "--timeline") {
            options.timeline = true;
            continue;
        }
        if (option == "--show-log") {
            options.showLog = true;
            continue;
        }
        if (option == "--virtual-clock") {
            options.virtualClock = true;
            continue;
        }
        if (option == "--allow-remote") {
            options.allowRemote = true;
            continue;
        }
        if (option == "--openapi") {
            options.mode = Mode::OpenApi;
            continue;
        }
        if (i + 1 >= argc) {
            std::fprintf(stderr, "arx-host: %s needs a value\n", option.c_str());
            return false;
        }
        const std::string value = argv[++i];
        if (option == "--library") {
            options.library = value;
        } else if (option == "--core-version") {
            auto version = Tavix::TestHost::ParseCoreVersion(value);
            if (!version) {
                std::fprintf(stderr, "arx-host: \"%s\" is not a version X.Y.Z\n", value.c_str());
                return false;
            }
            options.core = *version;
        } else if (option == "--seconds" || option == "--queue-time") {
            double seconds = 0.0;
            if (!ReadNumber(value, 0.0, 1e9, seconds)) {
                std::fprintf(stderr, "arx-host: \"%s\" is not a number of seconds\n",
                             value.c_str());
                return false;
            }
            (option == "--seconds" ? options.seconds : options.settings.queueSeconds) = seconds;
        } else if (option == "--accept-rate") {
            if (!ReadNumber(value, 0.0, 1.0, options.settings.acceptRate)) {
                std::fprintf(stderr, "arx-host: \"%s\" is not a rate from 0 to 1\n", value.c_str());
                return false;
            }
        } else if (option == "--queue" || option == "--seed") {
            double number = 0.0;
            const double high = option == "--queue" ? 2147483647.0 : 9007199254740992.0;
            if (!ReadNumber(value, 0.0, high, number) ||
                number != static_cast<double>(static_cast<std::int64_t>(number))) {
                std::fprintf(stderr, "arx-host: \"%s\" is not a whole number for %s\n",
                             value.c_str(), option.c_str());
                return false;
            }
            if (option == "--queue") {
                options.queueId = static_cast<std::int32_t>(number);
            } else {
                options.settings.seed = static_cast<std::uint64_t>(number);
            }
        } else if (option == "--http") {
            options.mode = Mode::Http;
            options.httpAddress = value;
        } else if (option == "--scenario") {
            options.mode = Mode::Scenario;
            options.scenario = value;
        } else {
            std::fprintf(stderr, "arx-host: unknown option %s\n", option.c_str());
            return false;
        }
    }
    if (options.library.empty()) {
        std::fputs("arx-host: no plug-in library was built here; give one with --library\n",
                   stderr);
        return false;
    }
    return true;
}

int RunIdle(const Options& options) {
    Host host(ClockMode::Real);
    host.EchoLogTo(stdout);
    std::unique_ptr<Tavix::TestHost::Module> module =
        Tavix::TestHost::StartPlugin(host, options.library, options.core, stdout, stderr);
    if (!module) {
        return 1;
    }
    host.RunRealTime(options.seconds, &stopRequested);
    Tavix::TestHost::StopPlugin(*module, stdout);
    return 0;
}

// The host only relays: the plug-in builds the document from its own registry and routes.
int PrintOpenApi(Tavix::TestHost::Module& module) {
    const Tavix::TestHost::OpenApiFetch fetch = Tavix::TestHost::FetchOpenApiDocument(module);
    if (!fetch.Ok()) {
        std::fprintf(stderr, "arx-host: the plug-in did not give its OpenAPI document: %s (%u)\n",
                     fetch.error.c_str(), fetch.status);
        return 1;
    }
    std::printf("%s\n", fetch.json.c_str());
    return 0;
}

// --describe and --openapi: what the plug-in says of itself, without attaching it.
int Describe(const Options& options) {
    Host host(ClockMode::Real);
    auto loaded = Tavix::TestHost::OpenModule(host, options.library, options.core);
    if (!loaded.module) {
        std::fprintf(stderr, "arx-host: %s\n", loaded.error.c_str());
        return 1;
    }
    int status = 0;
    if (options.mode == Mode::OpenApi) {
        status = PrintOpenApi(*loaded.module);
    } else {
        for (const Tavix::TestHost::FunctionInfo& function : loaded.module->Functions()) {
            std::printf("%s\n", Tavix::TestHost::DescribeLine(function).c_str());
        }
    }
    std::fflush(stdout);
    loaded.module->Shutdown();
    return status;
}

// What the walk and the HTTP front take alike.
Tavix::TestHost::MainJobOptions RunOptions(const Options& options) {
    Tavix::TestHost::MainJobOptions run;
    run.library = options.library;
    run.core = options.core;
    run.settings = options.settings;
    run.queueId = options.queueId;
    run.seconds = options.seconds;
    run.clock = options.virtualClock ? ClockMode::Virtual : ClockMode::Real;
    run.showLog = options.showLog;
    return run;
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    if (!ParseOptions(argc, argv, options)) {
        std::fputs(kUsage, stderr);
        return 2;
    }

    struct sigaction action {};
    action.sa_handler = &OnStopSignal;
    sigemptyset(&action.sa_mask);
    // No SA_RESTART: a signal must cut the host's nap short.
    action.sa_flags = 0;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);

    switch (options.mode) {
        case Mode::Describe:
        case Mode::OpenApi:
            return Describe(options);
        case Mode::Idle:
            return RunIdle(options);
        case Mode::Scenario:
            return Tavix::TestHost::RunScenarioJob(
                {options.scenario, options.library, options.core, options.timeline}, stdout,
                stderr);
        case Mode::Http:
            return Tavix::TestHost::RunHttpJob(
                {RunOptions(options), options.httpAddress, options.allowRemote}, &stopRequested,
                stdout, stderr);
        case Mode::Walk:
            break;
    }
    return Tavix::TestHost::RunMainJob(RunOptions(options), &stopRequested, stdout, stderr);
}
