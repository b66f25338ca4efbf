#include "binding/type_builder.h"

#include <utility>

#include "binding/registry.h"

namespace Tavix::Client {

BindingTypeBuilder& BindingTypeBuilder::SetDescription(std::string_view description) {
    if (!existed_) {
        descriptor_->description = std::string(description);
    }
    return *this;
}

BindingTypeBuilder& BindingTypeBuilder::AddField(
    std::string_view name, std::string_view description, std::size_t offset,
    const StaticTypeRecord* record, BindingTypeRef type, BindingTypeRef shownType,
    std::uint32_t flags, std::unique_ptr<BindingConverter> converter, bool optional) {
    if (existed_) {
        return *this;
    }
    BindingFieldDescriptor& field = descriptor_->fields.emplace_back();
    field.name = std::string(name);
    field.nameHash = Fnv1a(name);
    field.description = std::string(description);
    field.offset = offset;
    field.record = record;
    field.type = type;
    field.shownType = shownType;
    field.flags = flags & (BindingFieldFlags::OmitWhenEmpty | BindingFieldFlags::Required);
    field.converter = std::move(converter);
    field.owner = descriptor_;
    field.optional = optional;
    ++index_;
    return *this;
}

BindingTypeBuilder& BindingTypeBuilder::AddEnumerator(std::string_view name, std::int32_t number,
                                                      std::string_view description) {
    if (existed_) {
        return *this;
    }
    auto slot = descriptor_->enumerators.find(name);
    if (slot == descriptor_->enumerators.end()) {
        slot = descriptor_->enumerators.emplace(std::string(name), BindingEnumerator{}).first;
    }
    BindingEnumerator& enumerator = slot->second;
    enumerator.number = number;
    enumerator.name = slot->first;
    enumerator.description = std::string(description);
    enumerator.owner = descriptor_;
    ++index_;
    return *this;
}

BindingTypeBuilder& BindingTypeBuilder::AddTag(std::string_view text) {
    if (!existed_ && !text.empty()) {
        descriptor_->tags.emplace_back(text);
    }
    return *this;
}

BindingTypeBuilder& BindingTypeBuilder::AddTags(std::initializer_list<std::string_view> tags) {
    for (std::string_view tag : tags) {
        AddTag(tag);
    }
    return *this;
}

BindingTypeBuilder& BindingTypeBuilder::AddTags(const std::vector<std::string>& tags) {
    for (const std::string& tag : tags) {
        AddTag(tag);
    }
    return *this;
}

const BindingTypeDescriptor* BindingTypeBuilder::DescriptorOf(
    const StaticTypeRecord& record) const {
    return registry_ == nullptr ? nullptr : registry_->FindType(record);
}

}  // namespace Tavix::Client
