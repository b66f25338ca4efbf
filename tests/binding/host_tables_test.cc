// The registry as flat host records: what each record says, where the shown type wins, and that
// the links, counts and tag lists of every table lead where a host would follow them.

#include "binding/host_tables.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "binding/registry.h"

namespace Tavix::Client {
namespace Tables {

enum class Tone : std::int32_t { Low = 2, High = 7 };

struct Silence {};

struct Chord {
    std::vector<Tone> tones;
    std::uint16_t length = 0;
};

}  // namespace Tables

namespace {

using Tables::Chord;
using Tables::Tone;

// Packed fields cannot bind to references, which gtest's macros take.
template <typename T>
T Read(T value) {
    return value;
}

template <typename Record>
const Record* Named(std::span<const Record> records, std::string_view name) {
    for (const Record& record : records) {
        if (name == record.name) {
            return &record;
        }
    }
    return nullptr;
}

const HostFunctionHead* NamedFunction(const HostTables& tables, std::string_view name) {
    for (const HostFunctionHead& record : tables.Functions()) {
        if (name == record.name) {
            return &record;
        }
    }
    return nullptr;
}

class HostTablesTest : public ::testing::Test {
protected:
    void SetUp() override {
        registry.RegisterBuiltins();
        registry.DeclareType<Tone>("Tone")
            .AddEnumerator("Low", 2, "Deep")
            .AddEnumerator("High", 7)
            .AddTag("music");
        auto chord = registry.DeclareType<Chord>("Chord");
        chord.SetDescription("Tones at once")
            .AddField<std::vector<Tone>>("tones", offsetof(Chord, tones), "The tones")
            .AddField<std::uint16_t>("length", offsetof(Chord, length), "", 0,
                                     BindingTypeRef{BindingKind::Double, BindingKind::None});
        chord.AddTag("music");
        chord.AddTag("chords");
        registry.DeclareType<Tables::Silence>("Empty");

        auto play = registry.DeclareFunction("Play", 2);
        play.AddArgument("chord", "What to play").AddArgument("times").AddTags({"music"});
        BindingFunctionDescriptor* function = play.Descriptor();
        function->arguments[0].type = {BindingKind::Struct, BindingKind::None,
                                       registry.FindTypeByName("Chord")};
        function->arguments[1].type = {BindingKind::Uint32, BindingKind::None, nullptr};
        function->arguments[1].optional = true;
        function->returnType = {BindingKind::Vector, BindingKind::Enum,
                                registry.FindTypeByName("Tone")};
        function->async = true;
        function->description = "Plays a chord";

        BindingEventDeclaration played =
            registry.DeclareEvent("OnPlayed", registry.FindTypeByName("Chord"));
        played.event->description = "A chord was played";
        played.event->tags = {"music", "events"};

        tables = BuildHostTables(registry);
    }

