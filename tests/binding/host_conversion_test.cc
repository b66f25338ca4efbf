#include "binding/host_conversion.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "binding/binding_string.h"
#include "binding/registry.h"
#include "binding/value_visitor.h"
#include "frame/host_value.h"
#include "log/memory.h"

namespace Tavix::Client {
namespace {

enum class Colour : std::int32_t { Red = 1, Green = 2 };

std::uint64_t LiveBytes() {
    AllocationCounterValues counters{};
    ReadCounters(&counters);
    return counters.bytesAllocated - counters.bytesFreed;
}

std::uint64_t LiveAllocations() {
    AllocationCounterValues counters{};
    ReadCounters(&counters);
    return counters.allocations - counters.frees;
}

// Frees what ToHostValue built, the way the host does: by the tags and the owned marks.
void FreeHostValue(HostValue& value) {
    switch (value.tag) {
        case kHostValueOwnedString:
            Release(const_cast<char*>(value.payload.text.data));
            break;
        case kHostValueOwnedBlob:
            Release(const_cast<void*>(value.payload.blob.data));
            break;
        case kHostValueCollection:
            for (std::uint32_t i = 0; i < value.payload.collection.count; ++i) {
                FreeHostValue(value.payload.collection.items[i]);
            }
            Release(value.payload.collection.items);
            break;
        case kHostValueStructure:
            for (std::uint32_t i = 0; i < value.payload.structure.count; ++i) {
                HostMapEntry& entry = value.payload.structure.entries[i];
                if (entry.keyOwned != 0) {
                    Release(const_cast<char*>(entry.key));
                }
                FreeHostValue(entry.value);
            }
            Release(value.payload.structure.entries);
            break;
        default:
            break;
    }
    std::memset(static_cast<void*>(&value), 0, sizeof value);
}

BindingValue EveryKind() {
    BindingValue value;
    value.Field("empty");
    value.Field("bool").SetBool(true);
    value.Field("signed").SetSigned(-3);
    value.Field("unsigned").SetUnsigned(UINT64_MAX);
    value.Field("float").SetFloat(0.5);
    value.Field("string").SetString("text");
    value.Field("emptyString").SetString("");
    value.Field("blob").SetBlob(std::vector<std::uint8_t>{0, 255});
    value.Field("emptyBlob").SetBlob(std::vector<std::uint8_t>{});
    value.Field("list").At(1).SetSigned(2);
    value.Field("list").At(2).MakeStructure();
    value.Field("nested").Field("deeper").SetString("x");
    return value;
}

TEST(ToHostValue, WritesEveryKindWithOwnedStorage) {
    HostValue host{};
    ToHostValue(EveryKind(), host, nullptr);
    ASSERT_EQ(+host.tag, kHostValueStructure);
    ASSERT_EQ(+host.payload.structure.count, 11u);
    const HostMapEntry* entries = host.payload.structure.entries;
    // Name order, every key owned.
    const char* expected[] = {"blob", "bool",   "empty",  "emptyBlob", "emptyString", "float",
                              "list", "nested", "signed", "string",    "unsigned"};
    for (std::size_t i = 0; i < 11; ++i) {
        EXPECT_STREQ(entries[i].key, expected[i]) << i;
        EXPECT_EQ(+entries[i].keyOwned, 1);
    }
    EXPECT_EQ(+entries[0].value.tag, kHostValueOwnedBlob);
    EXPECT_EQ(+entries[0].value.payload.blob.size, 2u);
    EXPECT_EQ(static_cast<const std::uint8_t*>(entries[0].value.payload.blob.data)[1], 255);
    EXPECT_EQ(+entries[1].value.tag, kHostValueBool);
    EXPECT_EQ(+entries[1].value.payload.boolean, 1);
    EXPECT_EQ(+entries[2].value.tag, kHostValueNone);
    EXPECT_EQ(+entries[4].value.tag, kHostValueOwnedString);
    EXPECT_STREQ(entries[4].value.payload.text.data, "");
    EXPECT_EQ(+entries[6].value.tag, kHostValueCollection);
    ASSERT_EQ(+entries[6].value.payload.collection.count, 3u);
    EXPECT_EQ(+entries[6].value.payload.collection.items[0].tag, kHostValueNone);
    EXPECT_EQ(+entries[6].value.payload.collection.items[1].payload.signedValue, 2);
    EXPECT_EQ(+entries[6].value.payload.collection.items[2].tag, kHostValueStructure);
    EXPECT_EQ(+entries[9].value.tag, kHostValueOwnedString);
    EXPECT_STREQ(entries[9].value.payload.text.data, "text");
    EXPECT_EQ(+entries[9].value.payload.text.length, 4u);
    EXPECT_EQ(+entries[10].value.tag, kHostValueUnsigned);
    EXPECT_EQ(+entries[10].value.payload.unsignedValue, UINT64_MAX);
    FreeHostValue(host);
}

TEST(ToHostValue, TheHostFreesEveryOwnedName) {
    const BindingValue value = EveryKind();
    const std::uint64_t bytes = LiveBytes();
    const std::uint64_t allocations = LiveAllocations();
    HostValue host{};
    ToHostValue(value, host, nullptr);
    EXPECT_GT(LiveBytes(), bytes);
    FreeHostValue(host);
    EXPECT_EQ(LiveBytes(), bytes);
    EXPECT_EQ(LiveAllocations(), allocations);
}

TEST(ToHostValue, BorrowedTextsPointIntoTheTreeAndOnlyArraysAreAllocated) {
    const BindingValue value = EveryKind();
    const std::uint64_t allocations = LiveAllocations();
    HostValue host{};
    ToHostValue(value, host, nullptr, HostTexts::Borrowed);
    // The outer entries, the list, the list's structure (none: it is empty), the nested entries.
    EXPECT_EQ(LiveAllocations(), allocations + 3);
    std::vector<const char*> keys;
    value.ForEachField([&](const BindingString& name, const BindingValue&) {
        keys.push_back(name.View().data());
    });
    const HostMapEntry* entries = host.payload.structure.entries;
    for (std::size_t i = 0; i < 11; ++i) {
        EXPECT_EQ(entries[i].key, keys[i]) << i;
        EXPECT_EQ(+entries[i].keyOwned, 0) << i;
    }
    EXPECT_EQ(+entries[0].value.tag, kHostValueBorrowedBlob);
    EXPECT_EQ(entries[0].value.payload.blob.data, value.GetField("blob").GetBlob().data());
    EXPECT_EQ(+entries[3].value.tag, kHostValueBorrowedBlob);
    EXPECT_EQ(entries[3].value.payload.blob.data, nullptr);
    EXPECT_EQ(+entries[9].value.tag, kHostValueBorrowedString);
    EXPECT_EQ(entries[9].value.payload.text.data, value.GetField("string").GetString().data());
    EXPECT_STREQ(entries[4].value.payload.text.data, "");
    // The same release serves both forms: borrowed texts are left alone.
    ReleaseHostValue(host);
    EXPECT_EQ(LiveAllocations(), allocations);
}

TEST(ToHostValue, ReleasesWhatTheTargetHeldFirst) {
    const std::uint64_t bytes = LiveBytes();
    HostValue host{};
    ToHostValue(EveryKind(), host, nullptr);
    {
        BindingValue small;
        small.SetString("small");
        ToHostValue(small, host, nullptr);
    }
    EXPECT_EQ(+host.tag, kHostValueOwnedString);
    FreeHostValue(host);
    EXPECT_EQ(LiveBytes(), bytes);
}

TEST(ToHostValue, EnumsBecomeNamesWhenTheRegistryKnowsThem) {
    BindingRegistry registry;
    registry.DeclareType<Colour>("Colour").AddEnumerator("Red", 1).AddEnumerator("Green", 2);

    BindingValue value;
    value.At(0).SetEnum(2, &StaticType::Record<Colour>());
    value.At(1).SetEnum(-7, &StaticType::Record<Colour>());
    value.At(2).SetEnum(1, nullptr);

    HostValue host{};
    ToHostValue(value, host, &registry);
    const HostValue* items = host.payload.collection.items;
    EXPECT_EQ(+items[0].tag, kHostValueOwnedString);
    EXPECT_STREQ(items[0].payload.text.data, "Green");
    EXPECT_EQ(+items[1].tag, kHostValueSigned);
    EXPECT_EQ(+items[1].payload.signedValue, -7);
    EXPECT_EQ(+items[2].tag, kHostValueSigned);
    EXPECT_EQ(+items[2].payload.signedValue, 1);

    ToHostValue(value, host, nullptr);
    EXPECT_EQ(+host.payload.collection.items[0].tag, kHostValueSigned);
    FreeHostValue(host);
}

class Tracer : public BindingValueVisitor {
public:
    std::string out;
    void empty() override { out += "_,"; }
    void boolean(bool v) override { out += v ? "T," : "F,"; }
    void signedInteger(std::int64_t v) override { out += std::to_string(v) + ","; }
    void unsignedInteger(std::uint64_t v) override { out += std::to_string(v) + "u,"; }
    void floatingPoint(double v) override { out += std::to_string(v) + "f,"; }
    void string(std::string_view t) override { out += "'" + std::string(t) + "',"; }
    void blob(std::span<const std::uint8_t> b) override {
        out += "b" + std::to_string(b.size()) + ",";
    }
    void enumeration(std::int32_t n, const StaticTypeRecord*) override {
        out += "e" + std::to_string(n) + ",";
    }
    void beginCollection(std::size_t n) override { out += "[" + std::to_string(n) + ","; }
    void beginElement(std::size_t) override {}
    void endElement(std::size_t) override {}
    void endCollection() override { out += "],"; }
    void beginStructure(std::size_t n) override { out += "{" + std::to_string(n) + ","; }
    void beginField(std::string_view name) override { out += std::string(name) + "="; }
    void endField(std::string_view) override {}
    void endStructure() override { out += "},"; }
};

std::string Trace(const BindingValue& value) {
    Tracer tracer;
    value.Visit(tracer);
    return tracer.out;
}

TEST(FromHostValue, RoundTripsEveryKind) {
    const BindingValue original = EveryKind();
    HostValue host{};
    ToHostValue(original, host, nullptr);

    BindingResult result;
    BindingValue back;
    EXPECT_TRUE(FromHostValue(result, back, host, "value"));
    EXPECT_TRUE(result.Ok());
    EXPECT_EQ(Trace(back), Trace(original));
    FreeHostValue(host);
}

TEST(FromHostValue, ReadsBorrowedPayloadsAndTextsUpToTheirNul) {
    static const char kText[] = "abc\0def";
    static const std::uint8_t kBytes[] = {1, 2, 3};
    HostValue items[3]{};
    items[0].tag = kHostValueBorrowedString;
    items[0].payload.text.data = kText;
    items[0].payload.text.length = 7;
    items[1].tag = kHostValueBorrowedBlob;
    items[1].payload.blob.data = kBytes;
    items[1].payload.blob.size = 3;
    items[2].tag = kHostValueBorrowedString;
    items[2].payload.text.data = nullptr;
    HostValue list{};
    list.tag = kHostValueCollection;
    list.payload.collection.items = items;
    list.payload.collection.count = 3;

    BindingResult result;
    BindingValue target;
    ASSERT_TRUE(FromHostValue(result, target, list, "list"));
    EXPECT_EQ(target.GetAt(0).GetString(), "abc");
    EXPECT_EQ(target.GetAt(1).Size(), 3u);
    EXPECT_EQ(target.GetAt(1).GetBlob()[2], 3);
    EXPECT_EQ(target.GetAt(2).Kind(), BindingValueKind::String);
    EXPECT_EQ(target.GetAt(2).Size(), 0u);
}

TEST(FromHostValue, FindsOrCreatesFieldsByName) {
    HostMapEntry entries[2]{};
    entries[0].key = "b";
    entries[0].value.tag = kHostValueSigned;
    entries[0].value.payload.signedValue = 1;
    entries[1].key = "a";
    entries[1].value.tag = kHostValueSigned;
    entries[1].value.payload.signedValue = 2;
    HostValue host{};
    host.tag = kHostValueStructure;
    host.payload.structure.entries = entries;
    host.payload.structure.count = 2;

    BindingResult result;
    BindingValue target;
    target.Field("a").SetString("old");
    target.Field("c").SetBool(true);
    ASSERT_TRUE(FromHostValue(result, target, host, "x"));
    EXPECT_EQ(Trace(target), "{3,a=2,b=1,c=T,},");
}

TEST(FromHostValue, RefusesUnknownTagsByName) {
    HostValue items[2]{};
    items[0].tag = kHostValueSigned;
    items[1].tag = 11;
    HostValue host{};
    host.tag = kHostValueCollection;
    host.payload.collection.items = items;
    host.payload.collection.count = 2;

    BindingResult result;
    BindingValue target;
    EXPECT_FALSE(FromHostValue(result, target, host, "body"));
    EXPECT_FALSE(result.Ok());
    EXPECT_EQ(result.ErrorText(),
              "Couldn't assign value to 'body' of type object because the input is of an "
              "incompatible type ''.");

    // A failed result stops further conversions.
    HostValue scalar{};
    scalar.tag = kHostValueBool;
    BindingValue untouched;
    EXPECT_FALSE(FromHostValue(result, untouched, scalar, "other"));
    EXPECT_TRUE(untouched.IsEmpty());
}

// `levels` collections of one element each, one inside the other, around a bool.
std::vector<HostValue> HostChain(std::size_t levels) {
    std::vector<HostValue> chain(levels + 1);
    for (std::size_t i = 0; i < levels; ++i) {
        chain[i].tag = kHostValueCollection;
        chain[i].payload.collection.items = &chain[i + 1];
        chain[i].payload.collection.count = 1;
    }
    chain[levels].tag = kHostValueBool;
    chain[levels].payload.boolean = 1;
    return chain;
}

// How many one-element collections lie one inside the other from `value` down; `bottom` is the
// first value that is not one.
std::size_t HostDepth(const HostValue& value, const HostValue*& bottom) {
    std::size_t depth = 0;
    bottom = &value;
    while (bottom->tag == kHostValueCollection && bottom->payload.collection.count == 1) {
        bottom = &bottom->payload.collection.items[0];
        ++depth;
    }
    return depth;
}

TEST(FromHostValue, TakesNestingUpToTheLimitAndRefusesOneLevelMore) {
    const std::vector<HostValue> atLimit = HostChain(kBindingMaxDepth);
    BindingResult accepted;
    BindingValue value;
    EXPECT_TRUE(FromHostValue(accepted, value, atLimit[0], "deep"));

    const std::vector<HostValue> overLimit = HostChain(kBindingMaxDepth + 1);
    BindingResult refused;
    BindingValue partial;
    EXPECT_FALSE(FromHostValue(refused, partial, overLimit[0], "deep"));
    EXPECT_EQ(refused.ErrorText(),
              "Couldn't assign value to 'deep' because the input nests deeper than 256 levels.");

    // Far beyond the limit the refusal comes without exhausting the stack.
    const std::vector<HostValue> farBeyond = HostChain(100000);
    BindingResult farRefused;
    BindingValue farPartial;
    EXPECT_FALSE(FromHostValue(farRefused, farPartial, farBeyond[0], "deep"));
    EXPECT_EQ(farRefused.ErrorText(), refused.ErrorText());
}

// Whatever the host may send, the module can send back whole, and what the module sends, it
// takes back: both directions end at the same depth.
TEST(FromHostValue, AgreesWithToHostValueOnTheDepthLimit) {
    const std::vector<HostValue> atLimit = HostChain(kBindingMaxDepth);
    BindingResult accepted;
    BindingValue value;
    ASSERT_TRUE(FromHostValue(accepted, value, atLimit[0], "deep"));

    HostValue out{};
    EXPECT_TRUE(ToHostValue(value, out, nullptr));
    const HostValue* bottom = nullptr;
    EXPECT_EQ(HostDepth(out, bottom), kBindingMaxDepth);
    EXPECT_EQ(bottom->tag, kHostValueBool);

    BindingResult again;
    BindingValue back;
    EXPECT_TRUE(FromHostValue(again, back, out, "deep"));
    FreeHostValue(out);
}

// One level beyond what FromHostValue takes is what ToHostValue leaves out.
TEST(ToHostValue, LeavesOutWhatLiesBeyondTheLimit) {
    BindingValue deep;
    BindingValue* current = &deep;
    for (std::size_t i = 0; i < kBindingMaxDepth + 1; ++i) {
        current = &current->At(0);
    }
    current->SetString("bottom");

    HostValue host{};
    EXPECT_FALSE(ToHostValue(deep, host, nullptr));
    const HostValue* bottom = nullptr;
    EXPECT_EQ(HostDepth(host, bottom), kBindingMaxDepth);
    EXPECT_EQ(bottom->tag, kHostValueNone);
    FreeHostValue(host);
}

}  // namespace
}  // namespace Tavix::Client
