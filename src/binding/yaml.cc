#include "binding/yaml.h"

#include <yaml.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "binding/binding_string.h"
#include "binding/convert.h"
#include "binding/internal/recent_names.h"
#include "support/fnv1a.h"
#include "support/format.h"

namespace Tavix::Client {

namespace {

constexpr char kParserError[] = "YAML parser error: %1. At line: %2 col: %3";
constexpr char kMultiDocument[] = "Multi-document YAML is not supported.";
constexpr char kCyclicAlias[] =
    "Cannot deserialize cyclic aliases. Alias \"%1\". At line: %2 col: %3";
constexpr char kUndefinedAlias[] = "Undefined alias encountered: \"%1\". At line: %2 col: %3";
constexpr char kDuplicateAnchor[] = "Duplicate occurrence of anchor \"%1\". At line: %2 col: %3";
constexpr char kInvalidKey[] =
    "Invalid mapping key. Only string scalar keys are allowed. At line: %1 col: %2";
constexpr char kUnexpectedSequence[] = "Unexpected start of sequence. At line: %1 col: %2";
constexpr char kUnexpectedMapping[] = "Unexpected start of mapping. At line: %1 col: %2";
constexpr char kUnsupportedTag[] = "Unsupported YAML tag '%1'.";
constexpr char kAliasesTooLarge[] =
    "Aliases expand the YAML document beyond %1 values. Alias \"%2\". At line: %3 col: %4";
constexpr char kTooDeep[] = "YAML value nests deeper than %1 levels. At line: %2 col: %3";

constexpr std::string_view kStrTag = "tag:yaml.org,2002:str";
constexpr std::string_view kIntTag = "tag:yaml.org,2002:int";
constexpr std::string_view kFloatTag = "tag:yaml.org,2002:float";
constexpr std::string_view kBoolTag = "tag:yaml.org,2002:bool";

constexpr std::string_view kNullWords[] = {"", "~", "null", "Null", "NULL"};
constexpr std::string_view kTrueWords[] = {"true", "True", "TRUE", "y",  "Y", "yes",
                                           "Yes",  "YES",  "on",   "On", "ON"};
constexpr std::string_view kFalseWords[] = {"false", "False", "FALSE", "n",   "N",  "no",
                                            "No",    "NO",    "off",   "Off", "OFF"};

// Aliases copy whole subtrees, so a few hundred bytes of nested aliases could ask for billions of
// values. The copies of one document may add this many values, plus so many per byte of text:
// far beyond what a hand-written document reuses, far below what exhausts memory.
constexpr std::size_t kAliasValuesBase = 65536;
constexpr std::size_t kAliasValuesPerByte = 16;

template <std::size_t N>
bool IsWord(std::string_view text, const std::string_view (&words)[N]) {
    for (const std::string_view word : words) {
        if (text == word) {
            return true;
        }
    }
    return false;
}

std::string_view ViewOf(const yaml_char_t* text) {
    return text == nullptr ? std::string_view()
                           : std::string_view(reinterpret_cast<const char*>(text));
}

class YamlReader {
public:
    YamlReader(BindingResult& result, std::size_t textLength)
        : result_(result),
          aliasLimit_(kAliasValuesBase + kAliasValuesPerByte * textLength),
          aliasBudget_(aliasLimit_) {
        entries_.push_back(Entry{&result, {}, false});
        PushStep(StepKind::Root, 0).root = &result;
    }

    void Handle(const yaml_event_t& event) {
        switch (event.type) {
            case YAML_DOCUMENT_START_EVENT:
                if (!result_.IsEmpty()) {
                    result_.SetError(kMultiDocument);
                }
                return;
            case YAML_SEQUENCE_END_EVENT:
            case YAML_MAPPING_END_EVENT:
                Pop();
                return;
            case YAML_ALIAS_EVENT:
            case YAML_SCALAR_EVENT:
            case YAML_SEQUENCE_START_EVENT:
            case YAML_MAPPING_START_EVENT:
                break;
            default:
                return;  // stream start and end, document end
        }
        // A further document after one that came out empty: the root slot is used up.
        if (entries_.empty()) {
            result_.SetError(kMultiDocument);
            return;
        }
        PrepareTarget();
        const std::size_t line = event.start_mark.line + 1;
        const std::size_t column = event.start_mark.column + 1;
        switch (event.type) {
            case YAML_ALIAS_EVENT:
                OnAlias(ViewOf(event.data.alias.anchor), line, column);
                return;
            case YAML_SCALAR_EVENT:
                OnScalar(event, line, column);
                return;
            case YAML_SEQUENCE_START_EVENT:
                OnOpen(/*mapping=*/false, ViewOf(event.data.sequence_start.anchor), line, column);
                return;
            default:
                OnOpen(/*mapping=*/true, ViewOf(event.data.mapping_start.anchor), line, column);
                return;
        }
    }

private:
    // An open sequence or mapping, or a slot waiting for its value.
    struct Entry {
        BindingValue* target;
        std::string anchor;
        bool open;
    };

