#include "sim/machine_state.h"

#include <map>

namespace Tavix::TestHost {

namespace {

constexpr std::string_view kEntering = "Matchmaking: entering state '";
constexpr std::string_view kExiting = "Matchmaking: exiting state '";

// The name between the prefix and the closing quote, or nothing when the line is not one of them.
std::string_view NameAfter(std::string_view text, std::string_view prefix) {
    if (!text.starts_with(prefix) || !text.ends_with('\'')) {
        return {};
    }
    return text.substr(prefix.size(), text.size() - prefix.size() - 1);
}

}  // namespace

bool MachineStateFollower::Follow(std::string_view logText) {
    static const std::map<std::string, std::string, std::less<>> kParents{
        {"Matchmaking", ""},          {"Available", "Matchmaking"}, {"Penalized", "Available"},
        {"Searching", "Matchmaking"}, {"Matched", "Matchmaking"},   {"ReadyCheck", "Matched"},
        {"WaitingForGame", "Matched"}};
    if (const std::string_view entered = NameAfter(logText, kEntering); !entered.empty()) {
        state_ = std::string(entered);
        return true;
    }
    if (const std::string_view left = NameAfter(logText, kExiting); !left.empty()) {
        const auto found = kParents.find(left);
        state_ = found != kParents.end() ? found->second : "?";
        return true;
    }
    return false;
}

}  // namespace Tavix::TestHost
