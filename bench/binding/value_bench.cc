// Value trees against rapidjson's DOM on the same work: building a typical REST resource of about
// 3 KB through the API, deep-copying it, and the memory one tree takes.
//
// Both sides are used the way code commonly uses them. rapidjson's member names are constant
// literals that are referenced, not copied, and string values are copied into the document's
// pool. Our names are literals hashed at compile time (as the registry's field names are), and our
// tree interns names and values alike, so it stores the names as well.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <vector>

#include <rapidjson/document.h>
#include <rapidjson/reader.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "binding/context.h"
#include "binding/value.h"
#include "binding/value_visitor.h"
#include "log/memory.h"
#include "support/slab.h"

namespace {

using Tavix::Client::BindingValue;
using namespace Tavix::Client::NameLiterals;

struct Member {
    std::uint64_t summonerId;
    std::string puuid;
    std::string displayName;
    std::string position;
    bool ready;
    std::int64_t rating;
    std::int64_t wins;
    std::int64_t losses;
    std::vector<std::int64_t> champions;
    std::vector<std::string> tags;
};

struct Resource {
    std::string id;
    std::int64_t queueId;
    bool isCurrentlyInQueue;
    std::string searchState;
    double timeInQueue;
    double estimatedQueueTime;
    std::string readyCheckState;
    std::string playerResponse;
    double timer;
    std::vector<std::uint64_t> declinerIds;
    std::vector<std::uint64_t> penalizedIds;
    double penaltyTime;
    std::string reason;
    std::vector<std::string> errorMessages;
    std::vector<Member> members;
    std::string gameMode;
    std::int64_t mapId;
};

Resource MakeResource() {
    Resource r;
    r.id = "b3f4c1d2-8e7a-4f6b-9c0d-1a2b3c4d5e6f";
    r.queueId = 420;
    r.isCurrentlyInQueue = true;
    r.searchState = "Searching";
    r.timeInQueue = 12.5;
    r.estimatedQueueTime = 93.25;
    r.readyCheckState = "InProgress";
    r.playerResponse = "None";
    r.timer = 8.0;
    r.declinerIds = {};
    r.penalizedIds = {1234567890123ull, 2234567890123ull};
    r.penaltyTime = 300.0;
    r.reason = "LEAVER_BUSTED";
    r.errorMessages = {"The queue is temporarily disabled for maintenance.",
                       "A member of your party has a penalty."};
    const char* positions[] = {"TOP", "JUNGLE", "MIDDLE", "BOTTOM", "UTILITY"};
    for (int i = 0; i < 10; ++i) {
        Member m;
        m.summonerId = 100000000000ull + static_cast<std::uint64_t>(i) * 7919;
        m.puuid = "0f1e2d3c-4b5a-6978-8796-a5b4c3d2e1f" + std::to_string(i);
        m.displayName = "Player Number " + std::to_string(i + 1);
        m.position = positions[i % 5];
        m.ready = i % 2 == 0;
        m.rating = 1500 + i * 37;
        m.wins = 120 + i;
        m.losses = 98 + i;
        m.champions = {1, 22, 103, 64 + i, 157};
        m.tags = {"ranked", i == 0 ? "leader" : "member"};
        r.members.push_back(m);
    }
    r.gameMode = "CLASSIC";
    r.mapId = 11;
    return r;
}

const Resource kResource = MakeResource();

void BuildOurs(const Resource& r, BindingValue& v) {
    v.Field("id"_name).SetString(r.id);
    v.Field("queueId"_name).SetSigned(r.queueId);
    v.Field("isCurrentlyInQueue"_name).SetBool(r.isCurrentlyInQueue);
    v.Field("searchState"_name).SetString(r.searchState);
    v.Field("timeInQueue"_name).SetFloat(r.timeInQueue);
    v.Field("estimatedQueueTime"_name).SetFloat(r.estimatedQueueTime);
    BindingValue& ready = v.Field("readyCheck"_name);
    ready.Field("state"_name).SetString(r.readyCheckState);
    ready.Field("playerResponse"_name).SetString(r.playerResponse);
    ready.Field("timer"_name).SetFloat(r.timer);
    BindingValue& decliners = ready.Field("declinerIds"_name);
    decliners.MakeCollection();
    for (std::uint64_t id : r.declinerIds) {
        decliners.Append().SetUnsigned(id);
    }
    ready.Field("suppressUx"_name).SetBool(false);
    BindingValue& low = v.Field("lowPriorityData"_name);
    BindingValue& penalized = low.Field("penalizedSummonerIds"_name);
    for (std::uint64_t id : r.penalizedIds) {
        penalized.Append().SetUnsigned(id);
    }
    low.Field("penaltyTime"_name).SetFloat(r.penaltyTime);
    low.Field("penaltyTimeRemaining"_name).SetFloat(r.penaltyTime / 2);
    low.Field("reason"_name).SetString(r.reason);
    BindingValue& errors = v.Field("errors"_name);
    std::int64_t errorId = 1;
    for (const std::string& message : r.errorMessages) {
        BindingValue& error = errors.Append();
        error.Field("id"_name).SetSigned(errorId++);
        error.Field("errorType"_name).SetString("QUEUE_ERROR");
        error.Field("message"_name).SetString(message);
        error.Field("penaltyTimeRemaining"_name).SetFloat(0.0);
    }
    BindingValue& members = v.Field("members"_name);
    for (const Member& m : r.members) {
        BindingValue& member = members.Append();
        member.Field("summonerId"_name).SetUnsigned(m.summonerId);
        member.Field("puuid"_name).SetString(m.puuid);
        member.Field("displayName"_name).SetString(m.displayName);
        member.Field("position"_name).SetString(m.position);
        member.Field("ready"_name).SetBool(m.ready);
        member.Field("rating"_name).SetSigned(m.rating);
        member.Field("wins"_name).SetSigned(m.wins);
        member.Field("losses"_name).SetSigned(m.losses);
        BindingValue& champions = member.Field("champions"_name);
        for (std::int64_t champion : m.champions) {
            champions.Append().SetSigned(champion);
        }
        BindingValue& tags = member.Field("tags"_name);
        for (const std::string& tag : m.tags) {
            tags.Append().SetString(tag);
        }
    }
    BindingValue& game = v.Field("gameData"_name);
    game.Field("gameMode"_name).SetString(r.gameMode);
    game.Field("mapId"_name).SetSigned(r.mapId);
    game.Field("queueId"_name).SetSigned(r.queueId);
}

using rapidjson::Document;
using rapidjson::StringRef;
using rapidjson::Value;

Value Text(const std::string& text, Document::AllocatorType& a) {
    return Value(text.c_str(), static_cast<rapidjson::SizeType>(text.size()), a);
}

void BuildRapidjson(const Resource& r, Document& d) {
    auto& a = d.GetAllocator();
    d.SetObject();
    d.AddMember("id", Text(r.id, a), a);
    d.AddMember("queueId", Value(r.queueId), a);
    d.AddMember("isCurrentlyInQueue", Value(r.isCurrentlyInQueue), a);
    d.AddMember("searchState", Text(r.searchState, a), a);
    d.AddMember("timeInQueue", Value(r.timeInQueue), a);
    d.AddMember("estimatedQueueTime", Value(r.estimatedQueueTime), a);
    Value ready(rapidjson::kObjectType);
    ready.AddMember("state", Text(r.readyCheckState, a), a);
    ready.AddMember("playerResponse", Text(r.playerResponse, a), a);
    ready.AddMember("timer", Value(r.timer), a);
    Value decliners(rapidjson::kArrayType);
    for (std::uint64_t id : r.declinerIds) {
        decliners.PushBack(Value(id), a);
    }
    ready.AddMember("declinerIds", decliners, a);
    ready.AddMember("suppressUx", Value(false), a);
    d.AddMember("readyCheck", ready, a);
    Value low(rapidjson::kObjectType);
    Value penalized(rapidjson::kArrayType);
    for (std::uint64_t id : r.penalizedIds) {
        penalized.PushBack(Value(id), a);
    }
    low.AddMember("penalizedSummonerIds", penalized, a);
    low.AddMember("penaltyTime", Value(r.penaltyTime), a);
    low.AddMember("penaltyTimeRemaining", Value(r.penaltyTime / 2), a);
    low.AddMember("reason", Text(r.reason, a), a);
    d.AddMember("lowPriorityData", low, a);
    Value errors(rapidjson::kArrayType);
    std::int64_t errorId = 1;
    for (const std::string& message : r.errorMessages) {
        Value error(rapidjson::kObjectType);
        error.AddMember("id", Value(errorId++), a);
        error.AddMember("errorType", Value("QUEUE_ERROR", a), a);
        error.AddMember("message", Text(message, a), a);
        error.AddMember("penaltyTimeRemaining", Value(0.0), a);
        errors.PushBack(error, a);
    }
    d.AddMember("errors", errors, a);
    Value members(rapidjson::kArrayType);
    for (const Member& m : r.members) {
        Value member(rapidjson::kObjectType);
        member.AddMember("summonerId", Value(m.summonerId), a);
        member.AddMember("puuid", Text(m.puuid, a), a);
        member.AddMember("displayName", Text(m.displayName, a), a);
        member.AddMember("position", Text(m.position, a), a);
        member.AddMember("ready", Value(m.ready), a);
        member.AddMember("rating", Value(m.rating), a);
        member.AddMember("wins", Value(m.wins), a);
        member.AddMember("losses", Value(m.losses), a);
        Value champions(rapidjson::kArrayType);
        for (std::int64_t champion : m.champions) {
            champions.PushBack(Value(champion), a);
        }
        member.AddMember("champions", champions, a);
        Value tags(rapidjson::kArrayType);
        for (const std::string& tag : m.tags) {
            tags.PushBack(Text(tag, a), a);
        }
        member.AddMember("tags", tags, a);
        members.PushBack(member, a);
    }
    d.AddMember("members", members, a);
    Value game(rapidjson::kObjectType);
    game.AddMember("gameMode", Text(r.gameMode, a), a);
    game.AddMember("mapId", Value(r.mapId), a);
    game.AddMember("queueId", Value(r.queueId), a);
    d.AddMember("gameData", game, a);
}

std::size_t JsonSize() {
    Document d;
    BuildRapidjson(kResource, d);
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    d.Accept(writer);
    return buffer.GetSize();
}

std::uint64_t CountedLiveBytes() {
    Tavix::Client::AllocationCounterValues counters{};
    Tavix::Client::ReadCounters(&counters);
    return counters.bytesAllocated - counters.bytesFreed;
}

// What a tree uses, like rapidjson's Size(): heap bytes from the counters (the context, very
// large arrays and texts), the slot bytes its pooled records occupy, and the bytes of the pieces
// cut from its bulk pages (element arrays, long texts, a grown string table).
double OurUsedBytes(const BindingValue& tree, std::uint64_t countedBefore) {
    return static_cast<double>(CountedLiveBytes() - countedBefore + tree.Context()->RecordBytes() +
                               tree.Context()->BulkBytes());
}

// What a tree holds, like rapidjson's Capacity(): the heap bytes, the context's slab table with
// its inline blocks, and the whole pages its slabs and bulk pieces took from the pool.
double OurHeldBytes(const BindingValue& tree, std::uint64_t countedBefore) {
    const std::size_t pages = tree.Context()->PagesHeld() + tree.Context()->BulkPagesHeld();
    return static_cast<double>(CountedLiveBytes() - countedBefore +
                               Tavix::Client::kSizeClassCount * sizeof(Tavix::Client::SizeClass) +
                               pages * Tavix::Client::kSlabPageSize);
}

// The memory counters of a family come from one tree made before the timed loop, so that the
// loop times the work alone.
void CountOurs(benchmark::State& state, const BindingValue& tree, std::uint64_t countedBefore) {
    state.counters["treeBytes"] = OurUsedBytes(tree, countedBefore);
    state.counters["heldBytes"] = OurHeldBytes(tree, countedBefore);
}

void CountRapidjson(benchmark::State& state, Document& document) {
    state.counters["treeBytes"] = static_cast<double>(document.GetAllocator().Size());
    state.counters["heldBytes"] = static_cast<double>(document.GetAllocator().Capacity());
}

void BuildResource_ours(benchmark::State& state) {
    // Another live tree keeps the pool's region mapped, as the plug-in's long-lived trees do;
    // without one every iteration would map and unmap a region.
    BindingValue resident;
    BuildOurs(kResource, resident);
    {
        const std::uint64_t before = CountedLiveBytes();
        BindingValue tree;
        BuildOurs(kResource, tree);
        CountOurs(state, tree, before);
    }
    for (auto _ : state) {
        BindingValue tree;
        BuildOurs(kResource, tree);
        benchmark::DoNotOptimize(tree);
    }
    state.counters["jsonBytes"] = static_cast<double>(JsonSize());
}
BENCHMARK(BuildResource_ours);

void BuildResource_rapidjson(benchmark::State& state) {
    {
        Document d;
        BuildRapidjson(kResource, d);
        CountRapidjson(state, d);
    }
    for (auto _ : state) {
        Document d;
        BuildRapidjson(kResource, d);
        benchmark::DoNotOptimize(d);
    }
    state.counters["jsonBytes"] = static_cast<double>(JsonSize());
}
BENCHMARK(BuildResource_rapidjson);

// Counts what a walk meets, so that no part of the walk can be left out.
class CountingVisitor final : public Tavix::Client::BindingValueVisitor {
public:
    std::size_t events = 0;

