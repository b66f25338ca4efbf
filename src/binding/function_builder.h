#pragma once
// The handle that declaration code uses to describe a function. As for types, a builder of a
// function that was declared before is inert.

#include <cstddef>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "binding/descriptors.h"

namespace Tavix::Client {

class BindingRegistry;

class BindingFunctionBuilder {
public:
    BindingFunctionBuilder(BindingFunctionDescriptor* descriptor, bool existed);
    // A temporary function is entered in no table: the builder owns it until it is taken.
    explicit BindingFunctionBuilder(std::unique_ptr<BindingFunctionDescriptor> temporary);

    BindingFunctionBuilder(BindingFunctionBuilder&&) noexcept;
    BindingFunctionBuilder& operator=(BindingFunctionBuilder&&) noexcept;
    ~BindingFunctionBuilder();

    bool Existed() const { return existed_; }
    BindingFunctionDescriptor* Descriptor() const { return descriptor_; }

    // Fills the argument at the running index and moves on. Type and optional are set by the
    // typed bridge that declares the handler. Arguments beyond the declared count are refused.
    BindingFunctionBuilder& AddArgument(std::string_view name, std::string_view description = {},
                                        BindingTypeRef shownType = {});

    BindingFunctionBuilder& SetDescription(std::string_view description);
    BindingFunctionBuilder& SetHelp(std::string_view help);
    BindingFunctionBuilder& AddTags(std::initializer_list<std::string_view> tags);
    BindingFunctionBuilder& AddTags(const std::vector<std::string>& tags);

    // Hands a temporary descriptor to the caller; null for a function entered in the registry.
    std::unique_ptr<BindingFunctionDescriptor> TakeTemporary();

private:
    BindingFunctionDescriptor* descriptor_;
    std::unique_ptr<BindingFunctionDescriptor> temporary_;
    std::size_t index_ = 0;
    bool existed_;
};

}  // namespace Tavix::Client
