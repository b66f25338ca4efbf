#pragma once
// What the host sees of a plug-in, as a readable timeline: host time, what the plug-in published,
// its machine's events and states, the requests it sent to its neighbours, and the lines of the
// host's own (what the platform does, what the client asks). It keeps what an expectation needs
// to look back at: the publications, the requests and the machine's state.
//
// It listens to the host's recording, so it hears every call of the module as it is made.

#include <cstdint>
#include <cstdio>
#include <deque>
#include <string>
#include <vector>

#include "core/host.h"
#include "sim/machine_state.h"

namespace Tavix::TestHost {

// One resource event the plug-in published on the general channel.
struct PublishedEvent {
    double seconds = 0.0;
    std::string uri;
    std::string eventType;
    Value data;
};

// One request the plug-in sent, with the host time it was sent at.
struct SentRequest {
    double seconds = 0.0;
    RecordedRequest request;
};

class Timeline {
public:
    // Time 0 is now.
    explicit Timeline(Host& host);
    ~Timeline();
    Timeline(const Timeline&) = delete;
    Timeline& operator=(const Timeline&) = delete;

    // Where the lines go; null keeps them to the timeline itself.
    void PrintTo(std::FILE* out) { out_ = out; }
    // Every log line of the plug-in, not only its machine's.
    void ShowLogLines(bool show) { showLogLines_ = show; }
    void PrintHeader();

    // A line of the host's own.
    void Note(const std::string& source, const std::string& text);
    // Ends the machine's pending line; due at the end of each run of the host.
    void Flush();

    double Seconds() const;
    const std::string& MachineState() const { return machine_.State(); }
    const std::vector<PublishedEvent>& Published() const { return published_; }
    const std::vector<SentRequest>& Requests() const { return requests_; }
    // The last lines, printed or not, oldest first.
    std::vector<std::string> RecentLines() const { return {recent_.begin(), recent_.end()}; }

    // One-line renderings, shared with whoever tells of the same values.
    static std::string Brief(const Value& value, std::size_t limit = 96);
    static std::string DescribePublication(const std::string& uri, const std::string& eventType,
                                           const Value& data);
    static std::string DescribeRequest(const RecordedRequest& request);

private:
    void Hear(const RecordedCall& call);
    void HearLog(const std::string& text);
    void FlushMachine();
    void Emit(const std::string& source, const std::string& text);
    // The machine's line is told when it is complete, at the time it began.
    void Emit(const std::string& source, const std::string& text, double seconds);

    Host& host_;
    std::int64_t start_;
    std::FILE* out_ = nullptr;
    bool showLogLines_ = false;

    MachineStateFollower machine_;
    std::string pendingEvent_;
    bool stateMoved_ = false;
    double machineAt_ = 0.0;
    std::string shownState_;

    std::vector<PublishedEvent> published_;
    std::vector<SentRequest> requests_;
    std::deque<std::string> recent_;
};

}  // namespace Tavix::TestHost
