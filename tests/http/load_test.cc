// Load on loopback, bounded in count: 10,000 requests from 8 clients on kept connections while
// 16 readers follow the event stream. No answer may be missing or outside the route table's
// statuses, and every reader must see every published event, in order. Prints the requests and
// events per second it reached, for the record; it asserts nothing about speed.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <set>
#include <thread>
#include <variant>

#include "http_fixture.h"

namespace Tavix::TestHost::Http {
namespace {

constexpr int kClients = 8;
constexpr int kReaders = 16;
constexpr int kRequests = 10'000;

class LoadTest : public HttpFrontTest {};

TEST_F(LoadTest, TenThousandRequestsWithSixteenReaders) {
    JoinLobby();
    StandingPlatformAnswers();
    // The feed's window holds the whole run: a reader that fell behind would be told what it
    // missed, and this test would fail on it.
    HttpFrontOptions options = Options();
    options.feedWindow = 1 << 18;
    Serve(options);
    std::mutex lock;
    std::vector<std::string> published;
    OnHost([&] {
        host.Calls().Observe([&](const RecordedCall& call) {
            const auto* event = std::get_if<RecordedEvent>(&call);
            if (event != nullptr && event->name == "OnJsonApiEvent") {
                std::lock_guard<std::mutex> guard(lock);
                published.push_back(event->payload.ToJson());
            }
        });
    });
    std::vector<std::unique_ptr<EventStreamReader>> readers;
    for (int i = 0; i < kReaders; ++i) {
        readers.push_back(std::make_unique<EventStreamReader>(front->Port(), "/events"));
        ASSERT_EQ(readers.back()->AwaitOpen(), 200);
    }

    // Each round enters the queue, reads the search and the ready check, and leaves again.
    const std::vector<std::pair<std::string, std::string>> round{{"POST", kSearch},
                                                                 {"GET", kSearch},
                                                                 {"GET", kReadyCheck},
                                                                 {"GET", kErrors},
                                                                 {"DELETE", kSearch}};
    const std::set<int> allowed{200, 204, 404, 500};
    std::atomic<int> unexpected{0};
    std::atomic<int> answered{0};
    const auto start = std::chrono::steady_clock::now();
    std::vector<std::thread> clients;
    for (int c = 0; c < kClients; ++c) {
        clients.emplace_back([&] {
            httplib::Client client = Client();
            client.set_keep_alive(true);
            for (int i = 0; i < kRequests / kClients; ++i) {
                const auto& [method, path] = round[static_cast<std::size_t>(i) % round.size()];
                const httplib::Result result = method == "GET"    ? client.Get(path)
                                               : method == "POST" ? client.Post(path)
                                                                  : client.Delete(path);
                if (!result || allowed.count(result->status) == 0) {
                    ++unexpected;
                }
                ++answered;
            }
        });
    }
    for (std::thread& client : clients) {
        client.join();
    }
    const double requestSeconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    OnHost([] {});
    std::vector<std::string> expected;
    {
        std::lock_guard<std::mutex> guard(lock);
        expected = published;
    }
    EXPECT_EQ(answered.load(), kRequests);
    EXPECT_EQ(unexpected.load(), 0);
    ASSERT_FALSE(expected.empty());

    for (const auto& reader : readers) {
        const std::vector<StreamEvent> events = reader->AwaitEvents(expected.size(), "");
        std::vector<std::string> seen;
        for (const StreamEvent& event : events) {
            EXPECT_EQ(event.name, "message") << event.data;
            seen.push_back(event.data);
        }
        EXPECT_EQ(seen, expected);
    }
    const double allSeconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    std::printf(
        "load: %d requests from %d clients in %.2f s, %.0f requests/s; %zu events to "
        "each of %d readers, %.0f events/s delivered\n",
        kRequests, kClients, requestSeconds, kRequests / requestSeconds, expected.size(), kReaders,
        static_cast<double>(expected.size()) * kReaders / allSeconds);
}

}  // namespace
}  // namespace Tavix::TestHost::Http
