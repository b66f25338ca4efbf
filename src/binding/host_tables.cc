#include "binding/host_tables.h"

#include <algorithm>
#include <cstdint>
#include <string>

#include "binding/descriptors.h"
#include "binding/registry.h"

namespace Tavix::Client {

namespace {

constexpr char kEmptyText[] = "";

std::uint32_t KindNumber(BindingKind kind) {
    const auto number = static_cast<std::uint32_t>(kind);
    return number <= static_cast<std::uint32_t>(BindingKind::Map) ? number : 0;
}

const BindingTypeRef& Shown(const BindingTypeRef& type, const BindingTypeRef& shown) {
    return shown.IsSet() ? shown : type;
}

// Only the kinds that name a declared type carry its name.
const char* TypeName(const BindingTypeRef& type) {
    switch (type.kind) {
        case BindingKind::Vector:
        case BindingKind::Enum:
        case BindingKind::Struct:
        case BindingKind::Map:
            return type.descriptor != nullptr ? type.descriptor->name.c_str() : kEmptyText;
        default:
            return kEmptyText;
    }
}

// The part that argument and field records share: a named, described, typed and maybe optional
// thing, shown by its shown type when it has one.
template <typename Record, typename Descriptor>
void FillTyped(Record& record, const Descriptor& descriptor) {
    const BindingTypeRef& type = Shown(descriptor.type, descriptor.shownType);
    record.name = descriptor.name.c_str();
    record.description = descriptor.description.c_str();
    record.kind = KindNumber(type.kind);
    record.elementKind = KindNumber(type.elementKind);
    record.typeName = TypeName(type);
    record.optional = descriptor.optional ? 1 : 0;
}

std::uint32_t Count(std::size_t size) {
    return static_cast<std::uint32_t>(size);
}

// Links each record of a run to the one after it; the last one keeps its null link.
template <typename Record>
void Link(Record* first, std::size_t count) {
    for (std::size_t i = 0; i + 1 < count; ++i) {
        first[i].next = &first[i + 1];
    }
}

}  // namespace

const HostFunctionHead* HostTables::FindFunction(const BindingFunctionDescriptor* function) const {
    const auto found =
        std::find(functionDescriptors_.begin(), functionDescriptors_.end(), function);
    return found != functionDescriptors_.end()
               ? &functions_[static_cast<std::size_t>(found - functionDescriptors_.begin())]
               : nullptr;
}

HostTables BuildHostTables(const BindingRegistry& registry) {
    const std::vector<BindingFunctionDescriptor*> functions = registry.Functions();
    const std::vector<BindingTypeDescriptor*> types = registry.Types();
    const std::vector<BindingEventDescriptor*> events = registry.Events();

    // Records point into these arrays, so each is sized once before it is filled.
    std::size_t argumentCount = 0;
    std::size_t fieldCount = 0;
    std::size_t enumeratorCount = 0;
    std::size_t tagCount = 0;
    for (const BindingFunctionDescriptor* function : functions) {
        argumentCount += function->arguments.size();
        tagCount += function->tags.size();
    }
    for (const BindingTypeDescriptor* type : types) {
        fieldCount += type->fields.size();
        enumeratorCount += type->enumerators.size();
        tagCount += type->tags.size();
    }
    for (const BindingEventDescriptor* event : events) {
        tagCount += event->tags.size();
    }

    HostTables tables;
    tables.functions_.resize(functions.size());
    tables.functionDescriptors_.assign(functions.begin(), functions.end());
    tables.arguments_.resize(argumentCount);
    tables.types_.resize(types.size());
    tables.fields_.resize(fieldCount);
    tables.enumerators_.resize(enumeratorCount);
    tables.events_.resize(events.size());
    tables.tags_.reserve(tagCount);

    const auto addTags = [&tables](const std::vector<std::string>& tags) -> const char* const* {
        if (tags.empty()) {
            return nullptr;
        }
        const char* const* first = tables.tags_.data() + tables.tags_.size();
        for (const std::string& tag : tags) {
            tables.tags_.push_back(tag.c_str());
        }
        return first;
    };

    HostArgumentRecord* nextArgument = tables.arguments_.data();
    for (std::size_t i = 0; i < functions.size(); ++i) {
        const BindingFunctionDescriptor& function = *functions[i];
        HostFunctionHead& record = tables.functions_[i];
        const BindingTypeRef& returned = Shown(function.returnType, function.shownReturnType);
        record.name = function.name.c_str();
        record.nameSpace = function.nameSpace.c_str();
        record.arguments = function.arguments.empty() ? nullptr : nextArgument;
        record.argumentCount = Count(function.arguments.size());
        record.returnKind = KindNumber(returned.kind);
        record.returnElementKind = KindNumber(returned.elementKind);
        record.returnTypeName = TypeName(returned);
        record.description = function.description.c_str();
        record.help = function.help.c_str();
        record.threadSafe = function.threadSafe ? 1 : 0;
        record.asyncResultTypeName = function.async ? TypeName(returned) : kEmptyText;
        record.tags = addTags(function.tags);
        record.tagCount = Count(function.tags.size());
        HostArgumentRecord* const firstArgument = nextArgument;
        for (const BindingArgumentDescriptor& argument : function.arguments) {
            FillTyped(*nextArgument++, argument);
        }
        Link(firstArgument, function.arguments.size());
    }
    Link(tables.functions_.data(), functions.size());

    HostFieldRecord* nextField = tables.fields_.data();
    HostEnumeratorRecord* nextEnumerator = tables.enumerators_.data();
    for (std::size_t i = 0; i < types.size(); ++i) {
        const BindingTypeDescriptor& type = *types[i];
        HostTypeRecord& record = tables.types_[i];
        record.name = type.name.c_str();
        record.nameSpace = type.nameSpace.c_str();
        record.size = type.size;
        record.description = type.description.c_str();
        record.tags = addTags(type.tags);
        record.tagCount = Count(type.tags.size());
        if (!type.fields.empty()) {
            HostFieldRecord* const firstField = nextField;
            record.fields = firstField;
            record.count = Count(type.fields.size());
            for (const BindingFieldDescriptor& field : type.fields) {
                nextField->offset = static_cast<std::uint32_t>(field.offset);
                FillTyped(*nextField++, field);
            }
            Link(firstField, type.fields.size());
        } else {
            HostEnumeratorRecord* const firstEnumerator = nextEnumerator;
            record.enumerators = type.enumerators.empty() ? nullptr : firstEnumerator;
            record.count = Count(type.enumerators.size());
            for (const auto& [name, enumerator] : type.enumerators) {
                nextEnumerator->name = enumerator.name.c_str();
                nextEnumerator->description = enumerator.description.c_str();
                nextEnumerator->number = enumerator.number;
                ++nextEnumerator;
            }
            Link(firstEnumerator, type.enumerators.size());
        }
    }
    Link(tables.types_.data(), types.size());

    for (std::size_t i = 0; i < events.size(); ++i) {
        const BindingEventDescriptor& event = *events[i];
        HostEventRecord& record = tables.events_[i];
        record.name = event.name.c_str();
        record.nameSpace = event.nameSpace.c_str();
        record.typeName = event.type != nullptr ? event.type->name.c_str() : kEmptyText;
        record.description = event.description.c_str();
        record.tags = addTags(event.tags);
        record.tagCount = Count(event.tags.size());
    }
    Link(tables.events_.data(), events.size());
    return tables;
}

}  // namespace Tavix::Client
