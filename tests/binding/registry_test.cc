#include "binding/registry.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "binding/builtin_types.h"
#include "binding/value.h"

namespace Tavix::Client {
namespace Sample {

enum class Mood : std::int8_t { Calm = 0, Angry = 3 };

struct Point {
    std::int32_t x = 0;
    std::int32_t y = 0;
};

struct Shape {
    std::string name;
    std::vector<Point> points;
    std::optional<Mood> mood;
    std::vector<std::uint8_t> bytes;
    BindingValue extra;
};

struct Fixed {};
constexpr StaticTypeOptions StaticTypeOptionsOf(Fixed*) {
    return {.identity = 0xF4E3B901};
}

struct Spelled {};
constexpr StaticTypeOptions StaticTypeOptionsOf(Spelled*) {
    return {.spellName = true};
}

struct NotDeclared {};

}  // namespace Sample

namespace {

using Sample::Mood;
using Sample::Point;
using Sample::Shape;

std::vector<std::string> Names(const auto& descriptors) {
    std::vector<std::string> names;
    for (const auto* descriptor : descriptors) {
        names.push_back(descriptor->name);
    }
    std::sort(names.begin(), names.end());
    return names;
}

TEST(BindingKindText, NamesEveryKindAndNothingElse) {
    EXPECT_STREQ(KindName(0u), "");
    EXPECT_STREQ(KindName(BindingKind::Bool), "bool");
    EXPECT_STREQ(KindName(BindingKind::Uint16), "uint16");
    EXPECT_STREQ(KindName(BindingKind::Object), "object");
    EXPECT_STREQ(KindName(BindingKind::Callback), "callback");
    EXPECT_STREQ(KindName(BindingKind::Map), "map");
    EXPECT_STREQ(KindName(20u), "");
}

TEST(StaticTypeRecord, IdentitiesAreFixedDistinctAndPrintable) {
    const StaticTypeRecord& point = StaticType::Record<Point>();
    EXPECT_EQ(&point, &StaticType::Record<Point>());
    EXPECT_NE(point.identity, StaticType::Record<Shape>().identity);
    EXPECT_NE(point.identity, StaticType::Record<std::vector<Point>>().identity);
    char expected[16];
    std::snprintf(expected, sizeof expected, "#%08X", point.identity);
    EXPECT_STREQ(point.text, expected);

    EXPECT_EQ(StaticType::Record<Sample::Fixed>().identity, 0xF4E3B901u);
    EXPECT_STREQ(StaticType::Record<Sample::Fixed>().text, "#F4E3B901");
    EXPECT_EQ(StaticType::Record<StaticTypeNone>().identity, kNoTypeIdentity);

    const std::string spelled = StaticType::Record<Sample::Spelled>().text;
    EXPECT_NE(spelled.find("Tavix::Client::Sample::Spelled"), std::string::npos) << spelled;
}

TEST(BindingRegistry, DeclaresStructsWithTypedFields) {
    BindingRegistry registry;
    registry.DeclareType<Mood>("Mood").AddEnumerator("Calm", 0).AddEnumerator("Angry", 3);
    registry.DeclareType<Point>("Point")
        .AddField<std::int32_t>("x", offsetof(Point, x), "Horizontal")
        .AddField<std::int32_t>("y", offsetof(Point, y), "", BindingFieldFlags::Required);
    auto builder = registry.DeclareType<Shape>("Shape");
    builder.SetDescription("A shape")
        .AddField<std::string>("name", offsetof(Shape, name))
        .AddField<std::vector<Point>>("points", offsetof(Shape, points))
        .AddField<std::optional<Mood>>("mood", offsetof(Shape, mood))
        // A map makes a record non-standard-layout, so its offset is given by hand here.
        .AddField<std::map<std::string, double>>("weights", 0)
        .AddField<std::vector<std::uint8_t>>("bytes", offsetof(Shape, bytes))
        .AddField<BindingValue>("extra", offsetof(Shape, extra), "", 0xFF);
    EXPECT_FALSE(builder.Existed());

    const BindingTypeDescriptor* point = registry.FindType(StaticType::Record<Point>());
    const BindingTypeDescriptor* mood = registry.FindTypeByName("Mood");
    const BindingTypeDescriptor* shape = registry.FindTypeByName("Shape");
    ASSERT_NE(point, nullptr);
    ASSERT_NE(mood, nullptr);
    ASSERT_NE(shape, nullptr);
    EXPECT_EQ(point->size, sizeof(Point));
    EXPECT_EQ(mood->size, 1u);
    EXPECT_TRUE(mood->isEnum);
    EXPECT_EQ(shape->registry, &registry);
    EXPECT_EQ(shape->description, "A shape");

    ASSERT_EQ(point->fields.size(), 2u);
    EXPECT_EQ(point->fields[0].name, "x");
    EXPECT_EQ(point->fields[0].nameHash, Fnv1a("x"));
    EXPECT_EQ(point->fields[0].description, "Horizontal");
    EXPECT_EQ(point->fields[1].offset, offsetof(Point, y));
    EXPECT_EQ(point->fields[1].flags, BindingFieldFlags::Required);
    EXPECT_EQ(point->fields[1].owner, point);
    EXPECT_EQ(point->fields[1].type, (BindingTypeRef{BindingKind::Int32, BindingKind::None}));

    const auto& fields = shape->fields;
    ASSERT_EQ(fields.size(), 6u);
    EXPECT_EQ(fields[0].type.kind, BindingKind::String);
    EXPECT_EQ(fields[1].type, (BindingTypeRef{BindingKind::Vector, BindingKind::Struct, point}));
    EXPECT_EQ(fields[1].record, &StaticType::Record<std::vector<Point>>());
    EXPECT_EQ(fields[2].type, (BindingTypeRef{BindingKind::Enum, BindingKind::None, mood}));
    EXPECT_TRUE(fields[2].optional);
    EXPECT_EQ(fields[3].type, (BindingTypeRef{BindingKind::Map, BindingKind::Double}));
    EXPECT_EQ(fields[4].type.kind, BindingKind::Blob);
    EXPECT_EQ(fields[5].type.kind, BindingKind::Object);
    // Only the two defined flags are kept.
    EXPECT_EQ(fields[5].flags, BindingFieldFlags::OmitWhenEmpty | BindingFieldFlags::Required);
}

TEST(BindingRegistry, ASecondDeclarationIsInert) {
    BindingRegistry registry;
    registry.DeclareType<Point>("Point").AddField<std::int32_t>("x", 0).AddTag("first");
    auto again = registry.DeclareType<Point>("Point");
    EXPECT_TRUE(again.Existed());
    again.AddField<std::int32_t>("other", 4).AddTag("second").SetDescription("changed");
    again.AddEnumerator("E", 1);

    const BindingTypeDescriptor* point = registry.FindTypeByName("Point");
    ASSERT_EQ(point->fields.size(), 1u);
    EXPECT_EQ(point->fields[0].name, "x");
    EXPECT_EQ(point->tags, std::vector<std::string>{"first"});
    EXPECT_TRUE(point->description.empty());
    EXPECT_TRUE(point->enumerators.empty());

    // A different native type under a taken name shares the descriptor and is not found by
    // its own identity.
    EXPECT_TRUE(registry.DeclareType<Shape>("Point").Existed());
    EXPECT_EQ(registry.FindType(StaticType::Record<Shape>()), nullptr);
}

TEST(BindingRegistry, EnumeratorsAreKeptByName) {
    BindingRegistry registry;
    auto builder = registry.DeclareType<Mood>("Mood");
    builder.AddEnumerator("Zeta", 3, "z")
        .AddEnumerator("Alpha", 3, "a")
        .AddEnumerator("Beta", 1, "first")
        .AddEnumerator("Beta", 2, "second");
    const BindingTypeDescriptor* mood = builder.Descriptor();
    ASSERT_EQ(mood->enumerators.size(), 3u);
    const BindingEnumerator& beta = mood->enumerators.at("Beta");
    EXPECT_EQ(beta.number, 2);
    EXPECT_EQ(beta.description, "second");
    EXPECT_EQ(beta.owner, mood);

    const StaticTypeRecord* record = &StaticType::Record<Mood>();
    // The first name in name order wins when two enumerators share a number.
    EXPECT_STREQ(registry.EnumeratorName(record, 3), "Alpha");
    EXPECT_EQ(registry.EnumeratorName(record, 1), nullptr);
    EXPECT_EQ(registry.EnumeratorName(&StaticType::Record<Point>(), 3), nullptr);
    EXPECT_EQ(registry.EnumeratorName(nullptr, 3), nullptr);
    EXPECT_TRUE(BindingRegistry::IsEnumerator(mood, 2));
    EXPECT_FALSE(BindingRegistry::IsEnumerator(mood, 1));
    EXPECT_FALSE(BindingRegistry::IsEnumerator(nullptr, 2));
}

TEST(BindingRegistry, FieldOfAnUndeclaredTypeHasNoDescriptor) {
    BindingRegistry registry;
    struct Holder {
        std::vector<Sample::NotDeclared> list;
        Sample::NotDeclared single;
    };
    auto builder = registry.DeclareType<Holder>("Holder");
    builder.AddField<std::vector<Sample::NotDeclared>>("list", offsetof(Holder, list))
        .AddField<Sample::NotDeclared>("single", offsetof(Holder, single));
    const auto& fields = builder.Descriptor()->fields;
    EXPECT_EQ(fields[0].type, (BindingTypeRef{BindingKind::Vector, BindingKind::Struct, nullptr}));
    EXPECT_EQ(fields[1].type, (BindingTypeRef{BindingKind::Struct, BindingKind::None, nullptr}));

    // A struct with no fields at all.
    EXPECT_TRUE(registry.DeclareType<Sample::NotDeclared>("Empty").Descriptor()->fields.empty());
}

TEST(BindingRegistry, TagsSkipEmptyTexts) {
    BindingRegistry registry;
    auto builder = registry.DeclareType<Point>("Point");
    builder.AddTag("").AddTags({"a", "", "b"}).AddTags(std::vector<std::string>{"", "c"});
    EXPECT_EQ(builder.Descriptor()->tags, (std::vector<std::string>{"a", "b", "c"}));
}

TEST(BindingRegistry, TheNoneIdentityIsNeverFoundByIdentity) {
    BindingRegistry registry;
    auto builder = registry.DeclareType<StaticTypeNone>("Nothing");
    EXPECT_FALSE(builder.Existed());
    EXPECT_NE(registry.FindTypeByName("Nothing"), nullptr);
    EXPECT_EQ(registry.FindType(StaticType::Record<StaticTypeNone>()), nullptr);
    EXPECT_EQ(registry.FindType(nullptr), nullptr);

    EXPECT_FALSE(registry.TypeRefOf(&StaticType::Record<StaticTypeNone>()).IsSet());
    registry.DeclareType<Mood>("Mood");
    registry.DeclareType<Point>("Point");
    EXPECT_EQ(registry.TypeRefOf(&StaticType::Record<Mood>()).kind, BindingKind::Enum);
    EXPECT_EQ(
        registry.TypeRefOf(&StaticType::Record<Point>()),
        (BindingTypeRef{BindingKind::Struct, BindingKind::None, registry.FindTypeByName("Point")}));
}

TEST(BindingRegistry, RemovedTypesLeaveBothTables) {
    BindingRegistry registry;
    registry.DeclareType<Point>("Point");
    BindingTypeDescriptor* point = registry.FindTypeByName("Point");
    registry.RemoveType(point);
    EXPECT_EQ(registry.FindTypeByName("Point"), nullptr);
    EXPECT_EQ(registry.FindType(StaticType::Record<Point>()), nullptr);
    // Declared again, it is new.
    EXPECT_FALSE(registry.DeclareType<Point>("Point").Existed());
    EXPECT_NE(registry.FindType(StaticType::Record<Point>()), nullptr);
}

class CountingHandler : public BindingFunctionHandler {
public:
    explicit CountingHandler(int* destroyed) : destroyed_(destroyed) {}
    ~CountingHandler() override { ++*destroyed_; }

private:
    int* destroyed_;
};

TEST(BindingRegistry, FunctionsCountTheGenerationAndOwnTheirHandler) {
    BindingRegistry registry;
    const std::uint32_t start = registry.Generation();
    auto builder = registry.DeclareFunction("Move", 2);
    builder.AddArgument("x", "Horizontal").AddArgument("y").AddArgument("z");
    builder.SetDescription("Moves").AddTags({"t", ""});
    EXPECT_EQ(registry.Generation(), start + 1);

    BindingFunctionDescriptor* function = registry.FindFunction("Move");
    ASSERT_EQ(function, builder.Descriptor());
    ASSERT_EQ(function->arguments.size(), 2u);
    EXPECT_EQ(function->arguments[0].name, "x");
    EXPECT_EQ(function->arguments[0].nameHash, Fnv1a("x"));
    EXPECT_EQ(function->arguments[0].description, "Horizontal");
    EXPECT_EQ(function->arguments[1].owner, function);
    EXPECT_EQ(function->tags, std::vector<std::string>{"t"});
    EXPECT_EQ(function->registry, &registry);

    EXPECT_TRUE(registry.DeclareFunction("Move", 5).Existed());
    EXPECT_EQ(registry.Generation(), start + 1);
    EXPECT_EQ(function->arguments.size(), 2u);

    int destroyed = 0;
    function->handler = std::make_unique<CountingHandler>(&destroyed);
    registry.RemoveFunction(function);
    EXPECT_EQ(destroyed, 1);
    EXPECT_EQ(registry.Generation(), start + 2);
    EXPECT_EQ(registry.FindFunction("Move"), nullptr);

    auto temporary = registry.DeclareFunction("Scratch", 1, true);
    temporary.AddArgument("a");
    EXPECT_EQ(registry.FindFunction("Scratch"), nullptr);
    EXPECT_EQ(registry.Generation(), start + 2);
    std::unique_ptr<BindingFunctionDescriptor> taken = temporary.TakeTemporary();
    ASSERT_NE(taken, nullptr);
    EXPECT_EQ(taken->arguments[0].name, "a");
}

TEST(BindingRegistry, EventsAreDeclaredOnce) {
    BindingRegistry registry;
    registry.DeclareType<Point>("Point");
    const BindingTypeDescriptor* point = registry.FindTypeByName("Point");
    BindingEventDeclaration first = registry.DeclareEvent("OnPoint", point);
    EXPECT_FALSE(first.existed);
    first.event->description = "described";
    BindingEventDeclaration second = registry.DeclareEvent("OnPoint", nullptr);
    EXPECT_TRUE(second.existed);
    EXPECT_EQ(second.event, first.event);
    EXPECT_EQ(second.event->type, point);
    registry.RemoveEvent("OnPoint");
    EXPECT_EQ(registry.FindEvent("OnPoint"), nullptr);
}

const std::vector<std::string> kBuiltinTypes = {
    "BindingAsyncCancelEvent",  "BindingAsyncFailureEvent", "BindingAsyncState",
    "BindingCallbackEvent",     "BindingFullApiHelp",       "BindingFullArgumentHelp",
    "BindingFullEnumValueHelp", "BindingFullEventHelp",     "BindingFullFieldHelp",
    "BindingFullFunctionHelp",  "BindingFullTypeHelp",      "BindingFullTypeIdentifier",
    "BindingGenericAsyncEvent", "BindingGenericEvent",      "BindingHelpFormat",
};

TEST(BindingRegistryBuiltins, ResetLeavesOnlyTheBuiltins) {
    BindingRegistry registry;
    EXPECT_FALSE(registry.BuiltinsRegistered());
    EXPECT_TRUE(registry.Types().empty());
    registry.Reset();
    EXPECT_TRUE(registry.BuiltinsRegistered());

    registry.DeclareType<Point>("Point");
    registry.DeclareFunction("F", 0);
    registry.DeclareEvent("OnF", nullptr);
    const std::uint32_t generation = registry.Generation();
    registry.Reset();

    EXPECT_EQ(Names(registry.Types()), kBuiltinTypes);
    EXPECT_TRUE(registry.Functions().empty());
    EXPECT_EQ(Names(registry.Events()), std::vector<std::string>{"OnCallback"});
    EXPECT_EQ(registry.FindType(StaticType::Record<Point>()), nullptr);
    EXPECT_EQ(registry.Generation(), generation + 1);
    EXPECT_NE(registry.FindType(StaticType::Record<BindingFullApiHelp>()), nullptr);
}

TEST(BindingRegistryBuiltins, RecordsAreDescribedAsDeclared) {
    BindingRegistry registry;
    registry.Reset();

    const BindingTypeDescriptor* format = registry.FindTypeByName("BindingHelpFormat");
    ASSERT_NE(format, nullptr);
    EXPECT_TRUE(format->isEnum);
    EXPECT_EQ(format->size, 4u);
    EXPECT_EQ(format->tags, (std::vector<std::string>{"$builtin", "help"}));
    EXPECT_EQ(format->enumerators.at("Epytext").number, 2);
    EXPECT_EQ(format->enumerators.at("Full").description, "Native help format");

    const BindingTypeDescriptor* state = registry.FindTypeByName("BindingAsyncState");
    EXPECT_EQ(state->tags, (std::vector<std::string>{"$builtin", "async"}));
    EXPECT_EQ(state->enumerators.size(), 6u);
    EXPECT_EQ(state->enumerators.at("Cancelling").description,
              "A request to cancel the operation has been made");

    const BindingTypeDescriptor* type = registry.FindTypeByName("BindingFullTypeHelp");
    ASSERT_EQ(type->fields.size(), 7u);
    EXPECT_EQ(type->fields[5].name, "fields");
    EXPECT_EQ(type->fields[5].type.descriptor, registry.FindTypeByName("BindingFullFieldHelp"));
    EXPECT_EQ(type->fields[4].type,
              (BindingTypeRef{BindingKind::Vector, BindingKind::String, nullptr}));

    const BindingTypeDescriptor* function = registry.FindTypeByName("BindingFullFunctionHelp");
    EXPECT_EQ(function->fields[2].type.descriptor,
              registry.FindTypeByName("BindingFullArgumentHelp"));
    EXPECT_EQ(function->fields[3].type.descriptor,
              registry.FindTypeByName("BindingFullTypeIdentifier"));

    const BindingTypeDescriptor* callback = registry.FindTypeByName("BindingCallbackEvent");
    EXPECT_EQ(callback->tags, std::vector<std::string>{"$builtin"});
    ASSERT_EQ(callback->fields.size(), 2u);
    EXPECT_EQ(callback->fields[1].type,
              (BindingTypeRef{BindingKind::Vector, BindingKind::Object, nullptr}));
    EXPECT_EQ(callback->fields[0].description, "ID of the callback being invoked");

    // Every field of every builtin carries the converter of its native form.
    for (const BindingTypeDescriptor* builtin : registry.Types()) {
        for (const BindingFieldDescriptor& field : builtin->fields) {
            EXPECT_NE(field.converter, nullptr) << builtin->name << "." << field.name;
            EXPECT_NE(field.record, nullptr) << builtin->name << "." << field.name;
        }
    }

    const BindingEventDescriptor* onCallback = registry.FindEvent("OnCallback");
    ASSERT_NE(onCallback, nullptr);
    EXPECT_EQ(onCallback->type, callback);
    EXPECT_EQ(onCallback->description, "Fired when a callback is invoked.");
    EXPECT_EQ(onCallback->tags, std::vector<std::string>{"$builtin"});
}

}  // namespace
}  // namespace Tavix::Client
