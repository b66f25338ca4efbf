#include "binding/value.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "binding/binding_string.h"
#include "binding/context.h"
#include "binding/internal/records.h"
#include "binding/internal/structure_tree.h"
#include "binding/static_type.h"
#include "binding/value_visitor.h"
#include "log/memory.h"
#include "support/slab_pool.h"

namespace Tavix::Client {
namespace {

std::vector<std::string> FieldNames(const BindingValue& value) {
    std::vector<std::string> names;
    value.ForEachField(
        [&](const BindingString& name, const BindingValue&) { names.emplace_back(name.View()); });
    return names;
}

TEST(ValueKindText, NamesEveryKindAndNothingElse) {
    EXPECT_STREQ(ValueKindName(BindingValueKind::Empty), "empty");
    EXPECT_STREQ(ValueKindName(BindingValueKind::Unsigned), "unsigned");
    EXPECT_STREQ(ValueKindName(BindingValueKind::Structure), "structure");
    EXPECT_STREQ(ValueKindName(10u), "");
    EXPECT_STREQ(ValueKindName(255u), "");

    EXPECT_STREQ(HostTagName(0), "");
    EXPECT_STREQ(HostTagName(5), "string");
    EXPECT_STREQ(HostTagName(6), "string");
    EXPECT_STREQ(HostTagName(7), "blob");
    EXPECT_STREQ(HostTagName(8), "blob");
    EXPECT_STREQ(HostTagName(10), "structure");
    EXPECT_STREQ(HostTagName(11), "");
}

TEST(BindingValue, DefaultIsAnEmptyRootWithoutContext) {
    BindingValue value;
    EXPECT_TRUE(value.IsEmpty());
    EXPECT_EQ(value.Size(), 0u);
    EXPECT_EQ(value.Context(), nullptr);
    EXPECT_TRUE(value.OwnsContext());
    // Scalars need no storage, so they create no context.
    value.SetSigned(-5);
    value.SetFloat(2.5);
    value.SetString("");
    EXPECT_EQ(value.Context(), nullptr);
}

TEST(BindingValue, StrictAccessorsGiveTheDefaultOnAnyOtherKind) {
    BindingValue value;
    value.SetUnsigned(7);
    EXPECT_EQ(value.GetUnsigned(1), 7u);
    EXPECT_EQ(value.GetSigned(-1), -1);
    EXPECT_EQ(value.GetFloat(0.5), 0.5);
    EXPECT_TRUE(value.GetBool(true));
    EXPECT_EQ(value.GetString("x"), "x");
    EXPECT_EQ(value.Size(), 1u);

    value.SetEnum(3, nullptr);
    EXPECT_EQ(value.GetEnum().number, 3);
    EXPECT_EQ(value.Size(), 1u);
    EXPECT_EQ(value.GetSigned(-1), -1);

    value.SetBool(false);
    EXPECT_FALSE(value.GetBool(true));
    EXPECT_EQ(value.Size(), 1u);
    EXPECT_EQ(value.GetEnum().number, 0);
    EXPECT_EQ(value.GetEnum().type, nullptr);
}

TEST(BindingValue, LooseAccessorsConvertWhatTheyCan) {
    BindingValue value;
    value.SetFloat(-2.9);
    EXPECT_EQ(value.ToInt64(), -2);
    value.SetFloat(1e300);
    EXPECT_EQ(value.ToInt64(), INT64_MAX);
    value.SetUnsigned(UINT64_MAX);
    EXPECT_EQ(value.ToInt64(), -1);
    value.SetString("12");
    EXPECT_EQ(value.ToInt64(99), 99);

    EXPECT_EQ(value.ToDouble(), 12.0);
    value.SetString("3.5 apples");
    EXPECT_EQ(value.ToDouble(), 3.5);
    value.SetBool(true);
    EXPECT_EQ(value.ToDouble(), 1.0);
    value.SetEnum(-4, nullptr);
    EXPECT_EQ(value.ToDouble(), -4.0);
    value.MakeCollection();
    EXPECT_EQ(value.ToDouble(8.0), 8.0);
}

TEST(BindingValue, ToTextOfEveryKind) {
    BindingValue value;
    EXPECT_EQ(value.ToText(), "");
    value.SetBool(true);
    EXPECT_EQ(value.ToText(), "true");
    value.SetSigned(INT64_MIN);
    EXPECT_EQ(value.ToText(), "-9223372036854775808");
    value.SetUnsigned(UINT64_MAX);
    EXPECT_EQ(value.ToText(), "18446744073709551615");
    value.SetFloat(1.5);
    EXPECT_EQ(value.ToText(), "1.500000");
    value.SetFloat(1e300);
    EXPECT_EQ(value.ToText().size(), 308u);
    value.SetEnum(42, nullptr);
    EXPECT_EQ(value.ToText(), "42");
    value.SetString("text");
    EXPECT_EQ(value.ToText(), "text");
    value.Field("a").SetSigned(1);
    EXPECT_EQ(value.ToText(), "");
}

TEST(BindingValue, BlobTextIsPaddedBase64) {
    const auto text = [](std::string_view bytes) {
        BindingValue value;
        value.SetBlob(std::span(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()));
        return value.ToText();
    };
    EXPECT_EQ(text(""), "");
    EXPECT_EQ(text("f"), "Zg==");
    EXPECT_EQ(text("fo"), "Zm8=");
    EXPECT_EQ(text("foo"), "Zm9v");
    EXPECT_EQ(text("foobar"), "Zm9vYmFy");
    EXPECT_EQ(text("\xff\xfe\xfd"), "//79");
}

TEST(BindingValue, SetBlobTakesOverTheVector) {
    std::vector<std::uint8_t> bytes{1, 2, 3};
    const std::uint8_t* storage = bytes.data();
    BindingValue value;
    value.SetBlob(std::move(bytes));
    EXPECT_TRUE(bytes.empty());
    EXPECT_EQ(value.GetBlob().data(), storage);
    EXPECT_EQ(value.Size(), 3u);
}

TEST(BindingValue, SettingAValueFromItsOwnTextKeepsTheText) {
    BindingValue value;
    value.SetString("a text long enough to live outside the entry itself....");
    value.SetString(value.GetString().substr(2));
    EXPECT_EQ(value.GetString(), "text long enough to live outside the entry itself....");

    value.SetBlob(std::vector<std::uint8_t>{9, 8, 7});
    value.SetBlob(value.GetBlob().subspan(1));
    EXPECT_EQ(value.ToText(), "CAc=");
}

TEST(BindingValue, AtGrowsACollectionWithEmptyElements) {
    BindingValue value;
    value.At(3).SetSigned(4);
    ASSERT_EQ(value.Kind(), BindingValueKind::Collection);
    ASSERT_EQ(value.Size(), 4u);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_TRUE(value.GetAt(i).IsEmpty());
    }
    EXPECT_EQ(value.GetAt(3).GetSigned(), 4);
    EXPECT_EQ(&value.GetAt(4), &BindingValue::Empty());

