#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <limits>
#include <string>
#include <vector>

#include "binding/msgpack.h"
#include "log/memory.h"

namespace Tavix::Client {
namespace {

using Bytes = std::vector<std::uint8_t>;

struct Read {
    BindingResult result;
    std::uint32_t consumed = 0xFFFFFFFF;
};

Read ReadBytes(const Bytes& bytes) {
    Read read;
    ReadMessagePack(read.result, read.consumed, bytes.data(),
                    static_cast<std::uint32_t>(bytes.size()));
    return read;
}

TEST(MessagePackTest, EveryScalarFormHasItsKindAndValue) {
    struct Case {
        Bytes bytes;
        BindingValueKind kind;
        std::uint64_t bits;  // the value's 64 bits, or a bool as 0 and 1
    };
    const std::int64_t lowest = std::numeric_limits<std::int64_t>::min();
    const Case cases[] = {
        {{0x00}, BindingValueKind::Signed, 0},
        {{0x7F}, BindingValueKind::Signed, 127},
        {{0xE0}, BindingValueKind::Signed, static_cast<std::uint64_t>(-32)},
        {{0xFF}, BindingValueKind::Signed, static_cast<std::uint64_t>(-1)},
        {{0xC2}, BindingValueKind::Bool, 0},
        {{0xC3}, BindingValueKind::Bool, 1},
        {{0xCC, 0xFF}, BindingValueKind::Unsigned, 255},
        {{0xCD, 0x01, 0x02}, BindingValueKind::Unsigned, 0x0102},
        {{0xCE, 0x01, 0x02, 0x03, 0x04}, BindingValueKind::Unsigned, 0x01020304},
        {{0xCF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFE},
         BindingValueKind::Unsigned,
         0xFFFFFFFFFFFFFFFEull},
        {{0xD0, 0x80}, BindingValueKind::Signed, static_cast<std::uint64_t>(-128)},
        {{0xD1, 0x80, 0x00}, BindingValueKind::Signed, static_cast<std::uint64_t>(-32768)},
        {{0xD2, 0xFF, 0xFF, 0xFF, 0xFE}, BindingValueKind::Signed, static_cast<std::uint64_t>(-2)},
        {{0xD3, 0x80, 0, 0, 0, 0, 0, 0, 0},
         BindingValueKind::Signed,
         static_cast<std::uint64_t>(lowest)},
        {{0xD0, 0x7F}, BindingValueKind::Signed, 127},
    };
    for (const Case& c : cases) {
        const Read read = ReadBytes(c.bytes);
        SCOPED_TRACE(testing::Message() << "first byte 0x" << std::hex << int{c.bytes[0]});
        ASSERT_TRUE(read.result.Ok()) << read.result.ErrorText();
        EXPECT_EQ(read.consumed, c.bytes.size());
        ASSERT_EQ(read.result.Kind(), c.kind);
        if (c.kind == BindingValueKind::Bool) {
            EXPECT_EQ(read.result.GetBool(), c.bits == 1);
        } else {
            EXPECT_EQ(static_cast<std::uint64_t>(read.result.ToInt64()), c.bits);
        }
    }
    // Floats, the 32-bit one widened.
    EXPECT_EQ(ReadBytes({0xCA, 0x3F, 0xC0, 0x00, 0x00}).result.GetFloat(), 1.5);
    EXPECT_EQ(ReadBytes({0xCA, 0x3D, 0xCC, 0xCC, 0xCD}).result.GetFloat(),
              static_cast<double>(0.1f));
    EXPECT_EQ(ReadBytes({0xCB, 0x40, 0x09, 0x21, 0xFB, 0x54, 0x44, 0x2D, 0x18}).result.GetFloat(),
              3.141592653589793);
    const Read nil = ReadBytes({0xC0});
    EXPECT_TRUE(nil.result.Ok());
    EXPECT_TRUE(nil.result.IsEmpty());
    EXPECT_EQ(nil.consumed, 1u);
}

TEST(MessagePackTest, StringsAndBinaryOfEveryWidth) {
    for (const Bytes& bytes :
         {Bytes{0xA3, 'a', 'b', 'c'}, Bytes{0xD9, 3, 'a', 'b', 'c'},
          Bytes{0xDA, 0, 3, 'a', 'b', 'c'}, Bytes{0xDB, 0, 0, 0, 3, 'a', 'b', 'c'}}) {
        const Read read = ReadBytes(bytes);
        ASSERT_TRUE(read.result.Ok()) << read.result.ErrorText();
        EXPECT_EQ(read.result.GetString(), "abc");
        EXPECT_EQ(read.consumed, bytes.size());
    }
    EXPECT_EQ(ReadBytes({0xA0}).result.Kind(), BindingValueKind::String);
    // The bytes are taken as they are, a NUL included.
    EXPECT_EQ(ReadBytes({0xA3, 'a', 0, 'c'}).result.GetString(), std::string("a\0c", 3));

    for (const Bytes& bytes : {Bytes{0xC4, 2, 0x00, 0xFF}, Bytes{0xC5, 0, 2, 0x00, 0xFF},
                               Bytes{0xC6, 0, 0, 0, 2, 0x00, 0xFF}}) {
        const Read read = ReadBytes(bytes);
        ASSERT_TRUE(read.result.Ok()) << read.result.ErrorText();
        ASSERT_EQ(read.result.Kind(), BindingValueKind::Blob);
        const auto blob = read.result.GetBlob();
        EXPECT_EQ(Bytes(blob.begin(), blob.end()), (Bytes{0x00, 0xFF}));
    }
}

TEST(MessagePackTest, ArraysAndMapsOfEveryWidth) {
    const Read pair = ReadBytes({0x92, 0xC0, 0xC3});
    ASSERT_TRUE(pair.result.Ok());
    ASSERT_EQ(pair.result.Kind(), BindingValueKind::Collection);
    ASSERT_EQ(pair.result.Size(), 2u);
    EXPECT_TRUE(pair.result.GetAt(0).IsEmpty());
    EXPECT_TRUE(pair.result.GetAt(1).GetBool());

    for (const Bytes& bytes :
         {Bytes{0xDC, 0, 2, 0x01, 0xA1, 'x'}, Bytes{0xDD, 0, 0, 0, 2, 0x01, 0xA1, 'x'}}) {
        const Read read = ReadBytes(bytes);
        ASSERT_TRUE(read.result.Ok());
        ASSERT_EQ(read.result.Size(), 2u);
        EXPECT_EQ(read.result.GetAt(0).GetSigned(), 1);
        EXPECT_EQ(read.result.GetAt(1).GetString(), "x");
    }
    EXPECT_EQ(ReadBytes({0x90}).result.Kind(), BindingValueKind::Collection);
    EXPECT_EQ(ReadBytes({0x80}).result.Kind(), BindingValueKind::Structure);

    const Read one = ReadBytes({0x81, 0xA1, 0x61, 0x01});
    ASSERT_TRUE(one.result.Ok());
    ASSERT_EQ(one.result.Kind(), BindingValueKind::Structure);
    EXPECT_EQ(one.result.Size(), 1u);
    EXPECT_EQ(one.result.GetField("a").Kind(), BindingValueKind::Signed);
    EXPECT_EQ(one.result.GetField("a").GetSigned(), 1);

    // Keys in all string widths, values nested; nil keeps its field.
    for (const Bytes& bytes :
         {Bytes{0xDE, 0, 2, 0xD9, 1, 'b', 0x91, 0x80, 0xDA, 0, 1, 'a', 0xC0},
          Bytes{0xDF, 0, 0, 0, 2, 0xDB, 0, 0, 0, 1, 'b', 0x91, 0x80, 0xA1, 'a', 0xC0}}) {
        const Read read = ReadBytes(bytes);
        ASSERT_TRUE(read.result.Ok()) << read.result.ErrorText();
        EXPECT_EQ(read.consumed, bytes.size());
        EXPECT_EQ(read.result.Size(), 2u);
        EXPECT_TRUE(read.result.HasField("a"));
        EXPECT_TRUE(read.result.GetField("a").IsEmpty());
        EXPECT_EQ(read.result.GetField("b").GetAt(0).Kind(), BindingValueKind::Structure);
    }
}

TEST(MessagePackTest, UnusedAndExtensionFormsAreRefused) {
    for (const std::uint8_t first : {0xC1, 0xC7, 0xC8, 0xC9, 0xD4, 0xD5, 0xD6, 0xD7, 0xD8}) {
        const Read read = ReadBytes({first, 0x01, 0x02, 0x03});
        EXPECT_FALSE(read.result.Ok());
        EXPECT_EQ(read.result.ErrorText(), "Invalid MessagePack data at position 1.")
            << std::hex << int{first};
        EXPECT_EQ(read.consumed, 1u);
    }
    // The position is the one right after the format byte, wherever it stands.
    const Read nested = ReadBytes({0x92, 0x01, 0xD4, 0x00, 0x00});
    EXPECT_EQ(nested.result.ErrorText(), "Invalid MessagePack data at position 3.");
    EXPECT_EQ(nested.consumed, 3u);
}

TEST(MessagePackTest, TruncationsReportWhatAndWhere) {
    struct Case {
        Bytes bytes;
        const char* message;
        std::uint32_t consumed;
    };
    const Case cases[] = {
        {{0xCC}, "Invalid MessagePack data. 8-bit integer value at position 1 is truncated.", 1},
        {{0xCD, 0x01},
         "Invalid MessagePack data. 16-bit integer value at position 1 is truncated.",
         1},
        {{0xCE, 0, 0, 0},
         "Invalid MessagePack data. 32-bit integer value at position 1 is truncated.",
         1},
        {{0xCF, 0, 0, 0, 0, 0, 0, 0},
         "Invalid MessagePack data. 64-bit integer value at position 1 is truncated.",
         1},
        {{0xD3}, "Invalid MessagePack data. 64-bit integer value at position 1 is truncated.", 1},
        {{0xCA, 0, 0},
         "Invalid MessagePack data. 32-bit integer value at position 1 is truncated.",
         1},
        {{0xCB}, "Invalid MessagePack data. 64-bit integer value at position 1 is truncated.", 1},
        // A truncated size reads as the number of its width.
        {{0xD9}, "Invalid MessagePack data. 8-bit integer value at position 1 is truncated.", 1},
        {{0xDA, 0},
         "Invalid MessagePack data. 16-bit integer value at position 1 is truncated.",
         1},
        {{0xDD, 0, 0},
         "Invalid MessagePack data. 32-bit integer value at position 1 is truncated.",
         1},
        {{0xA3, 0x61}, "Invalid MessagePack data. String of size 3 at position 1 is truncated.", 1},
        {{0xDA, 0, 5, 'a'},
         "Invalid MessagePack data. String of size 5 at position 3 is truncated.",
         3},
        {{0xC4, 5, 1, 2},
         "Invalid MessagePack data. Raw bytes of size 5 at position 2 are truncated.",
         2},
        {{0xC6, 0, 0, 1, 0},
         "Invalid MessagePack data. Raw bytes of size 256 at position 5 are truncated.",
         5},
        // A key is read like a string.
        {{0x81, 0xA5, 'k'},
         "Invalid MessagePack data. String of size 5 at position 2 is truncated.",
         2},
        {{0x91, 0x92, 0x01, 0xCD, 0x01},
         "Invalid MessagePack data. 16-bit integer value at position 4 is truncated.",
         4},
    };
    for (const Case& c : cases) {
        const Read read = ReadBytes(c.bytes);
        EXPECT_FALSE(read.result.Ok());
        EXPECT_EQ(read.result.ErrorText(), c.message);
        EXPECT_EQ(read.consumed, c.consumed) << c.message;
        // The failure replaces whatever had been read.
        EXPECT_EQ(read.result.Size(), 1u);
    }
}

TEST(MessagePackTest, MapKeysMustBeStrings) {
    for (const Bytes& bytes : {Bytes{0x81, 0x01, 0x02}, Bytes{0x81, 0xC0, 0x02},
                               Bytes{0x81, 0x90, 0x02}, Bytes{0x81, 0xC4, 0x01, 'a', 0x02}}) {
        const Read read = ReadBytes(bytes);
        EXPECT_EQ(read.result.ErrorText(),
                  "Invalid MessagePack data at position 2. Map keys must be strings.");
        EXPECT_EQ(read.consumed, 2u);
    }
    // The second key of a map, after a nested value.
    const Read second = ReadBytes({0x82, 0xA1, 'a', 0x91, 0x01, 0xCC, 0x01, 0x02});
    EXPECT_EQ(second.result.ErrorText(),
              "Invalid MessagePack data at position 6. Map keys must be strings.");
}

TEST(MessagePackTest, ReadingStopsAfterTheFirstObject) {
    const Read two = ReadBytes({0xC3, 0xC2});
    EXPECT_TRUE(two.result.Ok());
    EXPECT_TRUE(two.result.GetBool());
    EXPECT_EQ(two.consumed, 1u);

    const Read array = ReadBytes({0x92, 0x01, 0x91, 0x02, 0xC1, 0xC1});
    EXPECT_TRUE(array.result.Ok());
    EXPECT_EQ(array.consumed, 4u);
    EXPECT_EQ(array.result.Size(), 2u);

    const Read empty = ReadBytes({});
    EXPECT_TRUE(empty.result.Ok());
    EXPECT_TRUE(empty.result.IsEmpty());
    EXPECT_EQ(empty.consumed, 0u);

    BindingResult stale;
    stale.SetError("stale");
    std::uint32_t consumed = 7;
    ReadMessagePack(stale, consumed, nullptr, 0);
    EXPECT_TRUE(stale.Ok());
    EXPECT_TRUE(stale.IsEmpty());
    EXPECT_EQ(consumed, 0u);
}

TEST(MessagePackTest, InputEndingInsideAContainerKeepsWhatCame) {
    const Read array = ReadBytes({0x93, 0x01});
    ASSERT_TRUE(array.result.Ok());
    EXPECT_EQ(array.result.Size(), 1u);
    EXPECT_EQ(array.consumed, 2u);

    // The key came, its value did not: no field.
    const Read map = ReadBytes({0x82, 0xA1, 'a', 0x01, 0xA1, 'b'});
    ASSERT_TRUE(map.result.Ok());
    EXPECT_EQ(map.result.Size(), 1u);
    EXPECT_FALSE(map.result.HasField("b"));
}

TEST(MessagePackTest, ARepeatedKeyKeepsItsLastValueWhole) {
    // A container given twice is replaced, not merged with the first.
    const Read lists = ReadBytes({0x82, 0xA1, 'a', 0x92, 0x01, 0x02, 0xA1, 'a', 0x91, 0x03});
    ASSERT_TRUE(lists.result.Ok());
    ASSERT_EQ(lists.result.GetField("a").Size(), 1u);
    EXPECT_EQ(lists.result.GetField("a").GetAt(0).GetSigned(), 3);

    const Read nil = ReadBytes({0x82, 0xA1, 'a', 0x81, 0xA1, 'x', 0x01, 0xA1, 'a', 0xC0});
    ASSERT_TRUE(nil.result.Ok());
    EXPECT_TRUE(nil.result.HasField("a"));
    EXPECT_TRUE(nil.result.GetField("a").IsEmpty());

    // The names inside the replaced map are released, and the same names come again.
    const Read maps = ReadBytes({0x83, 0xA1, 'a', 0x81, 0xA1, 'x', 0x01, 0xA1, 'a', 0x81, 0xA1, 'x',
                                 0x02, 0xA1, 'x', 0x03});
    ASSERT_TRUE(maps.result.Ok());
    EXPECT_EQ(maps.result.GetField("a").GetField("x").GetSigned(), 2);
    EXPECT_EQ(maps.result.GetField("x").GetSigned(), 3);

    const Read scalar = ReadBytes({0x82, 0xA1, 'a', 0x01, 0xA1, 'a', 0xA1, 'z'});
    EXPECT_EQ(scalar.result.GetField("a").GetString(), "z");
}

std::uint64_t BytesAllocatedBy(const Bytes& bytes, Read& read) {
    AllocationCounterValues before{};
    ReadCounters(&before);
    read = ReadBytes(bytes);
    AllocationCounterValues after{};
    ReadCounters(&after);
    return after.bytesAllocated - before.bytesAllocated;
}

TEST(MessagePackTest, HugeDeclaredSizesCostNoMoreThanTheInput) {
    constexpr std::uint64_t kSmall = 64 * 1024;
    Read array;
    EXPECT_LT(BytesAllocatedBy({0xDD, 0xFF, 0xFF, 0xFF, 0xFF}, array), kSmall);
    EXPECT_TRUE(array.result.Ok());
    EXPECT_EQ(array.result.Kind(), BindingValueKind::Collection);
    EXPECT_EQ(array.result.Size(), 0u);
    EXPECT_EQ(array.consumed, 5u);

    Read map;
    EXPECT_LT(BytesAllocatedBy({0xDF, 0xFF, 0xFF, 0xFF, 0xFF, 0xA0}, map), kSmall);
    EXPECT_TRUE(map.result.Ok());
    EXPECT_EQ(map.result.Kind(), BindingValueKind::Structure);
    EXPECT_EQ(map.consumed, 6u);

    Read text;
    EXPECT_LT(BytesAllocatedBy({0xDB, 0xFF, 0xFF, 0xFF, 0xFF, 'a'}, text), kSmall);
    EXPECT_EQ(text.result.ErrorText(),
              "Invalid MessagePack data. String of size 4294967295 at position 5 is truncated.");

    Read blob;
    EXPECT_LT(BytesAllocatedBy({0xC6, 0xFF, 0xFF, 0xFF, 0xFF, 'a'}, blob), kSmall);
    EXPECT_EQ(blob.result.ErrorText(),
              "Invalid MessagePack data. Raw bytes of size 4294967295 at position 5 are "
              "truncated.");

    // A large array whose elements do come is reserved once, to what the input holds.
    Bytes many{0xDD, 0xFF, 0xFF, 0xFF, 0xFF};
    many.resize(many.size() + 1000, 0x07);
    const Read filled = ReadBytes(many);
    ASSERT_TRUE(filled.result.Ok());
    EXPECT_EQ(filled.result.Size(), 1000u);
}

TEST(MessagePackTest, AMegabyteOfNestedArraysIsReadAndReleasedWithoutRecursion) {
    const Bytes bytes(1u << 20, 0x91);
    Read read = ReadBytes(bytes);
    ASSERT_TRUE(read.result.Ok());
    EXPECT_EQ(read.consumed, bytes.size());
    std::size_t depth = 0;
    const BindingValue* value = &read.result;
    while (value->Kind() == BindingValueKind::Collection && value->Size() == 1) {
        value = &value->GetAt(0);
        ++depth;
    }
    // The innermost array has no element yet when the input ends.
    EXPECT_EQ(depth, bytes.size() - 1);
    EXPECT_EQ(value->Size(), 0u);
    // A copy stops at the value model's depth limit instead of recursing a million levels.
    const BindingValue copy(read.result);
    EXPECT_EQ(copy.Kind(), BindingValueKind::Collection);
    read.result.ResetToOk();
    EXPECT_TRUE(read.result.IsEmpty());
}

}  // namespace
}  // namespace Tavix::Client
