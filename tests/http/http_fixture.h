#pragma once
// The matchmaking plug-in behind the HTTP front, as arx-host serves it: the plug-in in the test
// host among its scripted neighbours, on the virtual clock, with the host's turns running on a
// thread of their own and the front on a free loopback port. A test talks to it over real HTTP,
// and does what the platform would through OnHost, which runs on the host's thread.

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <httplib.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "core/host.h"
#include "core/module.h"
#include "frame/plugin_export.h"
#include "http/event_stream_reader.h"
#include "http/http_front.h"
#include "http/turn_loop.h"
#include "matchmaking/matchmaking_plugin.h"
#include "neighbours/neighbours.h"
#include "neighbours/reply.h"
#include "platform/clock.h"

namespace Tavix::TestHost::Http {

inline constexpr const char* kSearch = "/arx-matchmaking/v1/search";
inline constexpr const char* kReadyCheck = "/arx-matchmaking/v1/ready-check";
inline constexpr const char* kAccept = "/arx-matchmaking/v1/ready-check/accept";
inline constexpr const char* kDecline = "/arx-matchmaking/v1/ready-check/decline";
inline constexpr const char* kErrors = "/arx-matchmaking/v1/search/errors";

inline void LoadMatchmakingPlugin(Client::PluginLoadBlock* block) {
    Client::ConstructPlugin<Client::Matchmaking::MatchmakingPlugin>(*block, "arx-matchmaking");
}

// A client that writes bytes of its own on a loopback connection: for requests a well-behaved
// client would not send.
class RawConnection {
public:
    explicit RawConnection(int port) {
        socket_ = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        connected_ = ::connect(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
        timeval patience{};
        patience.tv_sec = kPatience.count();
        ::setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    }
    ~RawConnection() { ::close(socket_); }
    RawConnection(const RawConnection&) = delete;
    RawConnection& operator=(const RawConnection&) = delete;

    bool Connected() const { return connected_; }
    bool Send(const std::string& bytes) {
        return ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL) ==
               static_cast<ssize_t>(bytes.size());
    }
    // Reads until the first line of an answer is there; the line, without its end.
    std::string ReadStatusLine() {
        std::string text;
        char buffer[4096];
        ssize_t count;
        while (text.find("\r\n") == std::string::npos &&
               (count = ::recv(socket_, buffer, sizeof buffer, 0)) > 0) {
            text.append(buffer, static_cast<std::size_t>(count));
        }
        return text.substr(0, text.find("\r\n"));
    }
    // Reads until the server closes the connection (or the patience runs out).
    std::string ReadToEnd() {
        std::string text;
        char buffer[4096];
        ssize_t count;
        while ((count = ::recv(socket_, buffer, sizeof buffer, 0)) > 0) {
            text.append(buffer, static_cast<std::size_t>(count));
        }
        return text;
    }

private:
    int socket_ = -1;
    bool connected_ = false;
};

class HttpFrontTest : public ::testing::Test {
protected:
    void SetUp() override { Platform::SetClockSource(&Host::ReadClock, &host); }

    void TearDown() override {
        StopServing();
        module.reset();
        Platform::ResetClockSource();
    }

    // A lobby of three in the legacy queue, with the player as its leader.
    void JoinLobby() {
        const LobbyRecord lobby = Neighbourhood::Lobby(Neighbourhood::kLegacyQueue, {12, 13});
        hood.gameflow.status.currentLobbyStatus = lobby;
        hood.gameflow.status.lastQueuedLobbyStatus = lobby;
        hood.gameflow.playerStatus.Set(hood.gameflow.status.ToValue());
    }

    // The platform takes the party into the legacy queue, cancels and accepts, every time.
    void StandingPlatformAnswers() {
        const auto always = [this](const char* service, const char* method, const char* type,
                                   Value body) {
            hood.platform.lcds.AnswerAlways(
                service, method, [type, body](const LcdsInvocation&, Response& response) {
                    Reply::Answer(Value::Map({{"typeName", Value::Text(type)}, {"body", body}}))
                        .Fill(response);
                });
        };
        SearchingForMatchRecord joined;
        joined.joinedQueues.push_back({Neighbourhood::kLegacyQueue, 60'000});
        always("matchmakerService", "attachToQueue", kSearchingForMatchClass, joined.ToValue());
        always("matchmakerService", "cancelFromQueueIfPossible", "java.lang.Boolean",
               Value::Bool(true));
        always("gameService", "acceptPoppedGame", "", Value::None());
        for (ScriptedRoute* route : {&hood.gameflow.events, &hood.gameflow.dodges}) {
            route->Always(Reply::Answer());
        }
    }

    // Loads and attaches the plug-in, starts the front, and hands the host to its own thread.
    // Everything of the host is the host thread's from here on: reach it through OnHost.
    void Serve(HttpFrontOptions options = Options(),
               Client::PluginExportFunction exportFunction = &LoadMatchmakingPlugin) {
        LoadResult loaded = LoadModule(host, exportFunction);
        ASSERT_TRUE(loaded.module) << loaded.error;
        module = std::move(loaded.module);
        Configure(*module, options);
        // Made before the module attaches, so that the front sees all it does from its start.
        front = std::make_unique<HttpFront>(loop, *module, std::move(options));
        ASSERT_TRUE(module->Attach());
        host.RunUntilIdle();
        Prepare(*front);
        const std::optional<std::string> error = front->Start();
        ASSERT_FALSE(error) << *error;
        hostThread = std::thread([this] { loop.RunTurns(); });
    }

    // Short heartbeats, so that readers notice soon when a test is done with them.
    static HttpFrontOptions Options() {
        HttpFrontOptions options;
        options.heartbeat = std::chrono::milliseconds(100);
        return options;
    }

    // Before the front is made, with the module loaded and not attached yet.
    virtual void Configure(Module&, HttpFrontOptions&) {}
    // Before the front starts: a test adds its host actions here.
    virtual void Prepare(HttpFront&) {}

    void StopServing() {
        if (front != nullptr) {
            front->Stop();
        }
        loop.Stop();
        if (hostThread.joinable()) {
            hostThread.join();
        }
        front.reset();
    }

    template <typename Work>
    void OnHost(Work&& work) {
        ASSERT_EQ(loop.Run(std::forward<Work>(work)), TurnLoop::Outcome::Done);
    }

    httplib::Client Client() const {
        httplib::Client client("127.0.0.1", front->Port());
        client.set_read_timeout(kPatience);
        return client;
    }

    Host host;
    Neighbourhood hood{host};
    std::unique_ptr<Module> module;
    TurnLoop loop{host};
    std::unique_ptr<HttpFront> front;
    std::thread hostThread;
};

}  // namespace Tavix::TestHost::Http