    enum class StepKind : std::uint32_t { Index = 0, Key = 1, Root = 2 };
    struct Step {
        StepKind kind = StepKind::Root;
        std::uint32_t index = 0;
        BindingValue* root = nullptr;
        std::string key;
    };

    // Anchors refer to the tree by path, not by pointer: a collection's elements move as it grows.
    struct Anchor {
        bool isText;
        std::vector<Step> path;
        std::string text;
    };

    // Opens the slot for the event's value: a new element of an open sequence, or the field of
    // the key that waits in an open mapping. Otherwise the top entry is the target itself.
    void PrepareTarget() {
        Entry& top = entries_.back();
        if (!top.open) {
            return;
        }
        BindingValue& container = *top.target;
        if (container.Kind() == BindingValueKind::Collection) {
            const auto index = static_cast<std::uint32_t>(container.Size());
            BindingValue& element = container.Append();
            entries_.push_back(Entry{&element, {}, false});
            PushStep(StepKind::Index, index);
        } else if (keyPending_) {
            BindingValue& field = names_.Field(container, pendingKey_);
            names_.Clear(field);  // a key given twice keeps its last value only
            entries_.push_back(Entry{&field, {}, false});
            PushStep(StepKind::Key, 0).key.assign(pendingKey_);
            keyPending_ = false;
        }
    }

    void Pop() {
        if (!entries_.empty()) {
            if (entries_.back().open) {
                --openDepth_;
            }
            entries_.pop_back();
            --pathSize_;
        }
    }

    // Steps stay in the vector when popped, so that a key's text reuses the room of the one
    // before it at that depth.
    Step& PushStep(StepKind kind, std::uint32_t index) {
        if (pathSize_ == path_.size()) {
            path_.emplace_back();
        }
        Step& step = path_[pathSize_++];
        step.kind = kind;
        step.index = index;
        return step;
    }

    std::vector<Step> CurrentPath() const {
        return std::vector<Step>(path_.begin(),
                                 path_.begin() + static_cast<std::ptrdiff_t>(pathSize_));
    }

    // The top entry is an open mapping when the event stands where a key belongs.
    bool AtKey() const { return entries_.back().open; }

    bool AddAnchor(std::string_view name, Anchor anchor, std::size_t line, std::size_t column) {
        if (!anchors_.emplace(std::string(name), std::move(anchor)).second) {
            result_.SetError(Format(kDuplicateAnchor, name, line, column));
            return false;
        }
        return true;
    }

    bool AnchorAtPath(std::string_view name, std::size_t line, std::size_t column) {
        if (name.empty()) {
            return true;
        }
        if (!AddAnchor(name, Anchor{false, CurrentPath(), {}}, line, column)) {
            return false;
        }
        entries_.back().anchor = name;
        return true;
    }

    void OnOpen(bool mapping, std::string_view anchor, std::size_t line, std::size_t column) {
        if (AtKey()) {
            result_.SetError(
                Format(mapping ? kUnexpectedMapping : kUnexpectedSequence, line, column));
            return;
        }
        // The value model follows no deeper nesting, and libyaml's scanner slows down with every
        // open flow level, so a deeper document stops here.
        if (openDepth_ >= kBindingMaxDepth) {
            result_.SetError(Format(kTooDeep, kBindingMaxDepth, line, column));
            return;
        }
        Entry& slot = entries_.back();
        if (mapping) {
            slot.target->MakeStructure();
        } else {
            slot.target->MakeCollection();
        }
        slot.open = true;
        ++openDepth_;
        AnchorAtPath(anchor, line, column);
    }