    value.Append().SetString("five");
    EXPECT_EQ(value.Size(), 5u);
    EXPECT_EQ(value.Elements()[4].GetString(), "five");
    for (const BindingValue& element : value.Elements()) {
        EXPECT_EQ(element.Context(), value.Context());
        EXPECT_FALSE(element.OwnsContext());
    }
}

TEST(BindingValue, ElementsSurviveManyReallocations) {
    BindingValue value;
    for (int i = 0; i < 1000; ++i) {
        value.Append().Field("n").SetSigned(i);
    }
    for (int i = 0; i < 1000; ++i) {
        ASSERT_EQ(value.GetAt(static_cast<std::size_t>(i)).GetField("n").GetSigned(-1), i);
    }
    EXPECT_TRUE(value.Reserve(5000));
    EXPECT_EQ(value.Size(), 1000u);
}

TEST(BindingValue, AccessOnTheWrongKind) {
    BindingValue value;
    value.SetString("s");
    // Read access leaves the value alone.
    EXPECT_EQ(&value.GetAt(0), &BindingValue::Empty());
    EXPECT_EQ(&value.GetField("x"), &BindingValue::Empty());
    EXPECT_FALSE(value.HasField("x"));
    EXPECT_EQ(value.GetString(), "s");
    EXPECT_TRUE(value.Elements().empty());
    // Reserve on a string does nothing.
    EXPECT_TRUE(value.Reserve(10));
    EXPECT_EQ(value.Kind(), BindingValueKind::String);

    // Writing access reshapes it.
    value.At(0).SetBool(true);
    EXPECT_EQ(value.Kind(), BindingValueKind::Collection);
    EXPECT_EQ(value.Size(), 1u);
    value.Field("x");
    EXPECT_EQ(value.Kind(), BindingValueKind::Structure);
    EXPECT_TRUE(value.HasField("x"));
    EXPECT_TRUE(value.GetField("x").IsEmpty());

    // Making an existing shape again keeps its content.
    value.MakeStructure();
    EXPECT_EQ(value.Size(), 1u);
}

TEST(BindingValue, CollectionLengthLimitLeavesTheValueValid) {
    BindingValue value;
    value.At(1).SetSigned(1);
    EXPECT_FALSE(value.Reserve(kBindingMaxElements + 1));
    EXPECT_EQ(value.Size(), 2u);

    BindingValue& sink = value.At(kBindingMaxElements);
    EXPECT_EQ(value.Size(), 2u);
    sink.Field("lost").SetString("text");
    // The scratch value is cleared whenever it is handed out again.
    EXPECT_TRUE(value.At(kBindingMaxElements + 5).IsEmpty());
    EXPECT_EQ(value.GetAt(1).GetSigned(), 1);
}

TEST(BindingStructure, FieldsWalkInNameOrder) {
    BindingValue value;
    value.Field("b").SetSigned(1);
    value.Field("a").SetSigned(2);
    EXPECT_EQ(FieldNames(value), (std::vector<std::string>{"a", "b"}));

    // Byte order, unsigned, with the shorter name first on a tie.
    value.Field("ab");
    value.Field("B");
    value.Field("\xc3\xa9");
    value.Field("");
    EXPECT_EQ(FieldNames(value), (std::vector<std::string>{"", "B", "a", "ab", "b", "\xc3\xa9"}));
    EXPECT_EQ(value.Size(), 6u);
    EXPECT_EQ(value.GetField("a").GetSigned(), 2);
}

TEST(BindingStructure, SecondFieldOfANameIsTheFirstOne) {
    BindingValue value;
    value.Field("x").SetSigned(1);
    value.Field("x").SetSigned(2);
    EXPECT_EQ(value.Size(), 1u);
    EXPECT_EQ(value.GetField("x").GetSigned(), 2);
}

// Names that share their first bytes, so that the prefixes alone cannot tell them apart, found
// by every way there is while the tree grows.
TEST(BindingStructure, EveryWayOfFindingAFieldFindsTheSameOne) {
    std::vector<std::string> names;
    for (int i = 0; i < 53; ++i) {
        names.push_back("name" + std::to_string(i * 37 % 101));
    }
    BindingValue value;
    std::vector<const BindingValue*> addresses;
    for (std::size_t i = 0; i < names.size(); ++i) {
        addresses.push_back(&value.Field(HashedName(names[i])));
        value.Field(HashedName(names[i])).SetSigned(static_cast<std::int64_t>(i));
        for (std::size_t j = 0; j <= i; ++j) {
            ASSERT_TRUE(value.HasField(names[j])) << i << " " << j;
            ASSERT_EQ(&value.GetField(names[j]), addresses[j]) << i << " " << j;
            ASSERT_EQ(&value.Field(std::string_view(names[j])), addresses[j]) << i << " " << j;
            ASSERT_EQ(&value.Field(HashedName(names[j])), addresses[j]) << i << " " << j;
        }
        ASSERT_EQ(value.Size(), i + 1);
    }
    EXPECT_FALSE(value.HasField("name"));
    EXPECT_FALSE(value.HasField("name1000"));
    // A literal name is interned before the search; found, it gives that reference back, both
    // as the greatest name and deeper down.
    BindingValue& greatest = value.Field("zz"_name);
    EXPECT_EQ(&value.Field("zz"_name), &greatest);
    EXPECT_EQ(&value.Field("name0"_name), addresses[0]);
    names.push_back("zz");
    EXPECT_EQ(value.Size(), names.size());
    // Finding a field takes no reference to its name: each name is held by its node alone.
    BindingContext* context = value.Context();
    for (const std::string& name : names) {
        ASSERT_EQ(context->Find(HashedName(name))->References(), 1u) << name;
    }
    EXPECT_GT(Internal::CheckTree(BindingValueAccess::Structure(value)->root), 0);
    std::vector<std::string> sorted = names;
    std::sort(sorted.begin(), sorted.end());
    EXPECT_EQ(FieldNames(value), sorted);
    value.Reset();
    EXPECT_EQ(context->StringCount(), 0u);
    EXPECT_EQ(context->OutstandingRecords(), 1u);  // the string table's buckets
}

TEST(BindingStructure, NamesWithANulDoNotMeetTheirPrefix) {
    BindingValue value;
    value.Field(std::string_view("a\0b", 3)).SetSigned(1);
    value.Field("a").SetSigned(2);
    EXPECT_EQ(value.Size(), 2u);
    EXPECT_EQ(value.GetField(std::string_view("a\0b", 3)).GetSigned(), 1);
    EXPECT_EQ(value.GetField("a").GetSigned(), 2);
}

TEST(BindingStructure, StaysABalancedOrderedTreeUnderManyInsertions) {
    std::vector<std::string> names;
    for (int i = 0; i < 2000; ++i) {
        names.push_back("field" + std::to_string(i * 7919 % 2003));
    }
    std::mt19937 random(1234);
    std::shuffle(names.begin(), names.end(), random);

    BindingValue value;
    for (const std::string& name : names) {
        value.Field(name).SetString(name);
    }
    std::sort(names.begin(), names.end());
    EXPECT_EQ(FieldNames(value), names);
    const int blackHeight = Internal::CheckTree(BindingValueAccess::Structure(value)->root);
    EXPECT_GT(blackHeight, 0);
    // A red-black tree of 2000 nodes has a black height of at most log2(2001) + 1.
    EXPECT_LE(blackHeight, 12);

    // Ascending and descending insertion are the worst cases of an unbalanced tree.
    BindingValue ascending;
    BindingValue descending;
    for (int i = 0; i < 512; ++i) {
        char name[16];
        std::snprintf(name, sizeof name, "%04d", i);
        ascending.Field(name);
        std::snprintf(name, sizeof name, "%04d", 1000 - i);
        descending.Field(name);
    }
    EXPECT_GT(Internal::CheckTree(BindingValueAccess::Structure(ascending)->root), 0);
    EXPECT_GT(Internal::CheckTree(BindingValueAccess::Structure(descending)->root), 0);
}

class RecordingVisitor : public BindingValueVisitor {
public:
    std::string trace;

