#pragma once
// arx-host's HTTP front: a module's REST functions, its published events and the host's own
// actions served on a loopback address, for a UI developer to build against.
//
//   every function record      at its URL and method, forwarded to its call entry
//   GET /events                Server-Sent Events: each published resource event; ?uri= filters
//                              by a "*" pattern, ?host=1 adds the machine's state, the module's
//                              requests to neighbours and its log lines
//   GET /                      the page that shows all of it live
//   GET /openapi.json          the API document given
//   GET /sim                   the list of host actions; each is served at its own path
//
// The server's threads never touch the host: each request is handed to the TurnLoop and answered
// from the host's thread, one at a time. Everything is bounded: bodies (413 past the limit),
// the time a connection may stall (a slow client holds one worker, never the turn loop), the
// number of event readers (503 past it) and the requests waiting for a turn (503).

#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "core/module.h"
#include "http/api_forwarding.h"
#include "http/event_feed.h"
#include "http/host_action.h"
#include "http/turn_loop.h"

namespace httplib {
class Server;
struct Request;
struct Response;
}  // namespace httplib

namespace Tavix::TestHost {

struct HttpFrontOptions {
    std::string address = "127.0.0.1";
    // 0 takes any free port; Port() tells which.
    int port = 0;
    // Without it, an address that is not a loopback address is refused.
    bool allowRemote = false;
    std::size_t maxBodyBytes = 1 << 20;
    std::size_t maxEventReaders = 32;
    // Threads for requests, beside one for each event reader.
    std::size_t workers = 16;
    // A comment line on an event stream that had nothing else to send for this long.
    std::chrono::milliseconds heartbeat{15'000};
    // How long a connection may stall in the middle of a request or an answer.
    std::chrono::seconds ioTimeout{5};
    // How long a request waits for its turn before it is answered 503 and dropped.
    std::chrono::milliseconds turnWait{30'000};
    // Entries of the event feed kept for readers that fall behind or reconnect.
    std::size_t feedWindow = 8192;
    // The module's OpenAPI document as JSON text, served at /openapi.json with the front's own
    // paths added; 404 there when empty.
    std::string apiDocument;
    // Runs on the host's thread after each request for the module's functions, with its answer:
    // for a host that tells what its clients asked.
    std::function<void(const HttpRequestText& request, const HttpReplyText& reply)> answered;
};

class HttpFront {
public:
    // The host's thread: takes the module's function records and starts following what the
    // module does. `loop` and `module` must outlive the front.
    HttpFront(TurnLoop& loop, Module& module, HttpFrontOptions options = {});
    // Stops serving if it still does.
    ~HttpFront();
    HttpFront(const HttpFront&) = delete;
    HttpFront& operator=(const HttpFront&) = delete;

    // Before Start.
    void AddAction(HostAction action);

    // Binds and serves on threads of its own; the reason when it cannot.
    std::optional<std::string> Start();
    // The port it listens on, once started.
    int Port() const { return port_; }
    // Not on a server thread, and not from work running in the turn loop: ends every event
    // stream, stops serving, and waits for the server's threads.
    void Stop();

    EventFeed& Feed() { return *feed_; }
    // Event streams open now.
    std::size_t EventReaders() const { return readers_.load(); }

private:
    struct EventReader;

    void Serve(const httplib::Request& request, httplib::Response& response);
    void ServeEvents(const httplib::Request& request, httplib::Response& response);
    // Runs `work` on the host's thread; a 503 when no turn comes.
    HttpReplyText OnHostThread(const std::function<HttpReplyText()>& work);
    // The host's thread.
    HttpReplyText CallModule(const HttpRequestText& request);
    HttpReplyText ActionList() const;

    TurnLoop& loop_;
    Module& module_;
    const HttpFrontOptions options_;
    std::vector<FunctionInfo> functions_;
    std::vector<HostAction> actions_;
    // The API document as served, made when the front starts.
    std::string servedDocument_;
    // Shared with the host's recording, which keeps its observer for as long as it lives.
    std::shared_ptr<EventFeed> feed_;
    std::atomic<std::size_t> readers_{0};
    std::unique_ptr<httplib::Server> server_;
    std::thread listener_;
    int port_ = 0;
};

}  // namespace Tavix::TestHost