    void empty() override { ++events; }
    void boolean(bool) override { ++events; }
    void signedInteger(std::int64_t) override { ++events; }
    void unsignedInteger(std::uint64_t) override { ++events; }
    void floatingPoint(double) override { ++events; }
    void string(std::string_view text) override { events += text.size(); }
    void blob(std::span<const std::uint8_t>) override { ++events; }
    void enumeration(std::int32_t, const Tavix::Client::StaticTypeRecord*) override { ++events; }
    void beginCollection(std::size_t) override { ++events; }
    void beginElement(std::size_t) override {}
    void endElement(std::size_t) override {}
    void endCollection() override {}
    void beginStructure(std::size_t) override { ++events; }
    void beginField(std::string_view name) override { events += name.size(); }
    void endField(std::string_view) override {}
    void endStructure() override {}
};

struct CountingHandler : rapidjson::BaseReaderHandler<rapidjson::UTF8<>, CountingHandler> {
    std::size_t events = 0;

    bool Default() {
        ++events;
        return true;
    }
    bool String(const char*, rapidjson::SizeType length, bool) {
        events += length;
        return true;
    }
    bool Key(const char*, rapidjson::SizeType length, bool) {
        events += length;
        return true;
    }
};

// A tree is built to be read: a build and one walk of the result, on both sides, so that work
// moved from building to reading cannot pass for a gain.
void BuildAndWalkResource_ours(benchmark::State& state) {
    BindingValue resident;
    BuildOurs(kResource, resident);
    for (auto _ : state) {
        BindingValue tree;
        BuildOurs(kResource, tree);
        CountingVisitor visitor;
        tree.Visit(visitor);
        benchmark::DoNotOptimize(visitor.events);
    }
}
BENCHMARK(BuildAndWalkResource_ours);

void BuildAndWalkResource_rapidjson(benchmark::State& state) {
    for (auto _ : state) {
        Document d;
        BuildRapidjson(kResource, d);
        CountingHandler handler;
        d.Accept(handler);
        benchmark::DoNotOptimize(handler.events);
    }
}
BENCHMARK(BuildAndWalkResource_rapidjson);

void CopyResource_ours(benchmark::State& state) {
    BindingValue source;
    BuildOurs(kResource, source);
    {
        const std::uint64_t before = CountedLiveBytes();
        BindingValue copy(source);
        CountOurs(state, copy, before);
    }
    for (auto _ : state) {
        BindingValue copy(source);
        benchmark::DoNotOptimize(copy);
    }
}
BENCHMARK(CopyResource_ours);

void CopyResource_rapidjson(benchmark::State& state) {
    Document source;
    BuildRapidjson(kResource, source);
    {
        Document copy;
        copy.CopyFrom(source, copy.GetAllocator());
        CountRapidjson(state, copy);
    }
    for (auto _ : state) {
        Document copy;
        copy.CopyFrom(source, copy.GetAllocator());
        benchmark::DoNotOptimize(copy);
    }
}
BENCHMARK(CopyResource_rapidjson);

}  // namespace

BENCHMARK_MAIN();
