// A call of a function record through its call entry, as the host makes it: a route with a path
// parameter against the same call on a literal route and against matching with a regular
// expression compiled at each call; and a handler that returns a search-sized record against
// writing that record with rapidjson's writer.

#include <benchmark/benchmark.h>

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <regex>
#include <string>

#include "frame/app_module.h"
#include "frame/plugin_export.h"
#include "resource_generator.h"
#include "routing/resource.h"
#include "routing/route_declarer.h"
#include "routing/url_template.h"

namespace Tavix::Client::Bench {
namespace {

constexpr char kParameterRoute[] = "/bench/v1/items/{id}";
constexpr char kParameterUrl[] = "/bench/v1/items/7";
constexpr char kLiteralRoute[] = "/bench/v1/item";

Resource Lookup(const std::string& id) {
    return id.empty() ? NotFound() : Resource();
}

class BenchModule : public AppModule {
public:
    void RegisterApi() override {
        DeclareBenchSearch(GetDispatcher());
        RouteDeclarer routes = Routes();
        routes.Get(kParameterRoute, &Lookup).PathArgument("id");
        routes.Get(kLiteralRoute, &Lookup).Argument("id");
        routes.Get("/bench/v1/search", [this]() -> ResourceOf<BenchSearch> { return search; });
    }

    BenchSearch search = GenerateSearch(1);
};

void LoadBenchModule(PluginLoadBlock* block) {
    ConstructPlugin<BenchModule>(*block, "bench-module");
}

const ApiDescription& Api() {
    static const ApiDescription* api = [] {
        static PluginLoadBlock block{};
        block.major = 18;
        LoadBenchModule(&block);
        return block.apiDescription;
    }();
    return *api;
}

const HostFunctionRecord& Record(const char* url) {
    const ApiDescription& api = Api();
    for (std::uint32_t i = 0; i < api.functionCount; ++i) {
        if (std::string_view(api.functions[i].url) == url) {
            return api.functions[i];
        }
    }
    std::abort();
}

void Call(benchmark::State& state, const HostFunctionRecord& record, const HostRequest& request) {
    HostResponse response{};
    record.callEntry(&response, &request);
    if (response.errorText != nullptr) {
        state.SkipWithError(response.errorText);
    }
    response.release(&response);
}

HostRequest ParameterRequest() {
    HostRequest request{};
    request.method = kMethodGet;
    request.url = kParameterUrl;
    request.callContext = Record(kParameterRoute).head.callContext;
    return request;
}

void CallEntryPathParameter_ours(benchmark::State& state) {
    const HostFunctionRecord& record = Record(kParameterRoute);
    const HostRequest request = ParameterRequest();
    for (auto _ : state) {
        Call(state, record, request);
    }
}

// The same handler and argument; the literal route takes the argument from the request's own
// parameter list instead of the path.
void CallEntryPathParameter_literalroute(benchmark::State& state) {
    const HostFunctionRecord& record = Record(kLiteralRoute);
    HostParameter parameter{};
    parameter.name = "id";
    parameter.value.tag = kHostValueBorrowedString;
    parameter.value.payload.text = {"7", 1};
    HostRequest request{};
    request.method = kMethodGet;
    request.url = kLiteralRoute;
    request.parameters = &parameter;
    request.parameterCount = 1;
    request.callContext = record.head.callContext;
    for (auto _ : state) {
        Call(state, record, request);
    }
}

// The call as it would be with the route's expression compiled and matched at every call.
void CallEntryPathParameter_stdregex(benchmark::State& state) {
    const HostFunctionRecord& record = Record(kParameterRoute);
    const HostRequest request = ParameterRequest();
    const std::string pattern = CompileUrlTemplate(kParameterRoute).pattern;
    const std::string url = kParameterUrl;
    for (auto _ : state) {
        const std::regex expression(pattern, std::regex::ECMAScript | std::regex::optimize);
        std::smatch match;
        if (!std::regex_match(url, match, expression)) {
            state.SkipWithError("no match");
        }
        benchmark::DoNotOptimize(match);
        Call(state, record, request);
    }
}

void CallEntrySearchRecord_ours(benchmark::State& state) {
    const HostFunctionRecord& record = Record("/bench/v1/search");
    HostRequest request{};
    request.method = kMethodGet;
    request.url = "/bench/v1/search";
    request.callContext = record.head.callContext;
    for (auto _ : state) {
        HostResponse response{};
        record.callEntry(&response, &request);
        benchmark::DoNotOptimize(response.value.tag);
        response.release(&response);
    }
}

void CallEntrySearchRecord_rapidjson(benchmark::State& state) {
    const BenchSearch search = GenerateSearch(1);
    for (auto _ : state) {
        rapidjson::StringBuffer buffer;
        rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
        WriteSearchByHand(writer, search);
        benchmark::DoNotOptimize(buffer.GetString());
    }
}

BENCHMARK(CallEntryPathParameter_ours);
BENCHMARK(CallEntryPathParameter_literalroute);
BENCHMARK(CallEntryPathParameter_stdregex);
BENCHMARK(CallEntrySearchRecord_ours);
BENCHMARK(CallEntrySearchRecord_rapidjson);

}  // namespace
}  // namespace Tavix::Client::Bench

BENCHMARK_MAIN();
