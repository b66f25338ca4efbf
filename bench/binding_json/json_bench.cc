// ParseJson and WriteJson against the same work done by rapidjson's document and by nlohmann's
// json, and a native record written through the registry against the same record written by hand.

#include <benchmark/benchmark.h>

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <nlohmann/json.hpp>

#include <string>

#include "binding/convert.h"
#include "binding/json.h"
#include "binding/registry.h"
#include "resource_generator.h"

namespace Tavix::Client::Bench {
namespace {

const std::string& Resource() {
    static const std::string text = GenerateResourceJson();
    return text;
}

const std::string& ResourceArray() {
    static const std::string text = GenerateResourceArrayJson(1u << 20);
    return text;
}

void ParseOurs(benchmark::State& state, const std::string& text) {
    for (auto _ : state) {
        BindingResult result;
        ParseJson(result, text.c_str());
        benchmark::DoNotOptimize(result);
        if (!result.Ok()) {
            state.SkipWithError("parse failed");
        }
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}

void ParseRapidjson(benchmark::State& state, const std::string& text) {
    for (auto _ : state) {
        rapidjson::Document document;
        document.Parse(text.c_str());
        benchmark::DoNotOptimize(document);
        if (document.HasParseError()) {
            state.SkipWithError("parse failed");
        }
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}

void ParseNlohmann(benchmark::State& state, const std::string& text) {
    for (auto _ : state) {
        nlohmann::json document = nlohmann::json::parse(text);
        benchmark::DoNotOptimize(document);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}

void ParseJsonResource_ours(benchmark::State& state) {
    ParseOurs(state, Resource());
}
void ParseJsonResource_rapidjson(benchmark::State& state) {
    ParseRapidjson(state, Resource());
}
void ParseJsonResource_nlohmann(benchmark::State& state) {
    ParseNlohmann(state, Resource());
}
void ParseJsonArray1MB_ours(benchmark::State& state) {
    ParseOurs(state, ResourceArray());
}
void ParseJsonArray1MB_rapidjson(benchmark::State& state) {
    ParseRapidjson(state, ResourceArray());
}
void ParseJsonArray1MB_nlohmann(benchmark::State& state) {
    ParseNlohmann(state, ResourceArray());
}

void WriteJsonResource_ours(benchmark::State& state) {
    BindingResult value;
    ParseJson(value, Resource().c_str());
    for (auto _ : state) {
        std::string text = WriteJson(value, nullptr, nullptr);
        benchmark::DoNotOptimize(text);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * Resource().size()));
}

void WriteJsonResource_rapidjson(benchmark::State& state) {
    rapidjson::Document document;
    document.Parse(Resource().c_str());
    for (auto _ : state) {
        rapidjson::StringBuffer buffer;
        rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
        document.Accept(writer);
        std::string text(buffer.GetString(), buffer.GetSize());
        benchmark::DoNotOptimize(text);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * Resource().size()));
}

void WriteJsonResource_nlohmann(benchmark::State& state) {
    const nlohmann::json document = nlohmann::json::parse(Resource());
    for (auto _ : state) {
        std::string text = document.dump();
        benchmark::DoNotOptimize(text);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * Resource().size()));
}

const BindingRegistry& SearchRegistry() {
    static BindingRegistry* registry = [] {
        auto* r = new BindingRegistry();
        DeclareBenchSearch(*r);
        return r;
    }();
    return *registry;
}

void WriteSearchRecord_ours(benchmark::State& state) {
    const BindingRegistry& registry = SearchRegistry();
    const BindingTypeDescriptor* descriptor = registry.FindTypeByName("BenchSearch");
    const BenchSearch search = GenerateSearch(1);
    std::size_t bytes = 0;
    for (auto _ : state) {
        BindingResult value;
        StructToValue(value, &registry, &search, descriptor);
        std::string text = WriteJson(value, nullptr, nullptr);
        bytes = text.size();
        benchmark::DoNotOptimize(text);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes));
}

void WriteSearchRecord_rapidjson(benchmark::State& state) {
    const BenchSearch search = GenerateSearch(1);
    std::size_t bytes = 0;
    for (auto _ : state) {
        rapidjson::StringBuffer buffer;
        rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
        WriteSearchByHand(writer, search);
        std::string text(buffer.GetString(), buffer.GetSize());
        bytes = text.size();
        benchmark::DoNotOptimize(text);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes));
}

BENCHMARK(ParseJsonResource_ours);
BENCHMARK(ParseJsonResource_rapidjson);
BENCHMARK(ParseJsonResource_nlohmann);
BENCHMARK(ParseJsonArray1MB_ours);
BENCHMARK(ParseJsonArray1MB_rapidjson);
BENCHMARK(ParseJsonArray1MB_nlohmann);
BENCHMARK(WriteJsonResource_ours);
BENCHMARK(WriteJsonResource_rapidjson);
BENCHMARK(WriteJsonResource_nlohmann);
BENCHMARK(WriteSearchRecord_ours);
BENCHMARK(WriteSearchRecord_rapidjson);

}  // namespace
}  // namespace Tavix::Client::Bench

BENCHMARK_MAIN();