    void empty() override { trace += "_ "; }
    void boolean(bool value) override { trace += value ? "T " : "F "; }
    void signedInteger(std::int64_t value) override { trace += std::to_string(value) + " "; }
    void unsignedInteger(std::uint64_t value) override { trace += std::to_string(value) + "u "; }
    void floatingPoint(double value) override { trace += std::to_string(value) + " "; }
    void string(std::string_view text) override { trace += "'" + std::string(text) + "' "; }
    void blob(std::span<const std::uint8_t> bytes) override {
        trace += "blob" + std::to_string(bytes.size()) + " ";
    }
    void enumeration(std::int32_t number, const StaticTypeRecord* type) override {
        trace += "enum" + std::to_string(number) + (type != nullptr ? "+ " : " ");
    }
    void beginCollection(std::size_t count) override { trace += "[" + std::to_string(count) + " "; }
    void beginElement(std::size_t index) override { trace += "<" + std::to_string(index) + " "; }
    void endElement(std::size_t index) override { trace += std::to_string(index) + "> "; }
    void endCollection() override { trace += "] "; }
    void beginStructure(std::size_t count) override { trace += "{" + std::to_string(count) + " "; }
    void beginField(std::string_view name) override { trace += std::string(name) + ": "; }
    void endField(std::string_view name) override { trace += "/" + std::string(name) + " "; }
    void endStructure() override { trace += "} "; }
};

TEST(BindingValue, VisitWalksTheTreeInOrder) {
    struct Marker {};
    BindingValue value;
    value.Field("z").At(1).SetBool(true);
    value.Field("a").SetEnum(2, &StaticType::Record<Marker>());
    value.Field("m").SetBlob(std::vector<std::uint8_t>{1, 2});
    value.Field("b").SetUnsigned(3);

    RecordingVisitor visitor;
    value.Visit(visitor);
    EXPECT_EQ(visitor.trace, "{4 a: enum2+ /a b: 3u /b m: blob2 /m z: [2 <0 _ 0> <1 T 1> ] /z } ");
}

BindingValue BuildSample() {
    BindingValue value;
    value.Field("name").SetString("sample");
    value.Field("list").At(2).SetFloat(0.25);
    value.Field("list").At(0).Field("inner").SetSigned(-1);
    value.Field("blob").SetBlob(std::vector<std::uint8_t>{5, 6});
    value.Field("flag").SetEnum(7, nullptr);
    return value;
}

std::string Trace(const BindingValue& value) {
    RecordingVisitor visitor;
    value.Visit(visitor);
    return visitor.trace;
}

TEST(BindingValueCopy, IsDeepAndIndependent) {
    BindingValue source = BuildSample();
    BindingValue copy(source);
    EXPECT_EQ(Trace(copy), Trace(source));
    EXPECT_NE(copy.Context(), source.Context());
    EXPECT_TRUE(copy.OwnsContext());

    source.Field("list").At(0).Field("inner").SetSigned(99);
    EXPECT_EQ(copy.GetField("list").GetAt(0).GetField("inner").GetSigned(), -1);

    BindingValue assigned;
    assigned.SetString("old");
    assigned = copy;
    EXPECT_EQ(Trace(assigned), Trace(copy));
    assigned = assigned;
    EXPECT_EQ(Trace(assigned), Trace(copy));
}

TEST(BindingValueCopy, IntoAChildUsesTheParentsContext) {
    BindingValue source = BuildSample();
    BindingValue root;
    BindingValue& child = root.Field("child");
    child = source;
    EXPECT_EQ(Trace(child), Trace(source));
    EXPECT_EQ(child.Context(), root.Context());
    EXPECT_FALSE(child.OwnsContext());
    child.ForEachField([&](const BindingString&, const BindingValue& field) {
        EXPECT_EQ(field.Context(), root.Context());
    });
}

TEST(BindingValueCopy, AValueCanTakeACopyOfItsOwnPart) {
    BindingValue value = BuildSample();
    const std::string expected = Trace(value.GetField("list"));
    value = value.GetField("list");
    EXPECT_EQ(Trace(value), expected);

    // And a part can take a copy of the whole that holds it.
    BindingValue whole = BuildSample();
    const std::string before = Trace(whole);
    whole.Field("list").At(1) = whole;
    EXPECT_EQ(Trace(whole.GetField("list").GetAt(1)), before);
}

TEST(BindingValueMove, BetweenRootsSwapsAndClearsTheSource) {
    BindingValue source = BuildSample();
    const std::string expected = Trace(source);
    BindingContext* sourceContext = source.Context();

    BindingValue target;
    target.Field("old").SetString("content");
    BindingContext* targetContext = target.Context();
    target = std::move(source);

    EXPECT_EQ(Trace(target), expected);
    EXPECT_EQ(target.Context(), sourceContext);
    EXPECT_TRUE(source.IsEmpty());
    // The source kept the target's old context and released what it held.
    EXPECT_EQ(source.Context(), targetContext);
    EXPECT_EQ(targetContext->StringCount(), 0u);
    source.SetString("still usable");
    EXPECT_EQ(source.GetString(), "still usable");

    BindingValue constructed(std::move(target));
    EXPECT_EQ(Trace(constructed), expected);
    EXPECT_TRUE(target.IsEmpty());
    EXPECT_EQ(target.Context(), nullptr);
}

TEST(BindingValueMove, FromAChildCopiesAndLeavesAnEmptySlot) {
    BindingValue parent = BuildSample();
    const std::string expected = Trace(parent.GetField("list"));
    BindingValue target;
    target = std::move(parent.Field("list"));
    EXPECT_EQ(Trace(target), expected);
    EXPECT_NE(target.Context(), parent.Context());
    EXPECT_TRUE(parent.HasField("list"));
    EXPECT_TRUE(parent.GetField("list").IsEmpty());

    BindingValue constructed(std::move(parent.Field("name")));
    EXPECT_EQ(constructed.GetString(), "sample");
    EXPECT_TRUE(parent.GetField("name").IsEmpty());
}

TEST(BindingValueMove, IntoAChildCopiesIntoTheParentsContext) {
    BindingValue root;
    BindingValue source = BuildSample();
    const std::string expected = Trace(source);
    root.Field("x") = std::move(source);
    EXPECT_EQ(Trace(root.GetField("x")), expected);
    EXPECT_TRUE(source.IsEmpty());

    // A child moved into its own ancestor.
    BindingValue tree = BuildSample();
    const std::string part = Trace(tree.GetField("list"));
    tree = std::move(tree.Field("list"));
    EXPECT_EQ(Trace(tree), part);
}

// A child of the same context hands its records over as they are: nothing is copied, nothing
// is interned again.
TEST(BindingValueMove, WithinOneContextHandsTheRecordsOver) {
    BindingValue root;
    BindingValue& source = root.Field("a");
    source.Field("name").SetString("text");
    source.Field("list").At(5).SetString("text");
    BindingContext* context = root.Context();
    const std::size_t records = context->OutstandingRecords();
    const BindingString* text = &source.GetField("name").GetBindingString();
    EXPECT_EQ(text->References(), 2u);

    root.Field("b") = std::move(root.Field("a"));
    EXPECT_TRUE(root.GetField("a").IsEmpty());
    EXPECT_EQ(&root.GetField("b").GetField("name").GetBindingString(), text);
    EXPECT_EQ(text->References(), 2u);
    // A node and a name more, for "b"; the moved tree's records stay where they were.
    EXPECT_EQ(context->OutstandingRecords(), records + 2);

    // A child moved into a field of its own subtree replaces that subtree.
    BindingValue& holder = root.Field("b");
    holder = std::move(holder.Field("list"));
    EXPECT_EQ(root.GetField("b").Size(), 6u);
    EXPECT_EQ(root.GetField("b").GetAt(5).GetString(), "text");
    EXPECT_EQ(text->References(), 1u);
}

// A field's node keeps its name in bytes of the field's value that no operation of the value
// may touch: every way of writing the value must leave the name as it was.
TEST(BindingStructure, EveryWayOfWritingAFieldKeepsItsName) {
    BindingValue other;
    other.Field("inner").SetString("from another tree");
    BindingValue root;
    root.Field("copy") = other;
    root.Field("moved") = BindingValue(other);
    root.Field("within") = std::move(root.Field("copy").Field("inner"));
    root.Field("reset").SetSigned(1);
    root.Field("reset").Reset();
    root.Field("shapes").At(3).SetFloat(1.5);
    root.Field("shapes").MakeStructure();
    root.Field("shapes").SetBlob(std::vector<std::uint8_t>{1, 2});
    root.Field("shapes").SetEnum(4, nullptr);
    root.Field("swap") = root.GetField("moved");
    root.Field("swap") = std::move(other);

    std::vector<std::string> names;
    root.ForEachField(
        [&](const BindingString& name, const BindingValue&) { names.emplace_back(name.View()); });
    EXPECT_EQ(names,
              (std::vector<std::string>{"copy", "moved", "reset", "shapes", "swap", "within"}));
    EXPECT_EQ(root.GetField("within").GetString(), "from another tree");
    EXPECT_EQ(root.GetField("shapes").GetEnum().number, 4);
    EXPECT_TRUE(root.HasField("reset"));
    EXPECT_EQ(root.GetField("swap").GetField("inner").GetString(), "from another tree");
}

TEST(BindingStructure, FieldsPastTheGreatestNameAfterACopyKeepTheOrder) {
    BindingValue original;
    std::vector<std::string> names;
    for (int i = 0; i < 100; ++i) {
        names.push_back("m" + std::to_string(100 + i));
        original.Field(names.back()).SetSigned(i);
    }
    BindingValue copy(original);
    for (int i = 0; i < 50; ++i) {
        names.push_back("z" + std::to_string(100 + i));
        copy.Field(names.back());
        names.push_back("a" + std::to_string(100 + i));
        copy.Field(names.back());
    }
    // The greatest name so far is found, not added again.
    copy.Field("z149").SetSigned(-1);
    std::sort(names.begin(), names.end());
    EXPECT_EQ(FieldNames(copy), names);
    EXPECT_EQ(copy.Size(), 200u);
    EXPECT_EQ(copy.GetField("z149").GetSigned(), -1);
    EXPECT_GT(Internal::CheckTree(BindingValueAccess::Structure(copy)->root), 0);
    EXPECT_EQ(original.Size(), 100u);
}

// Builds a chain `levels` deep without recursion.
void BuildChain(BindingValue& root, std::size_t levels) {
    BindingValue* current = &root;
    for (std::size_t i = 0; i < levels; ++i) {
        current = &(i % 2 == 0 ? current->At(0) : current->Field("next"));
    }
    current->SetString("bottom");
}

TEST(BindingValueDepth, DeepTreesReleaseWithoutRecursion) {
    BindingValue root;
    BuildChain(root, 200000);
    root.Reset();
    EXPECT_EQ(root.Context()->StringCount(), 0u);
    EXPECT_EQ(root.Context()->OutstandingRecords(), 1u);  // the table's buckets
}

// A root takes its context's records and strings along all at once; whatever the records own on
// the heap must still be freed one by one, at any depth.
TEST(BindingValueLifetime, DestroyedRootGivesBackEveryHeapByteAndPage) {
    AllocationCounterValues before{};
    ReadCounters(&before);
    const std::size_t pagesBefore = SlabPool::Instance().GetStatistics().pagesInUse;
    {
        BindingValue root;
        const std::string longText(200, 'x');
        for (int i = 0; i < 300; ++i) {
            BindingValue& item = root.Field("item" + std::to_string(i));
            item.Field("text").SetString(longText + std::to_string(i));
            item.Field("bytes").SetBlob(
                std::vector<std::uint8_t>(100, static_cast<std::uint8_t>(i)));
            BindingValue& list = item.Field("list");
            for (int k = 0; k < 20; ++k) {
                list.Append().At(0).Field("deep").SetBlob(std::vector<std::uint8_t>{1, 2, 3});
            }
        }
        BindingValue copy(root);
        EXPECT_EQ(copy.GetField("item7").GetField("text").GetString(), longText + "7");
        EXPECT_EQ(
            copy.GetField("item299").GetField("list").GetAt(19).GetAt(0).GetField("deep").Size(),
            3u);
        EXPECT_GT(SlabPool::Instance().GetStatistics().pagesInUse, pagesBefore + 4);
        // A root that dies after all its records were released goes the same way.
        BindingValue emptied(root);
        emptied.Reset();
    }
    AllocationCounterValues after{};
    ReadCounters(&after);
    EXPECT_EQ(after.bytesAllocated - after.bytesFreed, before.bytesAllocated - before.bytesFreed);
    EXPECT_EQ(SlabPool::Instance().GetStatistics().pagesInUse, pagesBefore);
}

TEST(BindingValueDepth, CopyAndVisitStopAtTheLimit) {
    BindingValue deep;
    BuildChain(deep, kBindingMaxDepth + 10);
    BindingValue copy(deep);

    // Walk down the copy: the container at the limit lost its content.
    const BindingValue* current = &copy;
    std::size_t depth = 0;
    while (current->Size() != 0) {
        current = current->Kind() == BindingValueKind::Collection ? &current->GetAt(0)
                                                                  : &current->GetField("next");
        ++depth;
    }
    EXPECT_EQ(depth, kBindingMaxDepth);

    RecordingVisitor visitor;
    deep.Visit(visitor);
    EXPECT_EQ(visitor.trace.find("bottom"), std::string::npos);

    BindingValue shallow;
    BuildChain(shallow, kBindingMaxDepth);
    BindingValue complete(shallow);
    EXPECT_EQ(Trace(complete), Trace(shallow));
    EXPECT_NE(Trace(complete).find("bottom"), std::string::npos);
}

}  // namespace
}  // namespace Tavix::Client
