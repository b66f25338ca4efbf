#include "http/http_front.h"

#include <httplib.h>

#include <charconv>
#include <exception>

#include "http/api_document.h"
#include "http/listen_address.h"
#include "http/page.h"

namespace Tavix::TestHost {

namespace {

constexpr const char* kJson = "application/json";
// Requests on one connection before the server closes it: enough that a client that keeps its
// connection is never slowed by reconnecting.
constexpr std::size_t kKeepAliveRequests = 100'000;
// What a reader that reconnects waits before it tries again.
constexpr const char* kRetryPreamble = "retry: 1000\n\n";

// The reason phrases of the answers the server gives by itself.
std::string ReasonOf(int status) {
    switch (status) {
        case 400:
            return "Bad Request";
        case 404:
            return "Not Found";
        case 405:
            return "Method Not Allowed";
        case 413:
            return "Payload Too Large";
        case 414:
            return "URI Too Long";
        case 416:
            return "Range Not Satisfiable";
        case 500:
            return "Internal Server Error";
        default:
            return "HTTP status " + std::to_string(status);
    }
}

void Send(const HttpReplyText& reply, httplib::Response& response) {
    response.status = reply.status;
    for (const auto& [name, value] : reply.headers) {
        response.set_header(name, value);
    }
    if (!reply.contentType.empty() || !reply.body.empty()) {
        response.set_content(reply.body, reply.contentType);
    }
}

HttpRequestText RequestText(const httplib::Request& request) {
    HttpRequestText text;
    text.method = request.method;
    text.target = request.target;
    for (const auto& [name, value] : request.headers) {
        // The server adds these itself; they were never part of what the client sent.
        if (name == "REMOTE_ADDR" || name == "REMOTE_PORT" || name == "LOCAL_ADDR" ||
            name == "LOCAL_PORT") {
            continue;
        }
        text.headers.emplace_back(name, value);
    }
    text.body = request.body;
    return text;
}

std::uint64_t ParseEventId(const std::string& text) {
    std::uint64_t id = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), id);
    return error == std::errc() && end == text.data() + text.size() ? id : 0;
}

}  // namespace

// One open event stream: where it is in the feed and what it wants.
struct HttpFront::EventReader {
    std::uint64_t cursor = 0;
    FeedFilter filter;
    bool greeted = false;
    std::chrono::steady_clock::time_point lastWrite;
};

HttpFront::HttpFront(TurnLoop& loop, Module& module, HttpFrontOptions options)
    : loop_(loop),
      module_(module),
      options_(std::move(options)),
      functions_(module.Functions()),
      feed_(std::make_shared<EventFeed>(options_.feedWindow)) {
    loop_.GetHost().Calls().Observe([feed = feed_](const RecordedCall& call) { feed->Take(call); });
    loop_.AfterTurns([feed = feed_] { feed->Settle(); });
}

HttpFront::~HttpFront() {
    Stop();
}

void HttpFront::AddAction(HostAction action) {
    actions_.push_back(std::move(action));
}

