#include "binding/help.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>

#include "binding/binding_kind.h"
#include "binding/convert.h"
#include "binding/registry.h"
#include "binding/result.h"
#include "binding/static_type.h"

namespace Tavix::Client {

namespace {

constexpr std::string_view kLineEnd = "\r\n";

// The reference through which a vector or map names its element.
BindingTypeRef ElementOf(const BindingTypeRef& reference) {
    return {reference.elementKind, BindingKind::None, reference.descriptor};
}

BindingTypeRef EventTypeOf(const BindingEventDescriptor& event) {
    if (event.type == nullptr) {
        return {};
    }
    return {event.type->isEnum ? BindingKind::Enum : BindingKind::Struct, BindingKind::None,
            event.type};
}

// Byte order, the shorter name first on a tie: the order of std::string, whose compare is
// unsigned. Null entries are dropped rather than described.
template <typename Descriptor>
void SortByName(std::vector<const Descriptor*>& items) {
    std::erase(items, nullptr);
    std::stable_sort(
        items.begin(), items.end(),
        [](const Descriptor* left, const Descriptor* right) { return left->name < right->name; });
}

// ---- Full -------------------------------------------------------------------------------------

BindingFullFunctionHelp FullFunction(const BindingFunctionDescriptor& function) {
    BindingFullFunctionHelp help;
    help.name = function.name;
    help.nameSpace = function.nameSpace;
    help.arguments.reserve(function.arguments.size());
    for (const BindingArgumentDescriptor& argument : function.arguments) {
        help.arguments.push_back({argument.name, argument.description,
                                  TypeIdentifier(argument.type), argument.optional});
    }
    help.returns = TypeIdentifier(function.returnType);
    help.description = function.description;
    help.help = function.help;
    help.threadSafe = function.threadSafe;
    // Named as the host's tables name it: the declared type that the result is or holds.
    if (function.async && function.returnType.descriptor != nullptr &&
        function.returnType.kind >= BindingKind::Vector &&
        function.returnType.kind != BindingKind::Callback) {
        help.async = function.returnType.descriptor->name;
    }
    help.tags = function.tags;
    return help;
}

BindingFullTypeHelp FullType(const BindingTypeDescriptor& type) {
    BindingFullTypeHelp help;
    help.name = type.name;
    help.nameSpace = type.nameSpace;
    help.size = type.size;
    help.description = type.description;
    help.tags = type.tags;
    help.fields.reserve(type.fields.size());
    for (const BindingFieldDescriptor& field : type.fields) {
        help.fields.push_back({field.name, field.description,
                               static_cast<std::uint32_t>(field.offset), TypeIdentifier(field.type),
                               field.optional});
    }
    // The enumerators are kept in name order already.
    help.values.reserve(type.enumerators.size());
    for (const auto& [name, enumerator] : type.enumerators) {
        help.values.push_back({enumerator.name, enumerator.description, enumerator.number});
    }
    return help;
}

BindingFullEventHelp FullEvent(const BindingEventDescriptor& event) {
    return {event.name, event.nameSpace, TypeIdentifier(EventTypeOf(event)), event.description,
            event.tags};
}

// ---- Epytext ----------------------------------------------------------------------------------

void AppendDescription(std::string& text, std::string_view description) {
    text += EscapeEpytext(description);
    text += kLineEnd;
    text += kLineEnd;
}

void AppendTags(std::string& text, const std::vector<std::string>& tags) {
    if (tags.empty()) {
        return;
    }
    text += "@tags: ";
    for (std::size_t i = 0; i < tags.size(); ++i) {
        if (i > 0) {
            text += ',';
        }
        text += tags[i];
    }
    text += kLineEnd;
}

void AppendTyped(std::string& text, std::string_view head, std::string_view name,
                 std::string_view value) {
    text += head;
    text += name;
    text += ": ";
    text += value;
    text += kLineEnd;
}

std::string FunctionText(const BindingFunctionDescriptor& function) {
    std::string text;
    if (!function.description.empty()) {
        AppendDescription(text, function.description);
    }
    if (!function.help.empty()) {
        AppendDescription(text, function.help);
    }
    for (const BindingArgumentDescriptor& argument : function.arguments) {
        if (!argument.description.empty()) {
            AppendTyped(
                text, "@param ", argument.name,
                (argument.optional ? "(optional) " : "") + EscapeEpytext(argument.description));
        }
        AppendTyped(text, "@type ", argument.name, TypeText(argument.type));
    }
    if (function.returnType.kind != BindingKind::None) {
        text += "@rtype: " + TypeText(function.returnType);
        text += kLineEnd;
    }
    AppendTags(text, function.tags);
    if (function.threadSafe) {
        text += "@threadsafe: true";
        text += kLineEnd;
    }
    if (function.async) {
        text += "@async: " + TypeText(function.returnType);
        text += kLineEnd;
    }
    return text;
}

// A field's description is not escaped: Epytext reads "@ivar" lines as plain text.
std::string StructText(const BindingTypeDescriptor& type) {
    std::string text;
    if (!type.description.empty()) {
        AppendDescription(text, type.description);
    }
    for (const BindingFieldDescriptor& field : type.fields) {
        AppendTyped(text, "@ivar ", field.name, field.description);
        AppendTyped(text, "@type ", field.name, TypeText(field.type));
    }
    AppendTags(text, type.tags);
    return text;
}

std::string EnumText(const BindingTypeDescriptor& type) {
    std::string text;
    if (!type.description.empty()) {
        AppendDescription(text, type.description);
    }
    // Kept in name order, listed in number order; enumerators of one number stay in name order.
    std::vector<const BindingEnumerator*> enumerators;
    enumerators.reserve(type.enumerators.size());
    for (const auto& [name, enumerator] : type.enumerators) {
        enumerators.push_back(&enumerator);
    }
    std::stable_sort(enumerators.begin(), enumerators.end(),
                     [](const BindingEnumerator* left, const BindingEnumerator* right) {
                         return left->number < right->number;
                     });
    for (const BindingEnumerator* enumerator : enumerators) {
        text += "@cvar " + enumerator->name + ": (" + std::to_string(enumerator->number) + ")";
        if (!enumerator->description.empty()) {
            text += ' ';
            text += enumerator->description;
        }
        text += kLineEnd;
    }
    AppendTags(text, type.tags);
    text += "@size: " + std::to_string(type.size);
    text += kLineEnd;
    return text;
}

std::string TypeEpytext(const BindingTypeDescriptor& type) {
    return type.isEnum ? EnumText(type) : StructText(type);
}

// An event's description stands even when it is empty.
std::string EventText(const BindingEventDescriptor& event) {
    std::string text;
    AppendDescription(text, event.description);
    AppendTags(text, event.tags);
    return text;
}

// ---- Both -------------------------------------------------------------------------------------

template <typename Record, typename Descriptor, typename FullOf, typename TextOf>
void DescribeList(const BindingRegistry& registry, BindingValue& target, std::string_view field,
                  std::vector<const Descriptor*> items, BindingHelpFormat format, FullOf fullOf,
                  TextOf textOf) {
    SortByName(items);
    BindingValue& list = target.Field(field);
    if (format == BindingHelpFormat::Full) {
        const BindingTypeDescriptor* record = registry.FindType(StaticType::Record<Record>());
        if (record == nullptr) {
            return;
        }
        for (const Descriptor* item : items) {
            const Record native = fullOf(*item);
            BindingValue& element = list.Append();
            BindingResult converted(element.Context());
            StructToValue(converted, &registry, &native, record);
            if (converted.Ok()) {
                element = std::move(converted);
            }
        }
    } else if (format == BindingHelpFormat::Epytext) {
        for (const Descriptor* item : items) {
            list.Field(item->name).SetString(textOf(*item));
        }
    }
}

template <typename Descriptor>
std::vector<const Descriptor*> ConstList(const std::vector<Descriptor*>& items) {
    return {items.begin(), items.end()};
}

}  // namespace

BindingFullTypeIdentifier TypeIdentifier(const BindingTypeRef& reference) {
    BindingFullTypeIdentifier identifier;
    switch (reference.kind) {
        case BindingKind::Vector:
        case BindingKind::Map:
            identifier.type = KindName(reference.kind);
            identifier.elementType = TypeIdentifier(ElementOf(reference)).type;
            break;
        case BindingKind::Enum:
            identifier.type = reference.descriptor != nullptr ? reference.descriptor->name : "enum";
            break;
        case BindingKind::Struct:
            identifier.type =
                reference.descriptor != nullptr ? reference.descriptor->name : "struct";
            break;
        default:
            identifier.type = KindName(reference.kind);
            break;
    }
    return identifier;
}

std::string TypeText(const BindingTypeRef& reference) {
    switch (reference.kind) {
        case BindingKind::Blob:
            return "bytearray";
        case BindingKind::Vector:
            return "list[" + TypeText(ElementOf(reference)) + "]";
        case BindingKind::Enum:
        case BindingKind::Struct:
            return "L{" + (reference.descriptor != nullptr ? reference.descriptor->name : "") + "}";
        case BindingKind::Callback:
            return "callback";
        case BindingKind::Map:
            return "dict[" + TypeText(ElementOf(reference)) + "]";
        default:
            // Bool to object by their names; no kind, or one beyond the table, reads empty.
            return KindName(reference.kind);
    }
}

std::string EscapeEpytext(std::string_view text) {
    std::string escaped;
    escaped.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '-' && i == 0) {
            escaped += "E{-}";
        } else if (c == '{') {
            escaped += "E{lb}";
        } else if (c == '}') {
            escaped += "E{rb}";
        } else {
            escaped += c;
        }
    }
    return escaped;
}

void BuildHelp(const BindingRegistry& registry, BindingValue& target,
               std::vector<const BindingFunctionDescriptor*> functions,
               std::vector<const BindingTypeDescriptor*> types,
               std::vector<const BindingEventDescriptor*> events, BindingHelpFormat format) {
    target.MakeStructure();
    DescribeList<BindingFullFunctionHelp>(registry, target, "functions", std::move(functions),
                                          format, FullFunction, FunctionText);
    DescribeList<BindingFullTypeHelp>(registry, target, "types", std::move(types), format, FullType,
                                      TypeEpytext);
    DescribeList<BindingFullEventHelp>(registry, target, "events", std::move(events), format,
                                       FullEvent, EventText);
}

void BuildHelp(const BindingRegistry& registry, BindingValue& target, BindingHelpFormat format) {
    BuildHelp(registry, target, ConstList(registry.Functions()), ConstList(registry.Types()),
              ConstList(registry.Events()), format);
}

}  // namespace Tavix::Client
