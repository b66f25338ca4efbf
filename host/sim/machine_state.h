#pragma once
// The state of the plug-in's search machine as a host sees it: from the lines the plug-in logs
// as it enters and leaves its states. Leaving a state without entering another (the end of a
// penalty, say) leaves its parent current.

#include <string>
#include <string_view>

namespace Tavix::TestHost {

class MachineStateFollower {
public:
    // `initial` is the state before the first line is seen: empty before the plug-in starts.
    explicit MachineStateFollower(std::string initial = "") : state_(std::move(initial)) {}

    // Takes one log line of the plug-in; true when it was an entry or exit line.
    bool Follow(std::string_view logText);
    // The state entered last, or the parent of the one left last; "?" after a state unknown here.
    const std::string& State() const { return state_; }

private:
    std::string state_;
};

}  // namespace Tavix::TestHost
