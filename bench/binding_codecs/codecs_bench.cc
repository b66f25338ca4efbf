// ReadMessagePack against msgpack-cxx's unpack into its own object, and ParseYaml against a loop
// that only pulls libyaml's events, on the search resource of the JSON benchmarks (about 3 KB)
// and on an array of such resources (about 1 MB), converted to each format.

#include <benchmark/benchmark.h>

#include <yaml.h>

#include <cstdint>
#include <msgpack.hpp>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "binding/msgpack.h"
#include "binding/yaml.h"
#include "resource_generator.h"

namespace Tavix::Client::Bench {
namespace {

// Block style, as a person writes YAML; strings double-quoted with JSON's escapes, which YAML
// reads the same.
void AppendYaml(const nlohmann::json& value, std::size_t indent, std::string& out);

void AppendScalar(const nlohmann::json& value, std::string& out) {
    if (value.is_null()) {
        out += "~";
    } else {
        out += value.dump();
    }
}

void AppendNested(const nlohmann::json& value, std::size_t indent, std::string& out) {
    if (value.is_structured() && !value.empty()) {
        out += '\n';
        AppendYaml(value, indent + 2, out);
    } else {
        out += ' ';
        AppendScalar(value, out);
        out += '\n';
    }
}

void AppendYaml(const nlohmann::json& value, std::size_t indent, std::string& out) {
    const std::string pad(indent, ' ');
    if (value.is_object()) {
        for (const auto& [key, field] : value.items()) {
            out += pad + key + ":";
            AppendNested(field, indent, out);
        }
    } else {
        for (const nlohmann::json& element : value) {
            out += pad + "-";
            AppendNested(element, indent, out);
        }
    }
}

std::string ToYaml(const std::string& json) {
    std::string out;
    AppendYaml(nlohmann::json::parse(json), 0, out);
    return out;
}

std::vector<std::uint8_t> ToMessagePack(const std::string& json) {
    return nlohmann::json::to_msgpack(nlohmann::json::parse(json));
}

const std::vector<std::uint8_t>& ResourcePack() {
    static const std::vector<std::uint8_t> bytes = ToMessagePack(GenerateResourceJson());
    return bytes;
}
const std::vector<std::uint8_t>& ArrayPack() {
    static const std::vector<std::uint8_t> bytes =
        ToMessagePack(GenerateResourceArrayJson(1u << 20));
    return bytes;
}
const std::string& ResourceYaml() {
    static const std::string text = ToYaml(GenerateResourceJson());
    return text;
}
const std::string& ArrayYaml() {
    static const std::string text = ToYaml(GenerateResourceArrayJson(1u << 20));
    return text;
}

void ReadOurs(benchmark::State& state, const std::vector<std::uint8_t>& bytes) {
    for (auto _ : state) {
        BindingResult result;
        std::uint32_t consumed = 0;
        ReadMessagePack(result, consumed, bytes.data(), static_cast<std::uint32_t>(bytes.size()));
        benchmark::DoNotOptimize(result);
        if (!result.Ok() || consumed != bytes.size()) {
            state.SkipWithError("read failed");
        }
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes.size()));
}

void ReadMsgpack(benchmark::State& state, const std::vector<std::uint8_t>& bytes) {
    for (auto _ : state) {
        msgpack::object_handle handle =
            msgpack::unpack(reinterpret_cast<const char*>(bytes.data()), bytes.size());
        benchmark::DoNotOptimize(handle.get());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes.size()));
}

void ParseOurs(benchmark::State& state, const std::string& text) {
    for (auto _ : state) {
        BindingResult result;
        ParseYaml(result, text);
        benchmark::DoNotOptimize(result);
        if (!result.Ok()) {
            state.SkipWithError("parse failed");
        }
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}

// The floor: libyaml's scanner and parser with nothing built from their events.
void PullEvents(benchmark::State& state, const std::string& text) {
    for (auto _ : state) {
        yaml_parser_t parser;
        yaml_parser_initialize(&parser);
        yaml_parser_set_encoding(&parser, YAML_UTF8_ENCODING);
        yaml_parser_set_input_string(&parser, reinterpret_cast<const unsigned char*>(text.data()),
                                     text.size());
        std::size_t events = 0;
        yaml_event_t event;
        while (yaml_parser_parse(&parser, &event) != 0) {
            const bool end = event.type == YAML_STREAM_END_EVENT;
            yaml_event_delete(&event);
            ++events;
            if (end) {
                break;
            }
        }
        benchmark::DoNotOptimize(events);
        if (parser.error != YAML_NO_ERROR) {
            state.SkipWithError("parse failed");
        }
        yaml_parser_delete(&parser);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}

void ReadMessagePackResource_ours(benchmark::State& state) {
    ReadOurs(state, ResourcePack());
}
void ReadMessagePackResource_msgpack(benchmark::State& state) {
    ReadMsgpack(state, ResourcePack());
}
void ReadMessagePackArray1MB_ours(benchmark::State& state) {
    ReadOurs(state, ArrayPack());
}
void ReadMessagePackArray1MB_msgpack(benchmark::State& state) {
    ReadMsgpack(state, ArrayPack());
}
void ParseYamlResource_ours(benchmark::State& state) {
    ParseOurs(state, ResourceYaml());
}
void ParseYamlResource_libyaml(benchmark::State& state) {
    PullEvents(state, ResourceYaml());
}
void ParseYamlArray1MB_ours(benchmark::State& state) {
    ParseOurs(state, ArrayYaml());
}
void ParseYamlArray1MB_libyaml(benchmark::State& state) {
    PullEvents(state, ArrayYaml());
}

BENCHMARK(ReadMessagePackResource_ours);
BENCHMARK(ReadMessagePackResource_msgpack);
BENCHMARK(ReadMessagePackArray1MB_ours);
BENCHMARK(ReadMessagePackArray1MB_msgpack);
BENCHMARK(ParseYamlResource_ours);
BENCHMARK(ParseYamlResource_libyaml);
BENCHMARK(ParseYamlArray1MB_ours);
BENCHMARK(ParseYamlArray1MB_libyaml);

}  // namespace
}  // namespace Tavix::Client::Bench

BENCHMARK_MAIN();
