#pragma once
// 32-bit FNV-1a, the hash of every name, identity and key in the frame, and the hash maps that
// use it: they start with 8 buckets at a maximum load factor of 1.0.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>

namespace Tavix::Client {

inline constexpr std::uint32_t kFnv1aBasis = 0x811C9DC5u;
inline constexpr std::uint32_t kFnv1aPrime = 16777619u;

constexpr std::uint32_t Fnv1a(const void* data, std::size_t size,
                              std::uint32_t hash = kFnv1aBasis) {
    const auto* bytes = static_cast<const unsigned char*>(data);
    for (std::size_t i = 0; i < size; ++i) {
        hash = (hash ^ bytes[i]) * kFnv1aPrime;
    }
    return hash;
}

constexpr std::uint32_t Fnv1a(std::string_view text) {
    std::uint32_t hash = kFnv1aBasis;
    std::size_t i = 0;
    // Each step waits for the one before, so unrolling saves no latency; it leaves fewer
    // instructions in flight, and the work around the hash overlaps it better.
    for (; i + 4 <= text.size(); i += 4) {
        hash = (hash ^ static_cast<unsigned char>(text[i])) * kFnv1aPrime;
        hash = (hash ^ static_cast<unsigned char>(text[i + 1])) * kFnv1aPrime;
        hash = (hash ^ static_cast<unsigned char>(text[i + 2])) * kFnv1aPrime;
        hash = (hash ^ static_cast<unsigned char>(text[i + 3])) * kFnv1aPrime;
    }
    for (; i < text.size(); ++i) {
        hash = (hash ^ static_cast<unsigned char>(text[i])) * kFnv1aPrime;
    }
    return hash;
}

// Strings hash their bytes; integers hash the bytes of their little-endian representation.
struct Fnv1aHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const { return Fnv1a(text); }
    std::size_t operator()(const std::string& text) const { return Fnv1a(text); }
    std::size_t operator()(const char* text) const { return Fnv1a(std::string_view(text)); }
    std::size_t operator()(std::uint64_t key) const { return Fnv1a(&key, sizeof key); }
    std::size_t operator()(std::int32_t key) const { return Fnv1a(&key, sizeof key); }
    std::size_t operator()(std::uint32_t key) const { return Fnv1a(&key, sizeof key); }
    // Any other pointer hashes the bytes of its address.
    std::size_t operator()(const void* key) const { return Fnv1a(&key, sizeof key); }
};

inline constexpr std::size_t kFrameHashMapBuckets = 8;

template <typename Key, typename Value>
class FrameHashMap : public std::unordered_map<Key, Value, Fnv1aHash, std::equal_to<>> {
    using Base = std::unordered_map<Key, Value, Fnv1aHash, std::equal_to<>>;

public:
    FrameHashMap() : Base(kFrameHashMapBuckets) {}

    // Clearing a frame table also gives back its buckets.
    void Reset() {
        Base fresh(kFrameHashMapBuckets);
        this->swap(fresh);
    }
};

}  // namespace Tavix::Client
