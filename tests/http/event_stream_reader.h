#pragma once
// A reader of an HTTP event stream (Server-Sent Events) on a thread of its own, for the tests of
// the HTTP front and of arx-host serving it: every event kept in order, heartbeats counted.

#include <httplib.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace Tavix::TestHost::Http {

// A bound on every wait of a test for something the server does: long enough for a sanitized
// build on a busy machine, short enough that a hang fails instead of stalling the suite.
inline constexpr std::chrono::seconds kPatience(20);

// One Server-Sent Event as a reader got it.
struct StreamEvent {
    std::string id;
    // "message" for a resource event.
    std::string name;
    std::string data;
};

// A reader of an event stream on a thread of its own: GET `target`, every event kept in order.
class EventStreamReader {
public:
    EventStreamReader(int port, std::string target, httplib::Headers headers = {})
        : client_("127.0.0.1", port) {
        client_.set_read_timeout(kPatience);
        thread_ = std::thread([this, target = std::move(target), headers] {
            const httplib::Result result = client_.Get(
                target, headers,
                [this](const httplib::Response& response) {
                    std::lock_guard<std::mutex> guard(lock_);
                    status_ = response.status;
                    connected_ = true;
                    changed_.notify_all();
                    return response.status == 200;
                },
                [this](const char* data, std::size_t size) {
                    Take(std::string_view(data, size));
                    std::lock_guard<std::mutex> guard(lock_);
                    return !stop_;
                });
            std::lock_guard<std::mutex> guard(lock_);
            if (result && !connected_) {
                status_ = result->status;
            }
            connected_ = true;
            ended_ = true;
            changed_.notify_all();
        });
    }
    ~EventStreamReader() {
        {
            std::lock_guard<std::mutex> guard(lock_);
            stop_ = true;
        }
        // Ends a read in progress; one that has not begun yet ends at the next heartbeat.
        client_.stop();
        thread_.join();
    }

    // Until the stream answered (and, when it was accepted, sent its first bytes); its status.
    int AwaitOpen() {
        std::unique_lock<std::mutex> lock(lock_);
        changed_.wait_for(lock, kPatience, [&] { return (connected_ && greeted_) || ended_; });
        return status_;
    }
    // Until `count` events of `name` (all events when empty) arrived or the stream ended.
    std::vector<StreamEvent> AwaitEvents(std::size_t count, const std::string& name = "message") {
        std::unique_lock<std::mutex> lock(lock_);
        changed_.wait_for(lock, kPatience, [&] { return Count(name) >= count || ended_; });
        return events_;
    }
    // Until the events so far satisfy `done` or the stream ended.
    template <typename Done>
    std::vector<StreamEvent> AwaitUntil(Done done) {
        std::unique_lock<std::mutex> lock(lock_);
        changed_.wait_for(lock, kPatience, [&] { return done(events_) || ended_; });
        return events_;
    }
    // Until an event whose data holds `text` arrived.
    std::vector<StreamEvent> AwaitData(const std::string& text) {
        return AwaitUntil([&](const std::vector<StreamEvent>& events) {
            for (const StreamEvent& event : events) {
                if (event.data.find(text) != std::string::npos) {
                    return true;
                }
            }
            return false;
        });
    }
    // Until a heartbeat comment arrived.
    bool AwaitHeartbeat() {
        std::unique_lock<std::mutex> lock(lock_);
        return changed_.wait_for(lock, kPatience, [&] { return heartbeats_ > 0 || ended_; }) &&
               heartbeats_ > 0;
    }
    // Until the server ended the stream.
    bool AwaitEnd() {
        std::unique_lock<std::mutex> lock(lock_);
        return changed_.wait_for(lock, kPatience, [&] { return ended_; });
    }
    std::vector<StreamEvent> Events() {
        std::lock_guard<std::mutex> guard(lock_);
        return events_;
    }

private:
    std::size_t Count(const std::string& name) const {
        std::size_t count = 0;
        for (const StreamEvent& event : events_) {
            count += name.empty() || event.name == name ? 1 : 0;
        }
        return count;
    }

    void Take(std::string_view data) {
        std::lock_guard<std::mutex> guard(lock_);
        greeted_ = true;
        pending_.append(data);
        std::size_t end;
        while ((end = pending_.find("\n\n")) != std::string::npos) {
            const std::string block = pending_.substr(0, end + 1);
            pending_.erase(0, end + 2);
            StreamEvent event{"", "message", ""};
            bool hasData = false;
            std::size_t start = 0;
            std::size_t lineEnd;
            while ((lineEnd = block.find('\n', start)) != std::string::npos) {
                const std::string line = block.substr(start, lineEnd - start);
                start = lineEnd + 1;
                if (line.rfind(": heartbeat", 0) == 0) {
                    ++heartbeats_;
                } else if (line.rfind("id: ", 0) == 0) {
                    event.id = line.substr(4);
                } else if (line.rfind("event: ", 0) == 0) {
                    event.name = line.substr(7);
                } else if (line.rfind("data: ", 0) == 0) {
                    event.data = line.substr(6);
                    hasData = true;
                }
            }
            if (hasData) {
                events_.push_back(std::move(event));
            }
        }
        changed_.notify_all();
    }

    std::mutex lock_;
    std::condition_variable changed_;
    std::string pending_;
    std::vector<StreamEvent> events_;
    std::size_t heartbeats_ = 0;
    int status_ = 0;
    bool connected_ = false;
    bool greeted_ = false;
    bool ended_ = false;
    bool stop_ = false;
    httplib::Client client_;
    std::thread thread_;
};

}  // namespace Tavix::TestHost::Http
