#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "binding/context.h"
#include "binding/convert.h"
#include "binding/json.h"
#include "binding/record_builder.h"
#include "binding/registry.h"

namespace Tavix::Client {
namespace {

enum class Lane : std::int16_t { None = 0, Mid = 2, Bottom = -4 };

struct Member {
    std::uint64_t summonerId = 0;
    Lane lane = Lane::None;
};

// One field of every native form.
struct SearchBody {
    bool ready = false;
    std::int8_t i8 = 0;
    std::uint8_t u8 = 0;
    std::int16_t i16 = 0;
    std::uint16_t u16 = 0;
    std::int32_t queueId = 0;
    std::uint32_t u32 = 0;
    std::int64_t i64 = 0;
    std::uint64_t u64 = 0;
    float ratio = 0.0f;
    double estimate = 0.0;
    std::string name;
    BindingValue extra;
    std::vector<std::uint8_t> token;
    Lane lane = Lane::None;
    Member leader;
    std::vector<Member> team;
    std::vector<std::int32_t> bans;
    std::vector<bool> flags;
    std::vector<std::string> tags;
    std::optional<std::string> note;
    std::optional<std::uint32_t> penalty;
    std::optional<Member> captain;
    std::map<std::string, std::uint32_t> counts;
    BindingCallback onDone;
};

class ConvertRecordTest : public ::testing::Test {
protected:
    ConvertRecordTest() {
        DeclareEnum<Lane>(registry, "Lane")
            .AddEnumerator("NONE", 0)
            .AddEnumerator("MID", 2)
            .AddEnumerator("BOTTOM", -4);
        DeclareRecord<Member>(registry, "Member")
            .Field("summonerId", &Member::summonerId)
            .Field("lane", &Member::lane);
        DeclareRecord<SearchBody>(registry, "SearchBody")
            .Field("ready", &SearchBody::ready)
            .Field("i8", &SearchBody::i8)
            .Field("u8", &SearchBody::u8)
            .Field("i16", &SearchBody::i16)
            .Field("u16", &SearchBody::u16)
            .Field("queueId", &SearchBody::queueId)
            .Field("u32", &SearchBody::u32)
            .Field("i64", &SearchBody::i64)
            .Field("u64", &SearchBody::u64)
            .Field("ratio", &SearchBody::ratio)
            .Field("estimate", &SearchBody::estimate)
            .Field("name", &SearchBody::name)
            .Field("extra", &SearchBody::extra)
            .Field("token", &SearchBody::token)
            .Field("lane", &SearchBody::lane)
            .Field("leader", &SearchBody::leader)
            .Field("team", &SearchBody::team)
            .Field("bans", &SearchBody::bans)
            .Field("flags", &SearchBody::flags)
            .Field("tags", &SearchBody::tags)
            .Field("note", &SearchBody::note)
            .Field("penalty", &SearchBody::penalty)
            .Field("captain", &SearchBody::captain)
            .Field("counts", &SearchBody::counts)
            .Field("onDone", &SearchBody::onDone);
        body = registry.FindTypeByName("SearchBody");
    }

    BindingResult ToValue(const SearchBody& native) {
        BindingResult result;
        StructToValue(result, &registry, &native, body);
        return result;
    }
    BindingResult Assign(SearchBody& native, const BindingValue& value) {
        BindingResult result;
        AssignStruct(result, &registry, &native, value, "body", body, 0);
        return result;
    }

