#include "resource_generator.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <random>

#include "binding/record_builder.h"

namespace Tavix::Client::Bench {

namespace {

constexpr std::uint64_t kResourceSeed = 0x5EED0001;

std::string RandomText(std::mt19937_64& random, std::size_t length) {
    static constexpr char kLetters[] =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-";
    std::string text(length, ' ');
    for (char& c : text) {
        c = kLetters[random() % (sizeof(kLetters) - 1)];
    }
    return text;
}

double RandomDouble(std::mt19937_64& random, double low, double high) {
    return std::uniform_real_distribution<double>(low, high)(random);
}

template <typename Writer>
void WriteText(Writer& writer, const std::string& text) {
    writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
}

template <typename Writer>
void WriteSearch(Writer& w, const BenchSearch& s) {
    // Members in ascending name order, as a value tree writes them.
    w.StartObject();
    w.Key("dodgeReason");
    if (s.dodgeReason) {
        WriteText(w, *s.dodgeReason);
    } else {
        w.Null();
    }
    w.Key("errors");
    w.StartArray();
    for (const BenchError& e : s.errors) {
        w.StartObject();
        w.Key("errorType");
        WriteText(w, e.errorType);
        w.Key("id");
        w.Int(e.id);
        w.Key("message");
        WriteText(w, e.message);
        w.Key("penaltyTimeRemaining");
        w.Double(e.penaltyTimeRemaining);
        w.EndObject();
    }
    w.EndArray();
    w.Key("estimatedQueueTime");
    w.Double(s.estimatedQueueTime);
    w.Key("isCurrentlyInQueue");
    w.Bool(s.isCurrentlyInQueue);
    w.Key("lobbyId");
    WriteText(w, s.lobbyId);
    w.Key("localPosition");
    w.Int(static_cast<int>(s.localPosition));
    w.Key("members");
    w.StartArray();
    for (const BenchMember& m : s.members) {
        w.StartObject();
        w.Key("championIds");
        w.StartArray();
        for (std::int32_t id : m.championIds) {
            w.Int(id);
        }
        w.EndArray();
        w.Key("displayName");
        WriteText(w, m.displayName);
        w.Key("isLeader");
        w.Bool(m.isLeader);
        w.Key("mmr");
        w.Double(m.mmr);
        w.Key("position");
        w.Int(static_cast<int>(m.position));
        w.Key("puuid");
        WriteText(w, m.puuid);
        w.Key("summonerId");
        w.Uint64(m.summonerId);
        w.Key("teamId");
        w.Int(m.teamId);
        w.EndObject();
    }
    w.EndArray();
    w.Key("queueId");
    w.Int(s.queueId);
    w.Key("readyCheck");
    w.StartObject();
    w.Key("declinerIds");
    w.StartArray();
    for (std::uint64_t id : s.readyCheck.declinerIds) {
        w.Uint64(id);
    }
    w.EndArray();
    w.Key("playerResponse");
    WriteText(w, s.readyCheck.playerResponse);
    w.Key("state");
    WriteText(w, s.readyCheck.state);
    w.Key("suppressUx");
    w.Bool(s.readyCheck.suppressUx);
    w.Key("timer");
    w.Double(s.readyCheck.timer);
    w.EndObject();
    w.Key("searchState");
    WriteText(w, s.searchState);
    w.Key("timeInQueue");
    w.Double(s.timeInQueue);
    w.EndObject();
}

}  // namespace

BenchSearch GenerateSearch(std::uint64_t seed) {
    std::mt19937_64 random(seed);
    static const char* const kStates[] = {"Invalid", "Searching", "Found", "Error"};
    BenchSearch s;
    s.queueId = static_cast<std::int32_t>(400 + random() % 60);
    s.searchState = kStates[random() % 4];
    s.isCurrentlyInQueue = random() % 2 == 0;
    s.timeInQueue = RandomDouble(random, 0.0, 600.0);
    s.estimatedQueueTime = RandomDouble(random, 30.0, 300.0);
    s.lobbyId = RandomText(random, 36);
    for (int i = 0; i < 3; ++i) {
        s.errors.push_back({static_cast<std::int32_t>(random() % 1000), "QUEUE_DODGER",
                            "Player " + RandomText(random, 12) + " is not allowed to queue",
                            RandomDouble(random, 0.0, 900.0)});
    }
    s.readyCheck.state = kStates[random() % 4];
    s.readyCheck.playerResponse = random() % 2 == 0 ? "Accepted" : "None";
    s.readyCheck.timer = RandomDouble(random, 0.0, 12.0);
    for (int i = 0; i < 4; ++i) {
        s.readyCheck.declinerIds.push_back(random() >> 12);
    }
    s.readyCheck.suppressUx = random() % 2 == 0;
    for (int i = 0; i < 5; ++i) {
        BenchMember m;
        m.summonerId = random() >> 10;
        m.puuid = RandomText(random, 78);
        m.displayName = RandomText(random, 8 + random() % 10);
        m.teamId = static_cast<std::int32_t>(100 + 100 * (random() % 2));
        m.position = static_cast<BenchPosition>(random() % 6);
        m.isLeader = i == 0;
        m.mmr = RandomDouble(random, 800.0, 3200.0);
        for (int c = 0; c < 24; ++c) {
            m.championIds.push_back(static_cast<std::int32_t>(1 + random() % 950));
        }
        s.members.push_back(std::move(m));
    }
    if (random() % 2 == 0) {
        s.dodgeReason = "LEAVER_BUSTED " + RandomText(random, 20);
    }
    s.localPosition = static_cast<BenchPosition>(random() % 6);
    return s;
}

std::string SearchToJson(const BenchSearch& search) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    WriteSearch(writer, search);
    return std::string(buffer.GetString(), buffer.GetSize());
}

