#pragma once

#include <cstdint>
#include <cstring>
#include <string>

namespace Tavix::Hsm::Internal {

// Whether two events are the same event: `==`, except for strings, below.
template <typename Event>
struct EventEquality {
    static bool Equal(const Event& left, const Event& right) { return left == right; }
};

// Event names are a few dozen bytes that mostly share a long prefix ("MATCHMAKING_EVENT."), so
// a match compares every byte. Eight at a time, inline, beats calling the library's comparison
// on every row that has the right length.
inline bool SameBytes(const char* left, const char* right, std::size_t size) {
    if (size < sizeof(std::uint64_t)) {
        for (std::size_t i = 0; i < size; ++i) {
            if (left[i] != right[i]) {
                return false;
            }
        }
        return true;
    }
    std::uint64_t leftWord = 0;
    std::uint64_t rightWord = 0;
    const std::size_t lastWord = size - sizeof(std::uint64_t);
    for (std::size_t offset = 0; offset < lastWord; offset += sizeof(std::uint64_t)) {
        std::memcpy(&leftWord, left + offset, sizeof leftWord);
        std::memcpy(&rightWord, right + offset, sizeof rightWord);
        if (leftWord != rightWord) {
            return false;
        }
    }
    // The last word may overlap the one before it; comparing bytes twice is harmless.
    std::memcpy(&leftWord, left + lastWord, sizeof leftWord);
    std::memcpy(&rightWord, right + lastWord, sizeof rightWord);
    return leftWord == rightWord;
}

template <>
struct EventEquality<std::string> {
    static bool Equal(const std::string& left, const std::string& right) {
        return left.size() == right.size() && SameBytes(left.data(), right.data(), left.size());
    }
};

}  // namespace Tavix::Hsm::Internal
