// Many HTTP clients and event readers at once against the plug-in: every call into it is made on
// the host's thread, one at a time, whatever the server's threads do, and every reader sees every
// published event in order. Under ThreadSanitizer a call made from a server thread would also show
// as a race on the plug-in's unguarded state.

#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <thread>
#include <variant>

#include "http_fixture.h"

namespace Tavix::TestHost::Http {
namespace {

class ConcurrencyTest : public HttpFrontTest {
protected:
    // The host's thread from here on: each call the module makes is checked for its thread, and
    // each published resource event is kept in order.
    void Follow() {
        OnHost([this] {
            hostThread_ = std::this_thread::get_id();
            host.Calls().Observe([this](const RecordedCall& call) {
                if (std::this_thread::get_id() != hostThread_) {
                    ++elsewhere_;
                }
                if (const auto* event = std::get_if<RecordedEvent>(&call)) {
                    if (event->name == "OnJsonApiEvent") {
                        std::lock_guard<std::mutex> guard(publishedLock_);
                        published_.push_back(event->payload.ToJson());
                    }
                }
            });
        });
    }

    std::vector<std::string> Published() {
        std::lock_guard<std::mutex> guard(publishedLock_);
        return published_;
    }

    std::thread::id hostThread_;
    std::atomic<int> elsewhere_{0};
    std::mutex publishedLock_;
    std::vector<std::string> published_;
};

TEST_F(ConcurrencyTest, ClientsReadersAndThePlatformAtOnce) {
    JoinLobby();
    StandingPlatformAnswers();
    Serve();
    Follow();
    std::vector<std::unique_ptr<EventStreamReader>> readers;
    for (int i = 0; i < 4; ++i) {
        readers.push_back(std::make_unique<EventStreamReader>(
            front->Port(), i % 2 == 0 ? "/events" : "/events?host=1"));
        ASSERT_EQ(readers.back()->AwaitOpen(), 200);
    }

    const std::set<int> allowed{200, 204, 404, 500};
    std::atomic<int> unexpected{0};
    std::vector<std::thread> clients;
    for (int c = 0; c < 6; ++c) {
        clients.emplace_back([&] {
            httplib::Client client = Client();
            for (int i = 0; i < 40; ++i) {
                for (const httplib::Result& result :
                     {client.Post(kSearch), client.Get(kSearch), client.Get(kReadyCheck),
                      client.Post(kAccept), client.Delete(kSearch)}) {
                    if (!result || allowed.count(result->status) == 0) {
                        ++unexpected;
                    }
                }
            }
        });
    }
    std::thread platform([&] {
        for (int i = 0; i < 40; ++i) {
            loop.Run([&, i] {
                hood.gameflow.MoveTo(i % 2 == 0 ? "ReadyCheck" : "Matchmaking");
                host.AdvanceBy(0.5);
            });
        }
    });
    for (std::thread& client : clients) {
        client.join();
    }
    platform.join();
    OnHost([] {});

    EXPECT_EQ(unexpected.load(), 0);
    EXPECT_EQ(elsewhere_.load(), 0);
    const std::vector<std::string> published = Published();
    ASSERT_FALSE(published.empty());
    for (const auto& reader : readers) {
        std::vector<std::string> seen;
        for (const StreamEvent& event : reader->AwaitEvents(published.size())) {
            if (event.name == "message") {
                seen.push_back(event.data);
            }
        }
        EXPECT_EQ(seen, published);
    }
}

}  // namespace
}  // namespace Tavix::TestHost::Http
