#include "arx/host_boundary.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <set>
#include <vector>

#include "frame/host_value.h"
#include "log/memory.h"

namespace Tavix::Client {
namespace {

// Replaces the process's allocator for one test: every block it hands out is remembered, so a
// test can tell which were released, and a release of anything else is caught instead of
// corrupting the heap.
class AllocatorWatch {
public:
    AllocatorWatch() : previous_(InstalledAllocatorHooks()) {
        AllocatorHooks hooks{};
        hooks.allocate = [](std::size_t size, void* context) {
            void* block = std::malloc(size == 0 ? 1 : size);
            static_cast<AllocatorWatch*>(context)->live_.insert(block);
            return block;
        };
        hooks.duplicate = [](const char* text, void* context) {
            const std::size_t size = std::strlen(text) + 1;
            auto* copy = static_cast<char*>(std::malloc(size));
            std::memcpy(copy, text, size);
            static_cast<AllocatorWatch*>(context)->live_.insert(copy);
            return copy;
        };
        hooks.release = [](void* pointer, void* context) {
            auto& watch = *static_cast<AllocatorWatch*>(context);
            if (pointer == nullptr) {
                return;
            }
            if (watch.live_.erase(pointer) == 0) {
                watch.foreign_.push_back(pointer);
                return;
            }
            std::free(pointer);
        };
        hooks.context = this;
        InstallAllocatorHooks(hooks);
    }
    ~AllocatorWatch() {
        InstallAllocatorHooks(previous_);
        for (void* block : live_) {
            std::free(block);
        }
    }