std::optional<std::string> HttpFront::Start() {
    if (server_ != nullptr) {
        return "the HTTP front is started already";
    }
    if (!options_.allowRemote && !IsLoopbackAddress(options_.address)) {
        return options_.address +
               " is not a loopback address; the front serves other machines only when allowed "
               "to (--allow-remote)";
    }
    if (!options_.apiDocument.empty()) {
        ApiDocument document = WithFrontPaths(options_.apiDocument, actions_);
        if (!document.error.empty()) {
            return document.error;
        }
        servedDocument_ = std::move(document.json);
    }
    server_ = std::make_unique<httplib::Server>();
    const std::size_t threads = options_.workers + options_.maxEventReaders;
    server_->new_task_queue = [threads] { return new httplib::ThreadPool(threads); };
    server_->set_payload_max_length(options_.maxBodyBytes);
    server_->set_read_timeout(options_.ioTimeout);
    server_->set_write_timeout(options_.ioTimeout);
    server_->set_keep_alive_max_count(kKeepAliveRequests);
    server_->set_tcp_nodelay(true);

    const auto serve = [this](const httplib::Request& request, httplib::Response& response) {
        Serve(request, response);
    };
    // Every path of every method comes to Serve, which sorts them out without regular
    // expressions: the module's URL templates are the module's to match.
    server_->Get(".*", serve);
    server_->Post(".*", serve);
    server_->Put(".*", serve);
    server_->Patch(".*", serve);
    server_->Delete(".*", serve);
    server_->Options(".*", serve);
    // A request with neither a length nor a chunked coding has no body, but this server would
    // read one until the client closes the connection (curl -X POST sends such requests, and
    // would wait for the I/O timeout and get a 400): such a request is served before the server
    // reads anything more, with an empty body.
    server_->set_pre_routing_handler(
        [this](const httplib::Request& request, httplib::Response& response) {
            if (request.method == "GET" || request.method == "HEAD" ||
                request.has_header("Content-Length") || request.has_header("Transfer-Encoding")) {
                return httplib::Server::HandlerResponse::Unhandled;
            }
            Serve(request, response);
            return httplib::Server::HandlerResponse::Handled;
        });
    // The answers the server gives by itself (400 for a request it cannot read, 413, 414, 404
    // for a method it has no handlers for) get the same JSON body as the front's own.
    server_->set_error_handler(httplib::Server::HandlerWithResponse(
        [](const httplib::Request&, httplib::Response& response) {
            if (!response.body.empty()) {
                return httplib::Server::HandlerResponse::Unhandled;
            }
            Send(ErrorReply(response.status, ReasonOf(response.status)), response);
            return httplib::Server::HandlerResponse::Handled;
        }));
    server_->set_exception_handler(
        [](const httplib::Request&, httplib::Response& response, std::exception_ptr) {
            Send(ErrorReply(500, "the host failed while serving the request"), response);
        });

    if (options_.port == 0) {
        port_ = server_->bind_to_any_port(options_.address);
        if (port_ < 0) {
            port_ = 0;
        }
    } else if (server_->bind_to_port(options_.address, options_.port)) {
        port_ = options_.port;
    }
    if (port_ == 0) {
        server_.reset();
        return "cannot listen on " + options_.address + ":" + std::to_string(options_.port);
    }
    listener_ = std::thread([server = server_.get()] { server->listen_after_bind(); });
    return std::nullopt;
}

void HttpFront::Stop() {
    feed_->Close();
    if (server_ != nullptr) {
        server_->stop();
    }
    if (listener_.joinable()) {
        listener_.join();
    }
}

HttpReplyText HttpFront::OnHostThread(const std::function<HttpReplyText()>& work) {
    HttpReplyText reply;
    switch (loop_.Run([&] { reply = work(); }, options_.turnWait)) {
        case TurnLoop::Outcome::Done:
            return reply;
        case TurnLoop::Outcome::Full:
            return ErrorReply(503, "the host has too many requests waiting for a turn");
        case TurnLoop::Outcome::Closed:
            return ErrorReply(503, "the host is shutting down");
        case TurnLoop::Outcome::TimedOut:
            break;
    }
    return ErrorReply(503, "the host gave the request no turn in time");
}

HttpReplyText HttpFront::CallModule(const HttpRequestText& request) {
    const Client::ApiDescription* api = module_.Block().apiDescription;
    if (module_.IsShutDown() || api == nullptr) {
        return ErrorReply(503, "the plug-in is not running");
    }
    const ApiCall call = ToApiCall(request, module_.ClientId());
    const Client::HostFunctionRecord* record =
        FindFunctionRecord(*api, call.method, call.methodName, call.url);
    if (record == nullptr) {
        return NoFunctionReply(functions_, request);
    }
    return ToHttpReply(module_.CallRecord(*record, call));
}

