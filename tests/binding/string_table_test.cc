#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "binding/binding_string.h"
#include "binding/context.h"
#include "binding/value.h"
#include "log/memory.h"
#include "support/slab_pool.h"

namespace Tavix::Client {
namespace {

TEST(StringTable, OneEntryPerDistinctText) {
    BindingValue root;
    for (int i = 0; i < 1000; ++i) {
        root.At(static_cast<std::size_t>(i)).SetString("same text");
    }
    BindingContext* context = root.Context();
    ASSERT_EQ(context->StringCount(), 1u);
    const BindingString& shared = root.GetAt(0).GetBindingString();
    EXPECT_EQ(shared.References(), 1000u);
    EXPECT_EQ(&root.GetAt(999).GetBindingString(), &shared);

    for (BindingValue& element : root.Elements()) {
        element.Reset();
    }
    EXPECT_EQ(context->StringCount(), 0u);
}

TEST(StringTable, FieldNamesAndStringValuesShareEntries) {
    BindingValue root;
    root.Field("id").SetString("id");
    root.Field("other").SetString("id");
    EXPECT_EQ(root.Context()->StringCount(), 2u);
    EXPECT_EQ(root.Context()->Find(HashedName("id"))->References(), 3u);

    // A copy within the same tree adds references and no entry.
    root.Field("copy") = root.GetField("other");
    EXPECT_EQ(root.Context()->StringCount(), 3u);
    EXPECT_EQ(root.Context()->Find(HashedName("id"))->References(), 4u);
}

// A copy into another tree interns each text once there, with as many references as uses, both
// into a fresh tree (whose entries are made without a search) and into one that holds some of
// the texts already; a tree with more texts than the copy's table keeps on the stack is included.
TEST(StringTable, ACopyInternsEachTextOnceInItsTarget) {
    BindingValue source;
    for (std::size_t i = 0; i < 300; ++i) {
        BindingValue& item = source.At(i);
        item.Field("name").SetString("text " + std::to_string(i));
        item.Field("again").SetString("text " + std::to_string(i));
    }
    const std::size_t texts = source.Context()->StringCount();
    ASSERT_EQ(texts, 302u);

    const BindingValue fresh(source);
    EXPECT_EQ(fresh.Context()->StringCount(), texts);
    EXPECT_EQ(fresh.Context()->Find(HashedName("text 7"))->References(), 2u);
    EXPECT_EQ(fresh.Context()->Find(HashedName("name"))->References(), 300u);

    BindingValue holder;
    holder.Field("text 5").SetString("text 6");
    holder.Field("copy") = source;
    EXPECT_EQ(holder.Context()->StringCount(), texts + 1);
    EXPECT_EQ(holder.Context()->Find(HashedName("text 5"))->References(), 3u);
    EXPECT_EQ(holder.Context()->Find(HashedName("text 6"))->References(), 3u);
    EXPECT_EQ(holder.GetField("copy").GetAt(299).GetField("again").GetString(), "text 299");
}

// Literal names are known again by their address, which must never hand out an entry that
// has gone, nor one of a name that merely shares the address's first bytes.
TEST(StringTable, LiteralNamesShareEntriesWithTheSameTextFromAnywhere) {
    using namespace NameLiterals;
    BindingValue root;
    root.Field("queueId"_name).SetSigned(1);
    root.Field(std::string("queue") + "Id").SetSigned(2);
    EXPECT_EQ(root.Size(), 1u);
    EXPECT_EQ(root.GetField("queueId").GetSigned(), 2);
    EXPECT_EQ(root.Context()->Find(HashedName("queueId"))->References(), 1u);

    root.Reset();
    EXPECT_EQ(root.Context()->StringCount(), 0u);
    // The entry went with the field; the literal makes a new one.
    root.Field("queueId"_name).SetSigned(3);
    EXPECT_EQ(root.Context()->StringCount(), 1u);
    EXPECT_EQ(root.GetField("queueId").GetSigned(), 3);

    constexpr HashedName kLong = "queueIdentifier"_name;
    constexpr HashedName kShort = HashedName::Literal(kLong.Text().data(), 5);
    root.Field(kLong).SetSigned(4);
    root.Field(kShort).SetSigned(5);
    EXPECT_EQ(root.GetField("queue").GetSigned(), 5);
    EXPECT_EQ(root.GetField("queueIdentifier").GetSigned(), 4);
    EXPECT_EQ(root.Size(), 3u);

    // Two names whose hashes share their last five bits meet in one set of the cache: both are
    // kept, and both are forgotten when their entries go.
    static_assert(("puuid"_name.Hash() & 0x1F) == ("ready"_name.Hash() & 0x1F));
    root.Reset();
    root.Field("puuid"_name).SetSigned(6);
    root.Field("ready"_name).SetSigned(7);
    root.Field("puuid"_name).SetSigned(8);
    EXPECT_EQ(root.Size(), 2u);
    root.Reset();
    EXPECT_EQ(root.Context()->StringCount(), 0u);
    root.Field("puuid"_name).SetSigned(9);
    root.Field("ready"_name).SetSigned(10);
    EXPECT_EQ(root.Context()->StringCount(), 2u);
    EXPECT_EQ(root.Context()->Find(HashedName("puuid"))->References(), 1u);
    EXPECT_EQ(root.GetField("puuid").GetSigned(), 9);
    EXPECT_EQ(root.GetField("ready").GetSigned(), 10);
}

TEST(StringTable, EmptyTextIsTheSharedEntryAndNeverCounted) {
    BindingValue root;
    root.Field("a").SetString("");
    root.Field("b").SetString(static_cast<const char*>(nullptr));
    root.Field("c").SetString(std::string_view());
    EXPECT_TRUE(root.GetField("a").GetBindingString().IsSharedEmpty());
    EXPECT_TRUE(root.GetField("b").GetBindingString().IsSharedEmpty());
    EXPECT_EQ(root.GetField("c").Kind(), BindingValueKind::String);
    EXPECT_EQ(BindingString::SharedEmpty().References(), 0u);
    EXPECT_EQ(root.Context()->StringCount(), 3u);  // the three names
    root.Reset();
    EXPECT_EQ(BindingString::SharedEmpty().References(), 0u);
}

TEST(StringTable, GrowsAndShrinksBackToEightBuckets) {
    BindingValue root;
    root.MakeCollection();
    BindingContext* context = root.Context();
    EXPECT_EQ(context->BucketCount(), 8u);
    for (int i = 0; i < 100; ++i) {
        root.Append().SetString("text number " + std::to_string(i));
    }
    EXPECT_EQ(context->StringCount(), 100u);
    EXPECT_GE(context->BucketCount(), 100u);
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(root.GetAt(static_cast<std::size_t>(i)).GetString(),
                  "text number " + std::to_string(i));
        const std::string text = "text number " + std::to_string(i);
        EXPECT_NE(context->Find(HashedName(text)), nullptr);
    }
    EXPECT_EQ(context->Find(HashedName("text number 100")), nullptr);
    root.MakeStructure();
    EXPECT_EQ(context->StringCount(), 0u);
    EXPECT_EQ(context->BucketCount(), 8u);
}

TEST(StringTable, TextsWithNulsAndLongTextsKeepEveryByte) {
    const std::string withNul("a\0b", 3);
    const std::string longText(5000, 'x');
    BindingValue root;
    root.At(0).SetString(withNul);
    root.At(1).SetString("a");
    root.At(2).SetString(longText);
    EXPECT_EQ(root.Context()->StringCount(), 3u);
    EXPECT_EQ(root.GetAt(0).GetString(), withNul);
    EXPECT_EQ(root.GetAt(0).Size(), 3u);
    EXPECT_EQ(root.GetAt(2).GetString(), longText);
    // The view of a value is NUL-terminated.
    EXPECT_EQ(root.GetAt(2).GetString().data()[5000], '\0');
}

std::uint64_t LiveBytes() {
    AllocationCounterValues counters{};
    ReadCounters(&counters);
    return counters.bytesAllocated - counters.bytesFreed;
}

TEST(ValueMemory, EverythingComesBackWhenATreeGoes) {
    const std::uint64_t before = LiveBytes();
    const std::size_t pagesBefore = SlabPool::Instance().GetStatistics().pagesInUse;
    {
        BindingValue root;
        for (int i = 0; i < 300; ++i) {
            BindingValue& item = root.Field("item" + std::to_string(i));
            item.Field("name").SetString(std::string(i % 60, 'n'));
            item.Field("bytes").SetBlob(std::vector<std::uint8_t>(static_cast<std::size_t>(i)));
            item.Field("list").At(static_cast<std::size_t>(i % 7)).SetEnum(i, nullptr);
        }
        BindingValue copy(root);
        BindingValue moved;
        moved = std::move(copy);
        EXPECT_GT(LiveBytes(), before);
        EXPECT_GT(SlabPool::Instance().GetStatistics().pagesInUse, pagesBefore);
    }
    EXPECT_EQ(LiveBytes(), before);
    EXPECT_EQ(SlabPool::Instance().GetStatistics().pagesInUse, pagesBefore);
}

TEST(ValueMemory, ResetGivesBackEveryRecord) {
    BindingValue root;
    root.Field("a").At(5).Field("b").SetString("text");
    root.Field("c").SetEnum(1, nullptr);
    root.Field("d").SetBlob(std::vector<std::uint8_t>{1});
    BindingContext* context = root.Context();
    EXPECT_GT(context->OutstandingRecords(), 1u);
    root.Reset();
    // Only the string table's bucket array is left.
    EXPECT_EQ(context->OutstandingRecords(), 1u);
    EXPECT_EQ(context->StringCount(), 0u);
}

TEST(ValueMemory, ElementArraysMoveFromRecordsToBulkPiecesToTheHeap) {
    const std::uint64_t before = LiveBytes();
    {
        BindingValue root;
        BindingValue& first = root.Field("first");
        BindingValue& second = root.Field("second");
        BindingValue& third = root.Field("third");
        // Interleaved growth moves each array while its neighbours stay where they are.
        for (std::size_t i = 0; i < 200; ++i) {
            first.Append().SetUnsigned(i);
            second.Append().SetString("s" + std::to_string(i % 10));
            third.Append().At(4).SetUnsigned(i);
        }
        BindingContext* context = root.Context();
        // Arrays beyond a kilobyte are on the heap; the 200 inner ones of five are bulk pieces.
        EXPECT_EQ(context->HeapArrayCount(), 3u);
        const std::size_t bulkBytes = context->BulkBytes();
        EXPECT_GE(bulkBytes, 200 * 5 * sizeof(BindingValue));
        second.Reset();
        EXPECT_EQ(context->HeapArrayCount(), 2u);
        third.Reset();
        EXPECT_EQ(context->HeapArrayCount(), 1u);
        EXPECT_LT(context->BulkBytes(), bulkBytes - 200 * 5 * sizeof(BindingValue) + 1);
        EXPECT_EQ(first.GetAt(199).GetUnsigned(), 199u);
        second.At(2).SetUnsigned(2);
        EXPECT_EQ(context->HeapArrayCount(), 1u);
        second.At(20).SetUnsigned(20);
        EXPECT_EQ(context->HeapArrayCount(), 1u);
        EXPECT_EQ(second.GetAt(2).GetUnsigned(), 2u);
        second.At(100).SetUnsigned(100);
        EXPECT_EQ(context->HeapArrayCount(), 2u);
        EXPECT_EQ(second.GetAt(2).GetUnsigned(), 2u);
        EXPECT_EQ(second.GetAt(20).GetUnsigned(), 20u);
    }
    EXPECT_EQ(LiveBytes(), before);
}

// The array cut last grows where it lies while its page has room, and moves once it has not;
// other pieces cut in between make it move at once.
TEST(ValueMemory, TheLastBulkPieceGrowsInPlace) {
    BindingValue root;
    BindingValue& list = root.Field("list");
    list.At(7).SetSigned(7);
    const BindingValue* start = &list.GetAt(0);
    list.At(11).SetSigned(11);
    EXPECT_EQ(&list.GetAt(0), start);
    root.Field("other").At(5).SetSigned(5);
    list.At(17).SetSigned(17);
    EXPECT_NE(&list.GetAt(0), start);
    EXPECT_EQ(list.GetAt(7).GetSigned(), 7);
    EXPECT_EQ(list.GetAt(11).GetSigned(), 11);
    EXPECT_EQ(root.GetField("other").GetAt(5).GetSigned(), 5);
}

// Long texts are cut from the bulk pages; a page goes once its last piece has, and texts
// beyond a kilobyte come from the heap.
TEST(ValueMemory, LongTextsShareBulkPagesThatGoWithTheirLastText) {
    const std::uint64_t before = LiveBytes();
    const std::size_t pagesBefore = SlabPool::Instance().GetStatistics().pagesInUse;
    {
        BindingValue root;
        for (std::size_t i = 0; i < 200; ++i) {
            root.At(i).SetString(std::string(60 + i % 300, static_cast<char>('a' + i % 26)) +
                                 std::to_string(i));
        }
        root.At(200).SetString(std::string(5000, 'x'));
        BindingContext* context = root.Context();
        const std::size_t pages = context->BulkPagesHeld();
        EXPECT_GT(pages, 5u);
        for (std::size_t i = 0; i < 200; ++i) {
            EXPECT_EQ(
                root.GetAt(i).GetString(),
                std::string(60 + i % 300, static_cast<char>('a' + i % 26)) + std::to_string(i))
                << i;
        }
        EXPECT_EQ(root.GetAt(200).Size(), 5000u);

        // Every other text goes: the pages stay, as each still holds a text.
        for (std::size_t i = 0; i < 200; i += 2) {
            root.At(i).Reset();
        }
        EXPECT_EQ(context->BulkPagesHeld(), pages);
        for (std::size_t i = 1; i < 200; i += 2) {
            root.At(i).Reset();
        }
        // The page being cut from stays for the next text.
        EXPECT_EQ(context->BulkPagesHeld(), 1u);

        // Texts made and dropped over and over reuse that page.
        for (int round = 0; round < 1000; ++round) {
            root.At(0).SetString(std::string(900, static_cast<char>('a' + round % 26)));
            root.At(0).Reset();
        }
        EXPECT_EQ(context->BulkPagesHeld(), 1u);
        root.At(1).SetString(std::string(700, 'q'));
        EXPECT_EQ(root.GetAt(1).GetString(), std::string(700, 'q'));
    }
    EXPECT_EQ(LiveBytes(), before);
    EXPECT_EQ(SlabPool::Instance().GetStatistics().pagesInUse, pagesBefore);
}

}  // namespace
}  // namespace Tavix::Client