    void OnScalar(const yaml_event_t& event, std::size_t line, std::size_t column) {
        const auto& scalar = event.data.scalar;
        const std::string_view text(reinterpret_cast<const char*>(scalar.value), scalar.length);
        const std::string_view tag = ViewOf(scalar.tag);
        const std::string_view anchor = ViewOf(scalar.anchor);
        if (AtKey()) {
            // A key's text is never typed; only the str tag may stand on it.
            if (scalar.tag != nullptr && tag != kStrTag) {
                result_.SetError(Format(kInvalidKey, line, column));
                return;
            }
            pendingKey_.assign(text);
            keyPending_ = true;
            // The key is a finished string and no open node, so it marks no entry: an alias of it
            // later in the same mapping is no cycle.
            if (!anchor.empty()) {
                AddAnchor(anchor, Anchor{true, {}, std::string(text)}, line, column);
            }
            return;
        }
        const bool quoted = scalar.style == YAML_SINGLE_QUOTED_SCALAR_STYLE ||
                            scalar.style == YAML_DOUBLE_QUOTED_SCALAR_STYLE;
        TypeScalar(*entries_.back().target, scalar.tag != nullptr, tag, text, quoted);
        if (!result_.Ok() || !AnchorAtPath(anchor, line, column)) {
            return;
        }
        Pop();
    }

    void OnAlias(std::string_view name, std::size_t line, std::size_t column) {
        if (AtKey()) {
            result_.SetError(Format(kInvalidKey, line, column));
            return;
        }
        for (const Entry& entry : entries_) {
            if (entry.anchor == name) {
                result_.SetError(Format(kCyclicAlias, name, line, column));
                return;
            }
        }
        const auto found = anchors_.find(name);
        if (found == anchors_.end()) {
            result_.SetError(Format(kUndefinedAlias, name, line, column));
            return;
        }
        BindingValue& target = *entries_.back().target;
        const Anchor& anchor = found->second;
        if (anchor.isText) {
            target.SetString(anchor.text);
        } else {
            const BindingValue& source = Resolve(anchor.path);
            if (!Afford(source, name, line, column)) {
                return;
            }
            target = source;
        }
        Pop();
    }

    const BindingValue& Resolve(const std::vector<Step>& path) const {
        const BindingValue* value = path.front().root;
        for (std::size_t i = 1; i < path.size(); ++i) {
            const Step& step = path[i];
            value = step.kind == StepKind::Index ? &value->GetAt(step.index)
                                                 : &value->GetField(step.key);
        }
        return *value;
    }

    // Counts the values that a copy of `source` makes against what the document may still copy,
    // and refuses a copy whose containers would sit deeper than a document may nest them.
    bool Afford(const BindingValue& source, std::string_view name, std::size_t line,
                std::size_t column) {
        struct Pending {
            const BindingValue* value;
            std::size_t depth;
        };
        std::vector<Pending> pending{Pending{&source, openDepth_}};
        while (!pending.empty()) {
            const Pending next = pending.back();
            pending.pop_back();
            if (aliasBudget_ == 0) {
                result_.SetError(Format(kAliasesTooLarge, aliasLimit_, name, line, column));
                return false;
            }
            --aliasBudget_;
            const BindingValue& value = *next.value;
            if (value.Kind() != BindingValueKind::Collection &&
                value.Kind() != BindingValueKind::Structure) {
                continue;
            }
            if (next.depth >= kBindingMaxDepth) {
                result_.SetError(Format(kTooDeep, kBindingMaxDepth, line, column));
                return false;
            }
            for (const BindingValue& element : value.Elements()) {
                pending.push_back(Pending{&element, next.depth + 1});
            }
            value.ForEachField([&](const BindingString&, const BindingValue& field) {
                pending.push_back(Pending{&field, next.depth + 1});
            });
        }
        return true;
    }

    void TypeScalar(BindingValue& target, bool tagged, std::string_view tag, std::string_view text,
                    bool quoted) {
        if (tagged) {
            TypeTagged(target, tag, text);
            return;
        }
        if (quoted) {
            target.SetString(text);
            return;
        }
        if (IsWord(text, kNullWords)) {
            target.Reset();
            return;
        }
        if (TypeNumber(target, text)) {
            return;
        }
        if (IsWord(text, kTrueWords)) {
            target.SetBool(true);
        } else if (IsWord(text, kFalseWords)) {
            target.SetBool(false);
        } else {
            target.SetString(text);
        }
    }

    // Most plain scalars are words; the runtime's reading begins with blanks, a sign, a digit or
    // a point, or the first letter of its words for infinity and not-a-number.
    static bool MayBeNumber(std::string_view text) {
        if (text.empty()) {
            return false;
        }
        const char first = text.front();
        return (first >= '0' && first <= '9') || first == '-' || first == '+' || first == '.' ||
               first == 'n' || first == 'N' || first == 'i' || first == 'I' || first == ' ' ||
               (first >= '\t' && first <= '\r');
    }

