#include "core/module.h"

#include <dlfcn.h>

#include <charconv>
#include <cstring>

namespace Tavix::TestHost {

std::optional<CoreVersion> ParseCoreVersion(const std::string& text) {
    std::uint32_t numbers[3] = {};
    const char* cursor = text.data();
    const char* const end = text.data() + text.size();
    for (int i = 0; i < 3; ++i) {
        if (i > 0) {
            if (cursor == end || *cursor != '.') {
                return std::nullopt;
            }
            ++cursor;
        }
        // from_chars takes no sign, so "-1" and "+1" fail here as they should.
        const auto [next, error] = std::from_chars(cursor, end, numbers[i]);
        if (error != std::errc() || next == cursor) {
            return std::nullopt;
        }
        cursor = next;
    }
    if (cursor != end) {
        return std::nullopt;
    }
    return CoreVersion{numbers[0], numbers[1], numbers[2]};
}

struct ModuleLoader {
    static LoadResult Load(Host& host, Client::PluginExportFunction exportFunction,
                           CoreVersion core, void* library) {
        LoadResult result;
        std::unique_ptr<Module> module(new Module(host));
        module->interface_.operations = host.Operations();
        module->interface_.clientId = host.NextClientId();
        module->block_.major = core.major;
        module->block_.minor = core.minor;
        module->block_.patch = core.patch;
        if (exportFunction == nullptr) {
            module->shutDown_ = true;
            result.error = "no export function";
            return result;
        }
        {
            Host::ModuleCall call(host, module->interface_.clientId);
            exportFunction(&module->block_);
        }
        const Client::PluginOperations* operations = module->block_.operations;
        if (operations == nullptr || operations->Attach == nullptr ||
            operations->Shutdown == nullptr || operations->GetMemoryCounters == nullptr) {
            // Nothing to shut down through: the module never said how.
            module->shutDown_ = true;
            result.error = "the export left no complete table of plug-in operations";
            return result;
        }
        // Only a module that loaded owns its library; on failure the caller closes it.
        module->library_ = library;
        result.module = std::move(module);
        return result;
    }
};

Module::Module(Host& host) : host_(host) {}

Module::~Module() {
    if (!shutDown_) {
        Shutdown();
    }
    if (library_ != nullptr) {
        dlclose(library_);
    }
}

std::string Module::ShortName() const {
    return block_.shortName == nullptr ? std::string() : std::string(block_.shortName);
}

bool Module::Attach() {
    if (shutDown_) {
        Host::Fail("Attach after Shutdown");
    }
    Host::ModuleCall call(host_, interface_.clientId);
    return block_.operations->Attach(block_.module, &interface_);
}

std::vector<std::string> Module::Shutdown() {
    if (shutDown_) {
        Host::Fail("Shutdown called twice");
    }
    shutDown_ = true;
    {
        Host::ModuleCall call(host_, interface_.clientId);
        block_.operations->Shutdown(block_.module);
    }
    return host_.ForgetClient(interface_.clientId);
}

Client::MemoryCounters Module::ReadMemoryCounters() {
    Client::MemoryCounters counters{};
    if (shutDown_) {
        Host::Fail("GetMemoryCounters after Shutdown");
    }
    block_.operations->GetMemoryCounters(block_.module, &counters);
    return counters;
}

std::vector<FunctionInfo> Module::Functions() const {
    if (block_.apiDescription == nullptr) {
        return {};
    }
    return DescribeFunctions(*block_.apiDescription);
}

ApiAnswer Module::CallApi(const ApiCall& call) {
    if (block_.apiDescription == nullptr) {
        return {};
    }
    const Client::HostFunctionRecord* record =
        FindFunctionRecord(*block_.apiDescription, call.method, call.methodName, call.url);
    return record != nullptr ? CallRecord(*record, call) : ApiAnswer{};
}

ApiAnswer Module::CallRecord(const Client::HostFunctionRecord& record, const ApiCall& call) {
    if (shutDown_) {
        Host::Fail("a function record called after Shutdown");
    }
    Host::ModuleCall moduleCall(host_, interface_.clientId);
    return CallFunctionRecord(record, call);
}

LoadResult LoadModule(Host& host, Client::PluginExportFunction exportFunction, CoreVersion core) {
    return ModuleLoader::Load(host, exportFunction, core, nullptr);
}

LoadResult OpenModule(Host& host, const std::string& path, CoreVersion core) {
    void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        const char* reason = dlerror();
        return {nullptr, "cannot load " + path + ": " + (reason ? reason : "unknown reason")};
    }
    void* symbol = dlsym(library, Client::kPluginExportName);
    if (symbol == nullptr) {
        dlclose(library);
        return {nullptr, path + " has no export " + Client::kPluginExportName};
    }
    Client::PluginExportFunction exportFunction = nullptr;
    // dlsym hands back an object pointer; the export is a function.
    std::memcpy(&exportFunction, &symbol, sizeof exportFunction);
    LoadResult result = ModuleLoader::Load(host, exportFunction, core, library);
    if (result.module == nullptr) {
        dlclose(library);
    }
    return result;
}

}  // namespace Tavix::TestHost