    BindingRegistry registry;
    const BindingTypeDescriptor* body = nullptr;
};

SearchBody FullBody() {
    SearchBody b;
    b.ready = true;
    b.i8 = -128;
    b.u8 = 255;
    b.i16 = -32768;
    b.u16 = 65535;
    b.queueId = -2147483647 - 1;
    b.u32 = 4294967295u;
    b.i64 = -9223372036854775807 - 1;
    b.u64 = 18446744073709551615ull;
    b.ratio = 0.25f;
    b.estimate = 1e300;
    b.name = "Ahri";
    b.extra.Field("nested").SetSigned(-3);
    b.token = {0, 1, 254};
    b.lane = Lane::Bottom;
    b.leader = {7, Lane::Mid};
    b.team = {{1, Lane::Mid}, {2, Lane::Bottom}};
    b.bans = {-1, 0, 2};
    b.flags = {true, false};
    b.tags = {"a", ""};
    b.note = "hello";
    b.penalty = 30;
    b.captain = Member{9, Lane::None};
    b.counts = {{"x", 1}, {"y", 2}};
    b.onDone.id = 77;
    return b;
}

TEST_F(ConvertRecordTest, EveryFieldFormSurvivesARoundTrip) {
    const SearchBody original = FullBody();
    BindingResult value = ToValue(original);
    ASSERT_TRUE(value.Ok()) << value.ErrorText();
    EXPECT_EQ(value.Size(), 25u);
    EXPECT_EQ(value.GetField("lane").Kind(), BindingValueKind::Enum);
    EXPECT_EQ(value.GetField("lane").GetEnum().number, -4);
    EXPECT_EQ(value.GetField("i8").GetSigned(), -128);
    EXPECT_EQ(value.GetField("u32").GetUnsigned(), 4294967295u);
    EXPECT_EQ(value.GetField("ratio").GetFloat(), 0.25);
    EXPECT_EQ(value.GetField("token").Kind(), BindingValueKind::Blob);
    EXPECT_EQ(value.GetField("team").GetAt(1).GetField("summonerId").GetUnsigned(), 2u);
    EXPECT_EQ(value.GetField("counts").GetField("y").GetUnsigned(), 2u);

    SearchBody copy;
    BindingResult assigned = Assign(copy, value);
    ASSERT_TRUE(assigned.Ok()) << assigned.ErrorText();
    EXPECT_EQ(copy.ready, original.ready);
    EXPECT_EQ(copy.i8, original.i8);
    EXPECT_EQ(copy.u8, original.u8);
    EXPECT_EQ(copy.i16, original.i16);
    EXPECT_EQ(copy.u16, original.u16);
    EXPECT_EQ(copy.queueId, original.queueId);
    EXPECT_EQ(copy.u32, original.u32);
    EXPECT_EQ(copy.i64, original.i64);
    EXPECT_EQ(copy.u64, original.u64);
    EXPECT_EQ(copy.ratio, original.ratio);
    EXPECT_EQ(copy.estimate, original.estimate);
    EXPECT_EQ(copy.name, original.name);
    EXPECT_EQ(copy.extra.GetField("nested").GetSigned(), -3);
    EXPECT_EQ(copy.token, original.token);
    EXPECT_EQ(copy.lane, original.lane);
    EXPECT_EQ(copy.leader.summonerId, 7u);
    EXPECT_EQ(copy.leader.lane, Lane::Mid);
    ASSERT_EQ(copy.team.size(), 2u);
    EXPECT_EQ(copy.team[1].lane, Lane::Bottom);
    EXPECT_EQ(copy.bans, original.bans);
    EXPECT_EQ(copy.flags, original.flags);
    EXPECT_EQ(copy.tags, original.tags);
    EXPECT_EQ(copy.note, original.note);
    EXPECT_EQ(copy.penalty, original.penalty);
    ASSERT_TRUE(copy.captain.has_value());
    EXPECT_EQ(copy.captain->summonerId, 9u);
    EXPECT_EQ(copy.counts, original.counts);
    EXPECT_EQ(copy.onDone.id, 77u);
}

TEST_F(ConvertRecordTest, LooseInputsAreReadAndAbsentFieldsKeepTheirValues) {
    BindingValue input;
    input.Field("queueId").SetString("0x10");
    input.Field("lane").SetString("MID");
    input.Field("name").SetEnum(-4, &StaticType::Record<Lane>());
    input.Field("bans").At(2).SetSigned(5);  // elements 0 and 1 stay empty
    input.Field("note");                     // null
    input.Field("unknownField").SetBool(true);
    SearchBody native;
    native.note = "kept";
    native.u32 = 99;
    native.bans = {7, 7, 7, 7};
    native.extra.SetSigned(1);
    BindingResult result = Assign(native, input);
    ASSERT_TRUE(result.Ok()) << result.ErrorText();
    EXPECT_EQ(native.queueId, 16);
    EXPECT_EQ(native.lane, Lane::Mid);
    EXPECT_EQ(native.name, "BOTTOM");
    EXPECT_EQ(native.bans, (std::vector<std::int32_t>{0, 0, 5}));
    EXPECT_EQ(native.note, "kept");
    EXPECT_EQ(native.u32, 99u);
    EXPECT_EQ(native.extra.GetSigned(), 1);
}

TEST_F(ConvertRecordTest, AWrongRequestBodyNamesTheField) {
    struct Case {
        const char* field;
        BindingValue value;
        const char* message;
    };
    std::vector<Case> cases;
    cases.push_back(
        {"queueId", {}, "Value 3000000000 for 'queueId' of type int32 is out of range"});
    cases.back().value.SetUnsigned(3000000000u);
    cases.push_back({"lane", {}, "TOPLANE is not a valid Lane enumeration value for 'lane'."});
    cases.back().value.SetString("TOPLANE");
    cases.push_back(
        {"name", {}, "Couldn't assign value to 'name' because the input is not a string."});
    cases.back().value.SetSigned(12);
    cases.push_back(
        {"team",
         {},
         "Couldn't assign value to 'team' of type vector because the input not a collection."});
    cases.back().value.Field("summonerId").SetUnsigned(1);
    cases.push_back(
        {"leader",
         {},
         "Couldn't assign value to 'leader' of type Member because the input not a structure."});
    cases.back().value.At(0).SetUnsigned(1);
    cases.push_back({"bans", {}, "Value x for 'bans' of type int32 is in an incorrect format"});
    cases.back().value.At(1).SetString("x");
    cases.push_back({"token",
                     {},
                     "Couldn't assign value to 'token' of type blob because the input is of an "
                     "invalid type string."});
    cases.back().value.SetString("AAEC");
    cases.push_back({"u8", {}, "Value 300 for 'u8' of type uint8 is out of range"});
    cases.back().value.SetSigned(300);

    for (const Case& c : cases) {
        BindingValue input;
        input.Field(c.field) = c.value;
        SearchBody native;
        BindingResult result = Assign(native, input);
        EXPECT_FALSE(result.Ok()) << c.field;
        EXPECT_EQ(result.ErrorText(), c.message) << c.field;
    }
}

TEST_F(ConvertRecordTest, NonStructureInputsAndUnregisteredRecordsAreRefused) {
    SearchBody native;
    BindingValue list;
    list.MakeCollection();
    BindingResult notStructure = Assign(native, list);
    EXPECT_EQ(notStructure.ErrorText(),
              "Couldn't assign value to 'body' of type SearchBody because the input not a "
              "structure.");

    BindingResult unregistered;
    AssignStruct(unregistered, &registry, &native, list, "body", nullptr, 0);
    EXPECT_EQ(unregistered.ErrorText(),
              "Couldn't assign value to 'body' because the input is an unregistered structure or "
              "not a structure at all.");

    BindingResult toValue;
    StructToValue(toValue, &registry, &native, nullptr);
    EXPECT_EQ(toValue.ErrorText(),
              "Couldn't convert native value because it's an unregistered structure.");

    // A field whose record type was never declared fails only when it is reached.
    struct Unknown {
        int a = 0;
    };
    struct Holder {
        std::vector<Unknown> items;
    };
    DeclareRecord<Holder>(registry, "Holder").Field("items", &Holder::items);
    Holder holder;
    holder.items.resize(1);
    BindingResult nested;
    StructToValue(nested, &registry, &holder, registry.FindTypeByName("Holder"));
    EXPECT_EQ(nested.ErrorText(),
              "Couldn't convert native value because it's an unregistered structure.");
}

struct Ticket {
    std::string queue;
    std::uint32_t size = 0;
    std::optional<std::string> reason;
    bool flag = false;
    double wait = 0.0;
    std::vector<std::int32_t> list;
    Lane lane = Lane::None;
};

TEST_F(ConvertRecordTest, FlagsDecideRequiredAndOmittedFields) {
    DeclareRecord<Ticket>(registry, "Ticket")
        .Field("queue", &Ticket::queue, "", BindingFieldFlags::Required)
        .Field("size", &Ticket::size, "", BindingFieldFlags::Required)
        .Field("reason", &Ticket::reason)
        .Field("flag", &Ticket::flag, "", BindingFieldFlags::OmitWhenEmpty)
        .Field("wait", &Ticket::wait, "", BindingFieldFlags::OmitWhenEmpty)
        .Field("list", &Ticket::list, "", BindingFieldFlags::OmitWhenEmpty)
        .Field("lane", &Ticket::lane, "", BindingFieldFlags::OmitWhenEmpty);
    const BindingTypeDescriptor* ticket = registry.FindTypeByName("Ticket");

    BindingValue input;
    input.Field("queue").SetString("ranked");
    input.Field("size");
    Ticket native;
    BindingResult missing;
    AssignStruct(missing, &registry, &native, input, "ticket", ticket, 0);
    EXPECT_EQ(missing.ErrorText(),
              "Couldn't assign value to 'ticket' of type Ticket because the input structure "
              "doesn't have required field 'size'.");
    EXPECT_EQ(native.queue, "ranked");

    BindingResult sparse;
    StructToValue(sparse, &registry, &native, ticket);
    ASSERT_TRUE(sparse.Ok());
    EXPECT_EQ(sparse.Size(), 3u);
    EXPECT_TRUE(sparse.HasField("reason"));
    EXPECT_TRUE(sparse.GetField("reason").IsEmpty());
    EXPECT_FALSE(sparse.HasField("flag"));

    native.flag = true;
    native.wait = std::nan("");
    native.list = {0};
    native.lane = Lane::Mid;
    BindingResult full;
    StructToValue(full, &registry, &native, ticket);
    EXPECT_EQ(full.Size(), 7u);
}

TEST_F(ConvertRecordTest, ObjectFieldsCopyTheInputEvenFromInsideThemselves) {
    SearchBody native;
    native.extra.Field("inner").Field("deep").SetString("kept");
    const BindingValue& inner = native.extra.GetField("inner");
    BindingResult result;
    BindingFieldCodec<BindingValue>::Assign(result, native.extra, inner, "extra", nullptr,
                                            &registry, 0);
    ASSERT_TRUE(result.Ok());
    EXPECT_EQ(native.extra.GetField("deep").GetString(), "kept");
    BindingFieldCodec<BindingValue>::Assign(result, native.extra, native.extra, "extra", nullptr,
                                            &registry, 0);
    EXPECT_EQ(native.extra.GetField("deep").GetString(), "kept");
}

// Field and element temporaries are built inside the tree's own context; whatever they held
// and did not hand over must go back to it.
TEST_F(ConvertRecordTest, ARecordBecomesOneTreeWithNothingLeftOver) {
    BindingResult value = ToValue(FullBody());
    ASSERT_TRUE(value.Ok()) << value.ErrorText();
    BindingContext* context = value.Context();
    EXPECT_EQ(value.GetField("team").GetAt(1).Context(), context);
    EXPECT_EQ(value.GetField("counts").GetField("y").GetUnsigned(), 2u);
    EXPECT_EQ(value.GetField("tags").GetAt(0).GetString(), "a");

    const BindingValue copy(value);
    EXPECT_EQ(context->StringCount(), copy.Context()->StringCount());
    EXPECT_EQ(context->OutstandingRecords(), copy.Context()->OutstandingRecords());
    EXPECT_EQ(context->HeapArrayCount(), copy.Context()->HeapArrayCount());
    EXPECT_EQ(WriteJson(value, nullptr, nullptr), WriteJson(copy, nullptr, nullptr));
}

TEST_F(ConvertRecordTest, AFailedVectorOrOptionalLeavesNoPartialState) {
    SearchBody native;
    native.penalty = 5;
    native.tags = {"old"};
    BindingValue input;
    input.Field("penalty").SetSigned(-1);
    BindingResult failed = Assign(native, input);
    EXPECT_EQ(failed.ErrorText(), "Value -1 for 'penalty' of type uint32 is out of range");
    EXPECT_EQ(native.penalty, 5u);

    // A vector is emptied even when an earlier field already failed.
    BindingValue tags;
    tags.At(0).SetString("new");
    BindingFieldCodec<std::vector<std::string>>::Assign(failed, native.tags, tags, "tags", nullptr,
                                                        &registry, 0);
    EXPECT_TRUE(native.tags.empty());
}

}  // namespace
}  // namespace Tavix::Client