    BindingRegistry registry;
    HostTables tables;
};

TEST_F(HostTablesTest, AFunctionRecordTellsArgumentsResultAndTags) {
    const HostFunctionHead* play = NamedFunction(tables, "Play");
    ASSERT_NE(play, nullptr);
    EXPECT_STREQ(play->description, "Plays a chord");
    EXPECT_STREQ(play->nameSpace, "");
    EXPECT_EQ(Read(play->returnKind), 15u);
    EXPECT_EQ(Read(play->returnElementKind), 16u);
    EXPECT_STREQ(play->returnTypeName, "Tone");
    EXPECT_STREQ(play->asyncResultTypeName, "Tone");
    EXPECT_EQ(Read(play->threadSafe), 0);
    EXPECT_EQ(Read(play->callContext), nullptr);
    ASSERT_EQ(Read(play->tagCount), 1u);
    EXPECT_STREQ(play->tags[0], "music");

    ASSERT_EQ(Read(play->argumentCount), 2u);
    const HostArgumentRecord* chord = play->arguments;
    EXPECT_STREQ(chord->name, "chord");
    EXPECT_STREQ(chord->description, "What to play");
    EXPECT_EQ(Read(chord->kind), 17u);
    EXPECT_STREQ(chord->typeName, "Chord");
    EXPECT_EQ(Read(chord->optional), 0);
    const HostArgumentRecord* times = chord->next;
    ASSERT_EQ(times, &play->arguments[1]);
    EXPECT_EQ(Read(times->kind), 7u);
    // Only kinds that name a declared type carry a type name.
    EXPECT_STREQ(times->typeName, "");
    EXPECT_EQ(Read(times->optional), 1);
    EXPECT_EQ(Read(times->next), nullptr);
}

TEST_F(HostTablesTest, AStructGivesItsFieldsAndAnEnumItsEnumeratorsInNameOrder) {
    const HostTypeRecord* chord = Named(tables.Types(), "Chord");
    ASSERT_NE(chord, nullptr);
    EXPECT_EQ(Read(chord->size), sizeof(Chord));
    EXPECT_STREQ(chord->description, "Tones at once");
    ASSERT_EQ(Read(chord->tagCount), 2u);
    EXPECT_STREQ(chord->tags[1], "chords");
    ASSERT_EQ(Read(chord->count), 2u);
    EXPECT_EQ(Read(chord->enumerators), nullptr);
    const HostFieldRecord* tones = chord->fields;
    EXPECT_STREQ(tones->name, "tones");
    EXPECT_EQ(Read(tones->offset), offsetof(Chord, tones));
    EXPECT_EQ(Read(tones->kind), 15u);
    EXPECT_EQ(Read(tones->elementKind), 16u);
    EXPECT_STREQ(tones->typeName, "Tone");
    // The shown type stands in place of the type.
    const HostFieldRecord* length = tones->next;
    EXPECT_EQ(Read(length->kind), 11u);
    EXPECT_EQ(Read(length->offset), offsetof(Chord, length));
    EXPECT_EQ(Read(length->next), nullptr);

    const HostTypeRecord* tone = Named(tables.Types(), "Tone");
    ASSERT_NE(tone, nullptr);
    EXPECT_EQ(Read(tone->fields), nullptr);
    ASSERT_EQ(Read(tone->count), 2u);
    EXPECT_STREQ(tone->enumerators[0].name, "High");
    EXPECT_EQ(Read(tone->enumerators[0].number), 7);
    EXPECT_STREQ(tone->enumerators[1].name, "Low");
    EXPECT_STREQ(tone->enumerators[1].description, "Deep");
    EXPECT_EQ(Read(tone->enumerators[0].next), &tone->enumerators[1]);

    const HostTypeRecord* empty = Named(tables.Types(), "Empty");
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(Read(empty->count), 0u);
    EXPECT_EQ(Read(empty->fields), nullptr);
    EXPECT_EQ(Read(empty->enumerators), nullptr);
}

TEST_F(HostTablesTest, AnEventNamesItsDataType) {
    const HostEventRecord* played = Named(tables.Events(), "OnPlayed");
    ASSERT_NE(played, nullptr);
    EXPECT_STREQ(played->typeName, "Chord");
    EXPECT_STREQ(played->description, "A chord was played");
    ASSERT_EQ(Read(played->tagCount), 2u);
    EXPECT_STREQ(played->tags[0], "music");
    EXPECT_STREQ(played->tags[1], "events");
    // The builtin event has no data type of its own name.
    const HostEventRecord* callback = Named(tables.Events(), "OnCallback");
    ASSERT_NE(callback, nullptr);
    EXPECT_STREQ(callback->typeName, "BindingCallbackEvent");
}

TEST_F(HostTablesTest, EveryTableIsOneLinkedArray) {
    const auto expectLinked = [](const auto records) {
        ASSERT_FALSE(records.empty());
        for (std::size_t i = 0; i + 1 < records.size(); ++i) {
            EXPECT_EQ(Read(records[i].next), &records[i + 1]);
        }
        EXPECT_EQ(Read(records.back().next), nullptr);
    };
    expectLinked(tables.Functions());
    expectLinked(tables.Types());
    expectLinked(tables.Events());
    EXPECT_EQ(tables.Types().size(), registry.Types().size());
    EXPECT_EQ(tables.FindFunction(registry.FindFunction("Play")), NamedFunction(tables, "Play"));
    EXPECT_EQ(tables.FindFunction(nullptr), nullptr);
}

TEST(HostTablesKinds, AKindOutOfRangeIsWrittenAsNone) {
    BindingRegistry registry;
    BindingFunctionDescriptor* odd = registry.DeclareFunction("Odd", 0).Descriptor();
    odd->returnType = {static_cast<BindingKind>(40), BindingKind::None, nullptr};
    const HostTables tables = BuildHostTables(registry);
    ASSERT_EQ(tables.Functions().size(), 1u);
    EXPECT_EQ(Read(tables.Functions()[0].returnKind), 0u);
    EXPECT_STREQ(tables.Functions()[0].asyncResultTypeName, "");
    EXPECT_EQ(Read(tables.Functions()[0].arguments), nullptr);
}

}  // namespace
}  // namespace Tavix::Client
