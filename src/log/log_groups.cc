#include "log/log_groups.h"

#include <atomic>
#include <cstring>

namespace Tavix::Client {
namespace {

// "LOC" is part of the constant table rather than registered by a static initialiser, so that it
// has bit 8 whatever order the process's initialisers run in.
char groupNames[kLogGroupCapacity][4] = {
    "DBG", "GEN", "XTR", "PRF", "MEM", "DSK", "NET", "TST", "LOC", "???", "???", "???", "???",
    "???", "???", "???", "???", "???", "???", "???", "???", "???", "???", "???", "???", "???",
    "???", "???", "???", "???", "???", "???", "???", "???", "???", "???", "???", "???", "???",
    "???", "???", "???", "???", "???", "???", "???", "???", "???", "???", "???", "???", "???",
    "???", "???", "???", "???", "???", "???", "???", "???", "???", "???", "???", "???"};

// The highest index in use.
std::atomic<int> highestGroup{8};

}  // namespace

void RegisterGroup(LogGroupMask* mask, const char* name) {
    if (mask == nullptr) {
        return;
    }
    *mask = 0;
    if (name == nullptr) {
        return;
    }
    const int highest = highestGroup.load(std::memory_order_acquire);
    for (int index = 0; index <= highest; ++index) {
        if (std::strncmp(groupNames[index], name, 3) == 0) {
            *mask = LogGroupMask{1} << index;
            return;
        }
    }
    int current = highest;
    do {
        if (current + 1 >= static_cast<int>(kLogGroupCapacity)) {
            return;
        }
    } while (!highestGroup.compare_exchange_weak(current, current + 1, std::memory_order_acq_rel));
    const int index = current + 1;
    std::strncpy(groupNames[index], name, 3);
    groupNames[index][3] = '\0';
    *mask = LogGroupMask{1} << index;
}

std::size_t GroupNames(char* buffer, std::size_t size, LogGroupMask mask) {
    if (buffer == nullptr || size == 0) {
        return 0;
    }
    std::size_t length = 0;
    auto put = [&](char character) {
        if (length + 1 < size) {
            buffer[length++] = character;
        }
    };
    bool first = true;
    for (std::size_t index = 0; index < kLogGroupCapacity; ++index) {
        if ((mask & (LogGroupMask{1} << index)) == 0) {
            continue;
        }
        if (!first) {
            put(';');
        }
        first = false;
        for (const char* at = groupNames[index]; *at != '\0'; ++at) {
            put(*at);
        }
    }
    buffer[length] = '\0';
    return length;
}

}  // namespace Tavix::Client