std::string GenerateResourceJson() {
    return SearchToJson(GenerateSearch(kResourceSeed));
}

std::string GenerateResourceArrayJson(std::size_t bytes) {
    std::string text = "[";
    for (std::uint64_t seed = kResourceSeed; text.size() < bytes; ++seed) {
        if (text.size() > 1) {
            text += ',';
        }
        text += SearchToJson(GenerateSearch(seed));
    }
    text += ']';
    return text;
}

void WriteSearchByHand(rapidjson::Writer<rapidjson::StringBuffer>& writer,
                       const BenchSearch& search) {
    WriteSearch(writer, search);
}

void DeclareBenchSearch(BindingRegistry& registry) {
    DeclareEnum<BenchPosition>(registry, "BenchPosition")
        .AddEnumerator("UNSELECTED", 0)
        .AddEnumerator("TOP", 1)
        .AddEnumerator("JUNGLE", 2)
        .AddEnumerator("MIDDLE", 3)
        .AddEnumerator("BOTTOM", 4)
        .AddEnumerator("UTILITY", 5);
    DeclareRecord<BenchMember>(registry, "BenchMember")
        .Field("summonerId", &BenchMember::summonerId)
        .Field("puuid", &BenchMember::puuid)
        .Field("displayName", &BenchMember::displayName)
        .Field("teamId", &BenchMember::teamId)
        .Field("position", &BenchMember::position)
        .Field("isLeader", &BenchMember::isLeader)
        .Field("mmr", &BenchMember::mmr)
        .Field("championIds", &BenchMember::championIds);
    DeclareRecord<BenchError>(registry, "BenchError")
        .Field("id", &BenchError::id)
        .Field("errorType", &BenchError::errorType)
        .Field("message", &BenchError::message)
        .Field("penaltyTimeRemaining", &BenchError::penaltyTimeRemaining);
    DeclareRecord<BenchReadyCheck>(registry, "BenchReadyCheck")
        .Field("state", &BenchReadyCheck::state)
        .Field("playerResponse", &BenchReadyCheck::playerResponse)
        .Field("timer", &BenchReadyCheck::timer)
        .Field("declinerIds", &BenchReadyCheck::declinerIds)
        .Field("suppressUx", &BenchReadyCheck::suppressUx);
    DeclareRecord<BenchSearch>(registry, "BenchSearch")
        .Field("queueId", &BenchSearch::queueId)
        .Field("searchState", &BenchSearch::searchState)
        .Field("isCurrentlyInQueue", &BenchSearch::isCurrentlyInQueue)
        .Field("timeInQueue", &BenchSearch::timeInQueue)
        .Field("estimatedQueueTime", &BenchSearch::estimatedQueueTime)
        .Field("lobbyId", &BenchSearch::lobbyId)
        .Field("errors", &BenchSearch::errors)
        .Field("readyCheck", &BenchSearch::readyCheck)
        .Field("members", &BenchSearch::members)
        .Field("dodgeReason", &BenchSearch::dodgeReason)
        .Field("localPosition", &BenchSearch::localPosition);
}

}  // namespace Tavix::Client::Bench
