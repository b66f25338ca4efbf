#pragma once
// Loading a plug-in module into a Host: through the address of its export, or from a shared
// library by path. The Module then drives the three PluginOperations entries.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "arx/host_boundary.h"
#include "core/function_records.h"
#include "core/host.h"

namespace Tavix::TestHost {

struct CoreVersion {
    std::uint32_t major = 18;
    std::uint32_t minor = 0;
    std::uint32_t patch = 0;
};

// "X.Y.Z", three decimal numbers that fit 32 bits; nothing else is accepted.
std::optional<CoreVersion> ParseCoreVersion(const std::string& text);

// A module holds on to its Host, which must outlive it.
class Module {
public:
    // Shuts the module down if it is still running, then closes its library.
    ~Module();
    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;

    // The block as the export left it.
    const Client::PluginLoadBlock& Block() const { return block_; }
    std::string ShortName() const;
    std::uint32_t ClientId() const { return interface_.clientId; }
    const Client::HostInterface& Interface() const { return interface_; }

    // Attach as one call into the module; the result is the module's.
    bool Attach();
    // Shutdown as one call into the module; afterwards the host drops the module's pending
    // callbacks and subscriptions. Returns the names it was still subscribed to. Once only.
    std::vector<std::string> Shutdown();
    bool IsShutDown() const { return shutDown_; }
    Client::MemoryCounters ReadMemoryCounters();

    // The function records of the module's ApiDescription, read out.
    std::vector<FunctionInfo> Functions() const;
    // Picks the function record for the call's method and URL and calls it, as one call into the
    // module; `called` is false in the answer when no record fits.
    ApiAnswer CallApi(const ApiCall& call);
    // Calls this record, whatever the call's method and URL, as one call into the module.
    ApiAnswer CallRecord(const Client::HostFunctionRecord& record, const ApiCall& call);

private:
    friend struct ModuleLoader;
    explicit Module(Host& host);

    Host& host_;
    Client::PluginLoadBlock block_{};
    Client::HostInterface interface_{};
    void* library_ = nullptr;
    bool shutDown_ = false;
};

struct LoadResult {
    std::unique_ptr<Module> module;  // null on failure
    std::string error;
};

// Calls the export with a block carrying `core`, as one call into the module.
LoadResult LoadModule(Host& host, Client::PluginExportFunction exportFunction,
                      CoreVersion core = {});
// dlopen()s `path` and looks up the export by its name first.
LoadResult OpenModule(Host& host, const std::string& path, CoreVersion core = {});

}  // namespace Tavix::TestHost