    const std::set<void*>& Live() const { return live_; }
    const std::vector<void*>& Foreign() const { return foreign_; }

private:
    AllocatorHooks previous_;
    std::set<void*> live_;
    std::vector<void*> foreign_;
};

HostValue Zero() {
    HostValue value;
    std::memset(static_cast<void*>(&value), 0, sizeof value);
    return value;
}

bool IsZero(const HostValue& value) {
    static const unsigned char zero[sizeof(HostValue)] = {};
    return std::memcmp(&value, zero, sizeof value) == 0;
}

HostValue Signed(std::int64_t number) {
    HostValue value = Zero();
    value.tag = kHostValueSigned;
    value.payload.signedValue = number;
    return value;
}

HostValue OwnedText(const char* text) {
    HostValue value = Zero();
    value.tag = kHostValueOwnedString;
    value.payload.text.data = DuplicateText(text);
    value.payload.text.length = static_cast<std::uint32_t>(std::strlen(text));
    return value;
}

HostValue Collection(std::vector<HostValue> items) {
    HostValue value = Zero();
    value.tag = kHostValueCollection;
    auto* array = static_cast<HostValue*>(Allocate(sizeof(HostValue) * items.size()));
    for (std::size_t i = 0; i < items.size(); ++i) {
        array[i] = items[i];
    }
    value.payload.collection.items = array;
    value.payload.collection.count = static_cast<std::uint32_t>(items.size());
    return value;
}

TEST(ReleaseHostValue, FreesOwnedPartsAndLeavesBorrowedOnes) {
    AllocatorWatch watch;
    static const char borrowedText[] = "borrowed";
    static const unsigned char borrowedBytes[3] = {1, 2, 3};

    HostValue borrowedString = Zero();
    borrowedString.tag = kHostValueBorrowedString;
    borrowedString.payload.text = {borrowedText, 8};
    HostValue borrowedBlob = Zero();
    borrowedBlob.tag = kHostValueBorrowedBlob;
    borrowedBlob.payload.blob = {borrowedBytes, 3};
    HostValue ownedBlob = Zero();
    ownedBlob.tag = kHostValueOwnedBlob;
    ownedBlob.payload.blob = {Allocate(5), 5};
    HostValue flag = Zero();
    flag.tag = kHostValueBool;
    flag.payload.boolean = 1;
    HostValue real = Zero();
    real.tag = kHostValueFloat;
    real.payload.floatValue = 2.5;
    HostValue whole = Zero();
    whole.tag = kHostValueUnsigned;
    whole.payload.unsignedValue = ~0ull;

    // A structure with one owned and one borrowed key, holding everything else.
    auto* entries = static_cast<HostMapEntry*>(Allocate(sizeof(HostMapEntry) * 2));
    entries[0].key = DuplicateText("owned key");
    entries[0].keyOwned = 1;
    entries[0].value = Collection({borrowedString, borrowedBlob, ownedBlob, OwnedText("owned"),
                                   flag, real, whole, Signed(-1), Zero()});
    entries[1].key = "borrowed key";
    entries[1].keyOwned = 0;
    entries[1].value = Collection({});
    HostValue root = Zero();
    root.tag = kHostValueStructure;
    root.payload.structure = {entries, 2};
    ASSERT_EQ(watch.Live().size(), 6u);

    ReleaseHostValue(root);

    EXPECT_TRUE(watch.Live().empty()) << watch.Live().size() << " owned blocks were not freed";
    EXPECT_TRUE(watch.Foreign().empty()) << "a borrowed string, blob or key was freed";
    EXPECT_TRUE(IsZero(root));
}

TEST(ReleaseHostValue, EachTagAloneEndsZeroed) {
    AllocatorWatch watch;
    static const char text[] = "t";
    for (std::uint32_t tag = kHostValueNone; tag <= kHostValueStructure + 1; ++tag) {
        HostValue value = Zero();
        value.tag = tag;
        switch (tag) {
            case kHostValueBorrowedString:
            case kHostValueBorrowedBlob:
                value.payload.text = {text, 1};
                break;
            case kHostValueOwnedString:
            case kHostValueOwnedBlob:
                value.payload.text = {static_cast<const char*>(Allocate(1)), 1};
                break;
            case kHostValueCollection:
                value = Collection({Signed(1)});
                break;
            case kHostValueStructure: {
                auto* entry = static_cast<HostMapEntry*>(Allocate(sizeof(HostMapEntry)));
                *entry = {"k", Signed(2), 0};
                value.payload.structure = {entry, 1};
                break;
            }
            default:
                value.payload.unsignedValue = 0x0102030405060708ull;
                break;
        }
        ReleaseHostValue(value);
        EXPECT_TRUE(IsZero(value)) << "tag " << tag;
    }
    EXPECT_TRUE(watch.Live().empty());
    EXPECT_TRUE(watch.Foreign().empty());
}

TEST(ReleaseHostValue, ContainersWithNullArraysFreeNothing) {
    AllocatorWatch watch;
    HostValue list = Zero();
    list.tag = kHostValueCollection;
    list.payload.collection = {nullptr, 1000};
    HostValue map = Zero();
    map.tag = kHostValueStructure;
    map.payload.structure = {nullptr, 7};
    HostValue text = Zero();
    text.tag = kHostValueOwnedString;
    text.payload.text = {nullptr, 3};

    ReleaseHostValue(list);
    ReleaseHostValue(map);
    ReleaseHostValue(text);

    EXPECT_TRUE(IsZero(list) && IsZero(map) && IsZero(text));
    EXPECT_TRUE(watch.Foreign().empty());
}

// Far deeper than a recursive release could go on a default thread stack.
TEST(ReleaseHostValue, DeepTreeDoesNotExhaustTheStack) {
    AllocatorWatch watch;
    constexpr int kDepth = 300'000;
    HostValue root = OwnedText("leaf");
    for (int level = 0; level < kDepth; ++level) {
        if (level % 2 == 0) {
            root = Collection({Signed(level), root});
        } else {
            auto* entry = static_cast<HostMapEntry*>(Allocate(sizeof(HostMapEntry)));
            *entry = {DuplicateText("next"), root, 1};
            HostValue map = Zero();
            map.tag = kHostValueStructure;
            map.payload.structure = {entry, 1};
            root = map;
        }
    }

    ReleaseHostValue(root);

    EXPECT_TRUE(watch.Live().empty());
    EXPECT_TRUE(IsZero(root));
}

// A host written against the byte offsets alone must read what the module wrote through fields.
TEST(HostBoundaryLayout, RecordsReadBackFromRawOffsets) {
    static const char key[] = "key";
    static const char text[] = "text";
    HostMapEntry entries[2];
    std::memset(static_cast<void*>(entries), 0, sizeof entries);
    entries[1].key = key;
    entries[1].value.tag = kHostValueBorrowedString;
    entries[1].value.payload.text = {text, 4};
    entries[1].keyOwned = 1;

    const auto* bytes = reinterpret_cast<const unsigned char*>(entries);
    const unsigned char* second = bytes + 25;
    const char* keyRead = nullptr;
    const char* textRead = nullptr;
    std::uint32_t tag = 0;
    std::uint32_t length = 0;
    std::memcpy(&keyRead, second + 0, 8);
    std::memcpy(&tag, second + 8, 4);
    std::memcpy(&textRead, second + 12, 8);
    std::memcpy(&length, second + 20, 4);
    EXPECT_EQ(keyRead, key);
    EXPECT_EQ(tag, kHostValueBorrowedString);
    EXPECT_EQ(textRead, text);
    EXPECT_EQ(length, 4u);
    EXPECT_EQ(second[24], 1);

    HostResponse response;
    std::memset(static_cast<void*>(&response), 0, sizeof response);
    response.status = 404;
    response.streamSize = 77;
    response.errorText = text;
    const auto* raw = reinterpret_cast<const unsigned char*>(&response);
    std::uint32_t status = 0;
    std::uint32_t streamSize = 0;
    const char* error = nullptr;
    std::memcpy(&status, raw + 30, 4);
    std::memcpy(&streamSize, raw + 70, 4);
    std::memcpy(&error, raw + 16, 8);
    EXPECT_EQ(status, 404u);
    EXPECT_EQ(streamSize, 77u);
    EXPECT_EQ(error, text);
}

}  // namespace
}  // namespace Tavix::Client
