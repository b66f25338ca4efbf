// A minimal module for exercising hosts: it logs on attach, ticks on a schedule, echoes one event,
// and asks one request of the host at every tick. Built both into a shared library and into the
// host tests themselves.

#include <cstdio>
#include <cstring>
#include <new>

#include "frame/host_boundary.h"

namespace {

using namespace Tavix::Client;

struct FakeModule {
    PluginOperations operations;
    ApiDescription api;
    HostInterface* host = nullptr;
    std::uint32_t ticks = 0;
};

void WriteLog(FakeModule& module, std::int32_t level, const char* text) {
    HostOperations* operations = module.host->operations;
    operations->WriteLog(operations, level, text);
}

void Tick(void* context) {
    auto& module = *static_cast<FakeModule*>(context);
    ++module.ticks;
    char line[64];
    std::snprintf(line, sizeof line, "fake-plugin: tick %u", module.ticks);
    WriteLog(module, 0, line);

    HostOperations* operations = module.host->operations;
    HostRequest request{};
    request.method = kMethodGet;
    request.url = "/fake/v1/ping";
    request.clientId = module.host->clientId;
    HostResponse response{};
    operations->SendRequest(operations, &response, &request);
    if (response.release != nullptr) {
        response.release(&response);
    }
    operations->ScheduleCallback(operations, "fake tick", &Tick, &module, 0.5, 0);
}

void OnEcho(const HostEvent* event) {
    auto& module = *static_cast<FakeModule*>(event->context);
    HostOperations* operations = module.host->operations;
    HostEvent echoed{};
    echoed.name = "fake.echoed";
    echoed.payload = event->payload;
    operations->SendEvent(operations, &echoed);
    WriteLog(module, 1, "fake-plugin: echoed");
}

bool Attach(void* handle, HostInterface* host) {
    auto& module = *static_cast<FakeModule*>(handle);
    module.host = host;
    WriteLog(module, 0, "fake-plugin: attached");
    HostOperations* operations = host->operations;
    operations->SubscribeToEvent(operations, "fake.echo", host->clientId, &OnEcho, &module, 0);
    operations->ScheduleCallback(operations, "fake tick", &Tick, &module, 0.0, 0);
    return true;
}

void Shutdown(void* handle) {
    auto* module = static_cast<FakeModule*>(handle);
    if (module->host != nullptr) {
        HostOperations* operations = module->host->operations;
        operations->UnsubscribeFromEvent(operations, "fake.echo", module->host->clientId);
        WriteLog(*module, 0, "fake-plugin: stopped");
    }
    delete module;
}

void GetMemoryCounters(void* handle, MemoryCounters* counters) {
    const auto& module = *static_cast<const FakeModule*>(handle);
    std::memset(counters, 0, sizeof *counters);
    counters->peakLiveBytes = sizeof(FakeModule);
    counters->peakLiveAllocations = 1;
    counters->allocatedBytes = sizeof(FakeModule);
    counters->allocations = 1 + module.ticks;
}

}  // namespace

// Refuses (leaves no operations) a core whose major version is not 18.
extern "C" __attribute__((visibility("default"))) void load_arx_matchmaking(
    PluginLoadBlock* block) {
    if (block->major != 18) {
        return;
    }
    auto* module = new FakeModule{};
    module->operations = {&Attach, &Shutdown, &GetMemoryCounters};
    block->major = 18;
    block->minor = 0;
    block->patch = 0;
    block->operations = &module->operations;
    block->module = module;
    block->shortName = "fake-plugin";
    block->apiDescription = &module->api;
}
