// A minimal module for exercising hosts: it logs on attach, ticks on a schedule, echoes one event,
// asks one request of the host at every tick, and serves two REST functions whose records it
// writes from the boundary header alone. Built both into a shared library and into the host tests
// themselves.

#include <cstdio>
#include <cstring>
#include <new>

#include "arx/host_boundary.h"

namespace {

using namespace Tavix::Client;

struct FakeModule {
    PluginOperations operations;
    ApiDescription api;
    HostInterface* host = nullptr;
    std::uint32_t ticks = 0;
};

// "GET /fake/v1/echo/{word}" answers with the request's URL; "/fake/v1/any" refuses any method.
// The call context tells them apart.
int echoContext = 1;
int anyContext = 2;

void ReleaseAnswer(HostResponse* response) {
    std::memset(static_cast<void*>(response), 0, sizeof *response);
}

void CallEntry(HostResponse* response, const HostRequest* request) {
    std::memset(static_cast<void*>(response), 0, sizeof *response);
    response->release = &ReleaseAnswer;
    if (request->callContext == &echoContext) {
        response->value.tag = kHostValueBorrowedString;
        response->value.payload.text.data = request->url;
        response->value.payload.text.length = static_cast<std::uint32_t>(std::strlen(request->url));
    } else {
        response->errorText = "nope";
        response->status = 404;
    }
}

const char* const kTags[] = {"Plugins"};
const HostArgumentRecord kWord = {nullptr, "word", "", 12, 0, "", 0};
const HostArgumentLocationRecord kWordLocation = {nullptr, kArgumentPath};

void DescribeApi(ApiDescription& api) {
    static HostFunctionRecord records[2] = {};
    HostFunctionRecord& echo = records[0];
    echo.head.next = &records[1].head;
    echo.head.callContext = &echoContext;
    echo.head.name = "GetFakeV1EchoByWord";
    echo.head.arguments = &kWord;
    echo.head.argumentCount = 1;
    echo.head.tags = kTags;
    echo.head.tagCount = 1;
    echo.callEntry = &CallEntry;
    echo.locations = &kWordLocation;
    echo.url = "/fake/v1/echo/{word}";
    echo.method = kMethodGet;
    echo.methodText = "";
    HostFunctionRecord& any = records[1];
    any.head.callContext = &anyContext;
    any.head.name = "FakeAny";
    any.callEntry = &CallEntry;
    any.url = "/fake/v1/any";
    any.method = kMethodAny;
    any.methodText = "";
    api.functions = records;
    api.functionCount = 2;
}

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
    DescribeApi(module->api);
    block->major = 18;
    block->minor = 0;
    block->patch = 0;
    block->operations = &module->operations;
    block->module = module;
    block->shortName = "fake-plugin";
    block->apiDescription = &module->api;
}
