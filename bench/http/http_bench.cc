// The HTTP front on loopback, with keep-alive connections.
//
// GetSearch: GET /arx-matchmaking/v1/search through the front (the request handed to the host's
// thread, the call entry, the value written as JSON, the answer handed back), against a
// cpp-httplib server in this binary answering the same JSON text from a constant: what the front
// adds to a plain server.
//
// EventStream_ours: resource events from the feed to a reader of GET /events, parsed as they
// arrive; reported as events per second (no reference: it is the figure a UI sees).

#include <benchmark/benchmark.h>
#include <httplib.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>

#include "core/host.h"
#include "core/module.h"
#include "frame/plugin_export.h"
#include "http/http_front.h"
#include "http/turn_loop.h"
#include "matchmaking/matchmaking_plugin.h"
#include "platform/clock.h"

namespace {

using namespace Tavix;
using namespace Tavix::TestHost;

constexpr const char* kSearch = "/arx-matchmaking/v1/search";

void LoadPlugin(Client::PluginLoadBlock* block) {
    Client::ConstructPlugin<Client::Matchmaking::MatchmakingPlugin>(*block, "arx-matchmaking");
}

// A search in a queue that needs no lobby (so that no neighbour is needed to hold it), with one
// error from an earlier dodge.
Client::Matchmaking::Api::MatchmakingSearchResource QueuedSearch() {
    Client::Matchmaking::Api::MatchmakingSearchResource search;
    search.queueId = 700;
    search.isCurrentlyInQueue = true;
    search.lobbyId = "0d9c8b7a-6f5e-4d3c-2b1a-0f9e8d7c6b5a";
    search.searchState = Client::Matchmaking::Api::MatchmakingSearchState::Searching;
    search.timeInQueue = 42.0f;
    search.estimatedQueueTime = 120.0f;
    search.errors = {{3, "QUEUE_DODGER", 4101, 150.0, "Dodged a ready check"}};
    return search;
}

// The plug-in in the test host with a search under way, behind the front on a free port, the
// host's turns on a thread of their own.
class ServedPlugin {
public:
    ServedPlugin() {
        Platform::SetClockSource(&Host::ReadClock, &host_);
        LoadResult loaded = LoadModule(host_, &LoadPlugin);
        module_ = std::move(loaded.module);
        front_ = std::make_unique<HttpFront>(loop_, *module_);
        module_->Attach();
        host_.RunUntilIdle();
        static_cast<Client::Matchmaking::MatchmakingPlugin*>(
            static_cast<Client::AppModule*>(module_->Block().module))
            ->AdoptSearch(QueuedSearch());
        host_.RunUntilIdle();
        started_ = !front_->Start().has_value();
        hostThread_ = std::thread([this] { loop_.RunTurns(); });
    }
    ~ServedPlugin() {
        front_->Stop();
        loop_.Stop();
        hostThread_.join();
        front_.reset();
        module_->Shutdown();
        module_.reset();
        Platform::ResetClockSource();
    }

    bool Started() const { return started_; }
    int Port() const { return front_->Port(); }
    HttpFront& Front() { return *front_; }

private:
    Host host_;
    std::unique_ptr<Module> module_;
    TurnLoop loop_{host_};
    std::unique_ptr<HttpFront> front_;
    std::thread hostThread_;
    bool started_ = false;
};

// GETs `path` on one keep-alive connection, once per iteration.
void GetOnOneConnection(benchmark::State& state, int port) {
    httplib::Client client("127.0.0.1", port);
    client.set_keep_alive(true);
    client.set_tcp_nodelay(true);
    std::size_t bytes = 0;
    for (auto _ : state) {
        const httplib::Result result = client.Get(kSearch);
        if (!result || result->status != 200) {
            state.SkipWithError(
                ("the GET failed: " + (result ? std::to_string(result->status) + " " + result->body
                                              : std::string("no answer")))
                    .c_str());
            break;
        }
        bytes += result->body.size();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(bytes));
}

void GetSearch_ours(benchmark::State& state) {
    ServedPlugin served;
    if (!served.Started()) {
        state.SkipWithError("the front did not start");
        return;
    }
    GetOnOneConnection(state, served.Port());
}
BENCHMARK(GetSearch_ours)->UseRealTime();

void GetSearch_httplib(benchmark::State& state) {
    // The front's own answer, taken once, is the constant the plain server sends.
    std::string body;
    {
        ServedPlugin served;
        httplib::Client client("127.0.0.1", served.Port());
        const httplib::Result result = client.Get(kSearch);
        if (!served.Started() || !result || result->status != 200) {
            state.SkipWithError("the front gave no search to copy");
            return;
        }
        body = result->body;
    }
    httplib::Server server;
    // As the front does: without it, small answers wait on the peer's delayed acknowledgement.
    server.set_tcp_nodelay(true);
    server.Get(kSearch, [&body](const httplib::Request&, httplib::Response& response) {
        response.set_content(body, "application/json");
    });
    const int port = server.bind_to_any_port("127.0.0.1");
    std::thread listener([&server] { server.listen_after_bind(); });
    GetOnOneConnection(state, port);
    server.stop();
    listener.join();
}
BENCHMARK(GetSearch_httplib)->UseRealTime();

void EventStream_ours(benchmark::State& state) {
    ServedPlugin served;
    if (!served.Started()) {
        state.SkipWithError("the front did not start");
        return;
    }
    const std::string event =
        R"({"uri":"/arx-matchmaking/v1/search","eventType":"Update","data":{"searchState":"Searching","timeInQueue":43.0}})";
    std::atomic<std::int64_t> received{0};
    std::atomic<bool> open{false};
    std::string carry;
    httplib::Client reader("127.0.0.1", served.Port());
    std::thread readerThread([&] {
        reader.Get(
            "/events", httplib::Headers{},
            [&](const httplib::Response&) {
                open = true;
                return true;
            },
            [&](const char* data, std::size_t size) {
                // Every event has one data line; a line's start may come in the chunk before.
                carry.append(data, size);
                std::int64_t events = 0;
                std::size_t at = 0;
                while ((at = carry.find("\ndata: ", at)) != std::string::npos) {
                    ++events;
                    at += 7;
                }
                carry.erase(0, carry.size() > 6 ? carry.size() - 6 : 0);
                received += events;
                return true;
            });
    });
    while (!open) {
        std::this_thread::yield();
    }
    const std::int64_t batch = state.range(0);
    std::int64_t sent = 0;
    for (auto _ : state) {
        for (std::int64_t i = 0; i < batch; ++i) {
            served.Front().Feed().Append(FeedKind::Resource, kSearch, event);
        }
        sent += batch;
        // Counted when the reader has them all, so that the time is the stream's, not the feed's.
        while (received.load() < sent) {
            std::this_thread::yield();
        }
    }
    state.SetItemsProcessed(sent);
    state.counters["events_per_second"] =
        benchmark::Counter(static_cast<double>(sent), benchmark::Counter::kIsRate);
    // Ends the stream, and with it the reader's GET.
    served.Front().Stop();
    readerThread.join();
}
BENCHMARK(EventStream_ours)->Arg(1)->Arg(64)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