HttpReplyText HttpFront::ActionList() const {
    std::vector<Value> list;
    for (const HostAction& action : actions_) {
        std::vector<Value> parameters;
        for (const auto& [name, fallback] : action.parameters) {
            parameters.push_back(
                Value::Map({{"name", Value::Text(name)}, {"default", Value::Text(fallback)}}));
        }
        list.push_back(Value::Map({{"method", Value::Text(action.method)},
                                   {"path", Value::Text(action.path)},
                                   {"title", Value::Text(action.title)},
                                   {"parameters", Value::List(std::move(parameters))}}));
    }
    HttpReplyText reply;
    reply.contentType = kJson;
    reply.body = Value::List(std::move(list)).ToJson();
    return reply;
}

void HttpFront::Serve(const httplib::Request& request, httplib::Response& response) {
    const std::string& path = request.path;
    const bool get = request.method == "GET" || request.method == "HEAD";
    if (get && path == "/") {
        response.set_content(PageHtml().data(), PageHtml().size(), "text/html; charset=utf-8");
        return;
    }
    if (get && path == "/events") {
        ServeEvents(request, response);
        return;
    }
    if (get && path == "/openapi.json") {
        if (servedDocument_.empty()) {
            Send(ErrorReply(404, "this host was given no API document"), response);
        } else {
            response.set_content(servedDocument_, kJson);
        }
        return;
    }
    if (get && path == "/sim") {
        Send(ActionList(), response);
        return;
    }
    for (const HostAction& action : actions_) {
        if (action.path == path && action.method == request.method) {
            HostAction::Parameters parameters;
            for (const auto& [name, fallback] : action.parameters) {
                parameters[name] =
                    request.has_param(name) ? request.get_param_value(name) : fallback;
            }
            Send(OnHostThread([&] { return action.run(parameters); }), response);
            return;
        }
    }
    const HttpRequestText text = RequestText(request);
    Send(OnHostThread([&] {
             HttpReplyText reply = CallModule(text);
             if (options_.answered) {
                 options_.answered(text, reply);
             }
             return reply;
         }),
         response);
}

void HttpFront::ServeEvents(const httplib::Request& request, httplib::Response& response) {
    if (readers_.fetch_add(1) >= options_.maxEventReaders) {
        readers_.fetch_sub(1);
        Send(ErrorReply(503, "too many event streams are open; at most " +
                                 std::to_string(options_.maxEventReaders)),
             response);
        return;
    }
    auto reader = std::make_shared<EventReader>();
    if (request.has_param("uri")) {
        reader->filter.uriPattern = request.get_param_value("uri");
    }
    const std::string host = request.get_param_value("host");
    reader->filter.hostView = host == "1" || host == "true";
    // A reader that reconnects goes on after the last event it saw, when the feed still has it.
    reader->cursor = request.has_header("Last-Event-ID")
                         ? ParseEventId(request.get_header_value("Last-Event-ID"))
                         : feed_->LastId();
    response.set_header("Cache-Control", "no-cache");
    response.set_chunked_content_provider(
        "text/event-stream",
        [this, reader](std::size_t, httplib::DataSink& sink) {
            std::string text;
            if (!reader->greeted) {
                reader->greeted = true;
                text = kRetryPreamble;
                const std::string state = feed_->LatestState();
                if (reader->filter.hostView && !state.empty()) {
                    text += "event: state\ndata: " + state + "\n\n";
                }
            } else {
                const EventFeed::Batch batch = feed_->After(reader->cursor, options_.heartbeat);
                if (batch.missed != 0) {
                    text += "event: missed\ndata: {\"missed\":" + std::to_string(batch.missed) +
                            "}\n\n";
                }
                for (const auto& entry : batch.entries) {
                    reader->cursor = entry->id;
                    if (reader->filter.Wants(*entry)) {
                        text += ServerSentEvent(*entry);
                    }
                }
                if (batch.closed && batch.entries.empty()) {
                    sink.done();
                    return true;
                }
                if (text.empty() &&
                    std::chrono::steady_clock::now() - reader->lastWrite < options_.heartbeat) {
                    return true;
                }
                if (text.empty()) {
                    text = ": heartbeat\n\n";
                }
            }
            reader->lastWrite = std::chrono::steady_clock::now();
            return sink.write(text.data(), text.size());
        },
        [this](bool) { readers_.fetch_sub(1); });
}

}  // namespace Tavix::TestHost
