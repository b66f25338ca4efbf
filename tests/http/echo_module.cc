#include "echo_module.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "core/value.h"

namespace Tavix::TestHost::Http {

namespace {

using namespace Client;

std::atomic<std::size_t> releases{0};
std::atomic<std::size_t> answers{0};

// What one answer holds until the host releases it.
struct Answer {
    ValueArena arena;
    std::vector<HostHeader> headers;
    std::string stream;
    std::size_t streamOffset = 0;
};

// The release function gets the response's address alone.
std::mutex answersLock;
std::map<const HostResponse*, std::unique_ptr<Answer>> answersHeld;

void Release(HostResponse* response) {
    {
        std::lock_guard<std::mutex> guard(answersLock);
        answersHeld.erase(response);
    }
    ++releases;
    std::memset(static_cast<void*>(response), 0, sizeof *response);
}

bool ReadStream(void* context, char* buffer, std::uint32_t* size, bool* more) {
    auto& answer = *static_cast<Answer*>(context);
    const std::size_t count =
        std::min<std::size_t>(*size, answer.stream.size() - answer.streamOffset);
    std::memcpy(buffer, answer.stream.data() + answer.streamOffset, count);
    answer.streamOffset += count;
    *size = static_cast<std::uint32_t>(count);
    *more = answer.streamOffset < answer.stream.size();
    return true;
}

std::string Text(const char* text) {
    return text != nullptr ? text : "";
}

Value Echo(const HostRequest& request) {
    std::vector<Value> headers;
    for (std::uint32_t i = 0; i < request.headerCount; ++i) {
        headers.push_back(Value::List({Value::Text(Text(request.headers[i].name)),
                                       Value::Text(Text(request.headers[i].value))}));
    }
    const std::uint32_t method = request.method;
    return Value::Map(
        {{"method",
          Value::Text(method == kMethodNamed ? Text(request.methodName) : HostMethodText(method))},
         {"url", Value::Text(Text(request.url))},
         {"headers", Value::List(std::move(headers))},
         {"contentType",
          request.contentType != nullptr ? Value::Text(request.contentType) : Value::None()},
         {"body", request.body != nullptr ? Value::Text(std::string(request.body, request.bodySize))
                                          : Value::None()}});
}

void CallEntry(HostResponse* response, const HostRequest* request) {
    std::memset(static_cast<void*>(response), 0, sizeof *response);
    auto answer = std::make_unique<Answer>();
    const std::string url = Text(request->url);
    if (url.rfind("/echo/fail", 0) == 0) {
        const std::size_t status = url.find("status=");
        response->errorText = answer->arena.Keep("refused");
        response->status =
            status == std::string::npos
                ? 0
                : static_cast<std::uint32_t>(std::strtoul(url.c_str() + status + 7, nullptr, 10));
    } else if (url == "/echo/stream") {
        answer->stream = "streamed text";
        answer->headers.push_back(
            {answer->arena.Keep("Content-Type"), answer->arena.Keep("text/plain")});
        response->streamRead = &ReadStream;
        response->streamSize = static_cast<std::uint32_t>(answer->stream.size());
        response->streamContext = answer.get();
    } else if (url != "/echo/none") {
        response->value = answer->arena.Build(Echo(*request));
        answer->headers.push_back({answer->arena.Keep("x-echo"), answer->arena.Keep("yes")});
    }
    response->headers = answer->headers.empty() ? nullptr : answer->headers.data();
    response->headerCount = static_cast<std::uint32_t>(answer->headers.size());
    response->release = &Release;
    ++answers;
    std::lock_guard<std::mutex> guard(answersLock);
    answersHeld[response] = std::move(answer);
}

struct EchoModule {
    PluginOperations operations;
    ApiDescription api;
    HostFunctionRecord record;
};

int context = 1;
const HostArgumentRecord kRest = {nullptr, "rest", "", 12, 0, "", 0};
const HostArgumentLocationRecord kRestLocation = {nullptr, kArgumentPath};

bool Attach(void*, HostInterface*) {
    return true;
}

void Shutdown(void* handle) {
    delete static_cast<EchoModule*>(handle);
}

void GetMemoryCounters(void*, MemoryCounters* counters) {
    std::memset(counters, 0, sizeof *counters);
}

}  // namespace

void LoadEchoModule(PluginLoadBlock* block) {
    auto* module = new EchoModule{};
    module->operations = {&Attach, &Shutdown, &GetMemoryCounters};
    HostFunctionRecord& record = module->record;
    record.head.callContext = &context;
    record.head.name = "Echo";
    record.head.arguments = &kRest;
    record.head.argumentCount = 1;
    record.callEntry = &CallEntry;
    record.locations = &kRestLocation;
    record.url = "/echo/{+rest}";
    record.method = kMethodAny;
    record.methodText = "";
    module->api.functions = &module->record;
    module->api.functionCount = 1;
    block->operations = &module->operations;
    block->module = module;
    block->shortName = "echo";
    block->apiDescription = &module->api;
}

std::size_t EchoReleases() {
    return releases.load();
}

std::size_t EchoAnswers() {
    return answers.load();
}

}  // namespace Tavix::TestHost::Http
