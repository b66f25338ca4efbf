// arx-host: loads the plug-in library, attaches it, runs the host's turns on the real clock, and
// shuts it down at the end of the time given or on SIGINT/SIGTERM. With --describe it prints the
// plug-in's REST functions instead, and with --openapi the plug-in's OpenAPI document, and shuts
// it down without attaching it.

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "core/host.h"
#include "core/module.h"
#include "core/self_description.h"

namespace {

using Tavix::TestHost::ClockMode;
using Tavix::TestHost::CoreVersion;
using Tavix::TestHost::Host;

volatile std::sig_atomic_t stopRequested = 0;

void OnStopSignal(int) {
    stopRequested = 1;
}

constexpr const char* kUsage =
    "usage: arx-host [--library PATH] [--core-version X.Y.Z] [--seconds N] [--describe]\n"
    "                [--openapi]\n"
    "  --library PATH        the plug-in library to load"
#ifdef ARX_DEFAULT_PLUGIN_PATH
    " (default: " ARX_DEFAULT_PLUGIN_PATH
    ")"
#endif
    "\n"
    "  --core-version X.Y.Z  the core's plug-in API version given to the plug-in (default "
    "18.0.0)\n"
    "  --seconds N           run for N seconds (default: until SIGINT or SIGTERM)\n"
    "  --describe            print the plug-in's REST functions, one a line (method, URL,\n"
    "                        name, arguments with where each comes from), and stop\n"
    "  --openapi             print the plug-in's OpenAPI document as JSON, as its function\n"
    "                        \"OpenApi\" answers it, and stop\n";

struct Options {
    std::string library;
    CoreVersion core;
    double seconds = -1.0;
    bool describe = false;
    bool openApi = false;
};

// Returns false after printing what is wrong.
bool ParseOptions(int argc, char** argv, Options& options) {
#ifdef ARX_DEFAULT_PLUGIN_PATH
    options.library = ARX_DEFAULT_PLUGIN_PATH;
#endif
    for (int i = 1; i < argc; ++i) {
        const std::string option = argv[i];
        if (option == "--help" || option == "-h") {
            std::fputs(kUsage, stdout);
            std::exit(0);
        }
        if (option == "--describe") {
            options.describe = true;
            continue;
        }
        if (option == "--openapi") {
            options.openApi = true;
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
        } else if (option == "--seconds") {
            char* end = nullptr;
            const double seconds = std::strtod(value.c_str(), &end);
            if (value.empty() || *end != '\0' || !(seconds >= 0.0) || seconds > 1e9) {
                std::fprintf(stderr, "arx-host: \"%s\" is not a number of seconds\n",
                             value.c_str());
                return false;
            }
            options.seconds = seconds;
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

void PrintCounters(const Tavix::Client::MemoryCounters& counters) {
    std::printf("arx-host: memory counters at shutdown\n");
    std::printf("  peak live bytes        %llu\n",
                static_cast<unsigned long long>(counters.peakLiveBytes));
    std::printf("  allocations at peak    %llu\n",
                static_cast<unsigned long long>(counters.peakLiveAllocations));
    std::printf("  bytes allocated        %llu\n",
                static_cast<unsigned long long>(counters.allocatedBytes));
    std::printf("  allocations            %llu\n",
                static_cast<unsigned long long>(counters.allocations));
    std::printf("  bytes freed            %llu\n",
                static_cast<unsigned long long>(counters.freedBytes));
    std::printf("  frees                  %llu\n", static_cast<unsigned long long>(counters.frees));
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

    Host host(ClockMode::Real);
    host.EchoLogTo(stdout);
    auto loaded = Tavix::TestHost::OpenModule(host, options.library, options.core);
    if (!loaded.module) {
        std::fprintf(stderr, "arx-host: %s\n", loaded.error.c_str());
        return 1;
    }
    Tavix::TestHost::Module& module = *loaded.module;
    if (options.openApi) {
        const int status = PrintOpenApi(module);
        std::fflush(stdout);
        module.Shutdown();
        return status;
    }
    if (options.describe) {
        for (const Tavix::TestHost::FunctionInfo& function : module.Functions()) {
            std::printf("%s\n", Tavix::TestHost::DescribeLine(function).c_str());
        }
        std::fflush(stdout);
        module.Shutdown();
        return 0;
    }
    std::printf("arx-host: loaded %s from %s as client %u\n", module.ShortName().c_str(),
                options.library.c_str(), module.ClientId());
    std::fflush(stdout);

    const bool attached = module.Attach();
    if (attached) {
        std::printf("arx-host: attached\n");
        std::fflush(stdout);
        host.RunRealTime(options.seconds, &stopRequested);
    } else {
        std::printf("arx-host: the plug-in refused to attach\n");
    }
    std::printf("arx-host: shutting down\n");
    std::fflush(stdout);

    // The handle is dead once Shutdown returns, so the counters are read just before it.
    const Tavix::Client::MemoryCounters counters = module.ReadMemoryCounters();
    const auto leftovers = module.Shutdown();
    for (const std::string& name : leftovers) {
        std::printf("arx-host: still subscribed at shutdown: %s\n", name.c_str());
    }
    PrintCounters(counters);
    std::fflush(stdout);
    return attached ? 0 : 1;
}
