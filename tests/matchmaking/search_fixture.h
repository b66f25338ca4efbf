#pragma once
// A player in a lobby, ready to search: the plug-in started among its neighbours with the player
// as leader of a lobby of three in the legacy queue. Expected records are written from the
// wire's side and compared as canonical JSON.

#include <algorithm>
#include <string>
#include <vector>

#include "plugin_fixture.h"

namespace Tavix::Client::Matchmaking::Testing {

using TestHost::GameDtoRecord;
using TestHost::JoinFailureRecord;
using TestHost::SearchErrorRecord;
using TestHost::SearchingForMatchRecord;
using TestHost::SearchRecord;

inline constexpr const char* kSearch = "/arx-matchmaking/v1/search";
inline constexpr const char* kReadyCheck = "/arx-matchmaking/v1/ready-check";
inline constexpr const char* kErrors = "/arx-matchmaking/v1/search/errors";
inline constexpr std::uint64_t kOwn = Neighbourhood::kOwnAvatarId;
inline constexpr std::int32_t kLegacy = Neighbourhood::kLegacyQueue;

// The value with the fields of every structure in name order, as JSON.
inline Value Sorted(Value value) {
    std::sort(value.fields.begin(), value.fields.end(),
              [](const TestHost::Field& a, const TestHost::Field& b) { return a.key < b.key; });
    for (TestHost::Field& field : value.fields) {
        field.value = Sorted(field.value);
    }
    for (Value& item : value.items) {
        item = Sorted(item);
    }
    return value;
}

inline std::string Json(const SearchRecord& record) {
    return Sorted(record.ToValue()).ToJson();
}

// The ready-check part of a search record, as its own resource publishes it.
inline std::string ReadyCheckJson(const SearchRecord& record) {
    return Sorted(*record.ToValue().Find("readyCheck")).ToJson();
}

inline Published Create(const SearchRecord& search) {
    return {kSearch, "Create", Json(search)};
}
inline Published UpdateSearch(const SearchRecord& search) {
    return {kSearch, "Update", Json(search)};
}
inline Published UpdateReadyCheck(const SearchRecord& search) {
    return {kReadyCheck, "Update", ReadyCheckJson(search)};
}
inline Published Deleted(const std::string& uri) {
    return {uri, "Delete", "null"};
}

class SearchTest : public PluginTest {
protected:
    void SetUp() override {
        PluginTest::SetUp();
        lobby = Neighbourhood::Lobby(kLegacy, {12, 13});
        hood.gameflow.status.currentLobbyStatus = lobby;
        hood.gameflow.status.lastQueuedLobbyStatus = lobby;
        hood.gameflow.playerStatus.Set(hood.gameflow.status.ToValue());
        Start();
    }

    // The search the legacy queue's answer makes, as it is published first.
    static SearchRecord InQueue(std::int32_t queueId = kLegacy, double estimate = 60.0) {
        SearchRecord search;
        search.queueId = queueId;
        search.isCurrentlyInQueue = true;
        search.searchState = "Searching";
        search.estimatedQueueTime = estimate;
        return search;
    }

    // Enters the legacy queue through the route, as the client does, and forgets the calls.
    void EnterQueue() {
        hood.platform.AnswerAttach({{{kLegacy, 60000}}, {}});
        const RouteAnswer answer = Call("POST", kSearch);
        ASSERT_TRUE(answer.ok) << answer;
        ASSERT_EQ(State(), "Searching");
        host.Calls().Clear();
        hood.gameflow.events.ForgetRequests();
    }

    // Enters the queue, waits a second, and lets the gameflow reach its ready check.
    void ReachReadyCheck() {
        EnterQueue();
        host.AdvanceBy(1.0);
        hood.gameflow.MoveTo("ReadyCheck");
        ASSERT_EQ(State(), "ReadyCheck");
        host.Calls().Clear();
    }

    // The events published since the last call (or since the calls were cleared).
    std::vector<Published> Events() {
        std::vector<Published> events = PublishedEvents();
        host.Calls().Clear();
        return events;
    }

    bool TickTimerPending() const {
        const auto pending = host.PendingDescriptions();
        return std::find(pending.begin(), pending.end(), "Timer: arx-matchmaking.tick-search") !=
               pending.end();
    }

    LobbyRecord lobby;
};

}  // namespace Tavix::Client::Matchmaking::Testing
