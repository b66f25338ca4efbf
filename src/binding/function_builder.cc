#include "binding/function_builder.h"

#include <utility>

#include "log/log.h"

namespace Tavix::Client {

BindingFunctionBuilder::BindingFunctionBuilder(BindingFunctionDescriptor* descriptor, bool existed)
    : descriptor_(descriptor), existed_(existed) {}

BindingFunctionBuilder::BindingFunctionBuilder(std::unique_ptr<BindingFunctionDescriptor> temporary)
    : descriptor_(temporary.get()), temporary_(std::move(temporary)), existed_(false) {}

BindingFunctionBuilder::BindingFunctionBuilder(BindingFunctionBuilder&&) noexcept = default;
BindingFunctionBuilder& BindingFunctionBuilder::operator=(BindingFunctionBuilder&&) noexcept =
    default;
BindingFunctionBuilder::~BindingFunctionBuilder() = default;

BindingFunctionBuilder& BindingFunctionBuilder::AddArgument(std::string_view name,
                                                            std::string_view description,
                                                            BindingTypeRef shownType) {
    if (existed_ || descriptor_ == nullptr) {
        return *this;
    }
    if (index_ >= descriptor_->arguments.size()) {
        Log(LogLevel::Error, kLogGroupDbg,
            "Function '%s' was declared with %zu arguments; argument '%.*s' is ignored",
            descriptor_->name.c_str(), descriptor_->arguments.size(), static_cast<int>(name.size()),
            name.data());
        return *this;
    }
    BindingArgumentDescriptor& argument = descriptor_->arguments[index_++];
    argument.name = std::string(name);
    argument.nameHash = Fnv1a(name);
    argument.description = std::string(description);
    argument.shownType = shownType;
    argument.owner = descriptor_;
    return *this;
}

BindingFunctionBuilder& BindingFunctionBuilder::SetDescription(std::string_view description) {
    if (!existed_ && descriptor_ != nullptr) {
        descriptor_->description = std::string(description);
    }
    return *this;
}

BindingFunctionBuilder& BindingFunctionBuilder::SetHelp(std::string_view help) {
    if (!existed_ && descriptor_ != nullptr) {
        descriptor_->help = std::string(help);
    }
    return *this;
}

BindingFunctionBuilder& BindingFunctionBuilder::AddTags(
    std::initializer_list<std::string_view> tags) {
    if (!existed_ && descriptor_ != nullptr) {
        for (std::string_view tag : tags) {
            if (!tag.empty()) {
                descriptor_->tags.emplace_back(tag);
            }
        }
    }
    return *this;
}

BindingFunctionBuilder& BindingFunctionBuilder::AddTags(const std::vector<std::string>& tags) {
    if (!existed_ && descriptor_ != nullptr) {
        for (const std::string& tag : tags) {
            if (!tag.empty()) {
                descriptor_->tags.push_back(tag);
            }
        }
    }
    return *this;
}

std::unique_ptr<BindingFunctionDescriptor> BindingFunctionBuilder::TakeTemporary() {
    if (temporary_ == nullptr) {
        return nullptr;
    }
    existed_ = true;
    descriptor_ = nullptr;
    return std::move(temporary_);
}

}  // namespace Tavix::Client