    // A plain scalar that the runtime reads whole as a number. Integral values within 64 bits
    // take an integer kind; infinities stay text, like any word the runtime does not read.
    static bool TypeNumber(BindingValue& target, std::string_view text) {
        // libyaml ends every scalar with a NUL, so the runtime may read it in place.
        if (!MayBeNumber(text)) {
            return false;
        }
        char* end = nullptr;
        const double number = std::strtod(text.data(), &end);
        if (end != text.data() + text.size() || std::isinf(number)) {
            return false;
        }
        constexpr double kTwoTo63 = 9223372036854775808.0;
        constexpr double kTwoTo64 = 18446744073709551616.0;
        if (std::isnan(number) || number != std::trunc(number)) {
            target.SetFloat(number);
        } else if (number < 0) {
            if (number >= -kTwoTo63) {
                target.SetSigned(static_cast<std::int64_t>(number));
            } else {
                target.SetFloat(number);
            }
        } else if (number < kTwoTo64) {
            target.SetUnsigned(static_cast<std::uint64_t>(number));
        } else {
            target.SetFloat(number);
        }
        return true;
    }

    void TypeTagged(BindingValue& target, std::string_view tag, std::string_view text) {
        if (tag == kStrTag) {
            target.SetString(text);
            return;
        }
        if (tag == kBoolTag) {
            if (IsWord(text, kTrueWords)) {
                target.SetBool(true);
            } else if (IsWord(text, kFalseWords)) {
                target.SetBool(false);
            } else {
                target.Reset();
            }
            return;
        }
        if (tag != kIntTag && tag != kFloatTag) {
            result_.SetError(Format(kUnsupportedTag, tag));
            return;
        }
        // The conversion rules read the text; a refusal replaces the tree with its message, so
        // the target is written only after a success.
        BindingValue textValue;
        textValue.SetString(text);
        if (tag == kFloatTag) {
            const double limit = std::numeric_limits<double>::max();
            const double number = AssignFloat(result_, textValue, "yaml", -limit, limit, "double");
            if (result_.Ok()) {
                target.SetFloat(number);
            }
        } else if (!text.starts_with('-')) {
            const std::uint64_t number = AssignUnsigned(
                result_, textValue, "yaml", std::numeric_limits<std::uint64_t>::max(), "uint64_t");
            if (result_.Ok()) {
                target.SetUnsigned(number);
            }
        } else {
            const std::int64_t number =
                AssignSigned(result_, textValue, "yaml", std::numeric_limits<std::int64_t>::min(),
                             std::numeric_limits<std::int64_t>::max(), "int64_t");
            if (result_.Ok()) {
                target.SetSigned(number);
            }
        }
    }

    BindingResult& result_;
    std::vector<Entry> entries_;
    std::vector<Step> path_;
    std::size_t pathSize_ = 0;
    Internal::RecentNames names_;
    FrameHashMap<std::string, Anchor> anchors_;
    std::string pendingKey_;
    // An empty key is a key all the same.
    bool keyPending_ = false;
    // Containers open above the current slot.
    std::size_t openDepth_ = 0;
    // Values that the copies of aliases may make in all, and how many of them are left.
    std::size_t aliasLimit_;
    std::size_t aliasBudget_;
};

}  // namespace

void ParseYaml(BindingResult& result, std::string_view text) {
    result.ResetToOk();
    yaml_parser_t parser;
    if (yaml_parser_initialize(&parser) == 0) {
        result.SetError(Format(kParserError, "cannot allocate the parser", 0, 0));
        return;
    }
    yaml_parser_set_encoding(&parser, YAML_UTF8_ENCODING);
    // The parser refuses a null input even when it is empty.
    const char* input = text.data() == nullptr ? "" : text.data();
    yaml_parser_set_input_string(&parser, reinterpret_cast<const unsigned char*>(input),
                                 text.size());
    YamlReader reader(result, text.size());
    yaml_event_t event{};
    yaml_parser_parse(&parser, &event);
    while (result.Ok()) {
        if (parser.error != YAML_NO_ERROR || event.type == YAML_STREAM_END_EVENT) {
            break;
        }
        reader.Handle(event);
        yaml_event_delete(&event);
        yaml_parser_parse(&parser, &event);
    }
    if (result.Ok() && parser.error != YAML_NO_ERROR) {
        const char* problem = parser.problem != nullptr ? parser.problem : "out of memory";
        result.SetError(
            Format(kParserError, problem, parser.problem_mark.line, parser.problem_mark.column));
    }
    yaml_event_delete(&event);
    yaml_parser_delete(&parser);
}

}  // namespace Tavix::Client
