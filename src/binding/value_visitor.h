#pragma once
// The interface of a walk over a value tree (`BindingValue::Visit`). Structure fields arrive in
// ascending name order.

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace Tavix::Client {

struct StaticTypeRecord;

class BindingValueVisitor {
public:
    virtual void empty() = 0;
    virtual void boolean(bool value) = 0;
    virtual void signedInteger(std::int64_t value) = 0;
    virtual void unsignedInteger(std::uint64_t value) = 0;
    virtual void floatingPoint(double value) = 0;
    // The view's data is NUL-terminated.
    virtual void string(std::string_view text) = 0;
    virtual void blob(std::span<const std::uint8_t> bytes) = 0;
    virtual void enumeration(std::int32_t number, const StaticTypeRecord* type) = 0;
    virtual void beginCollection(std::size_t count) = 0;
    virtual void beginElement(std::size_t index) = 0;
    virtual void endElement(std::size_t index) = 0;
    virtual void endCollection() = 0;
    virtual void beginStructure(std::size_t count) = 0;
    // The name's data is NUL-terminated.
    virtual void beginField(std::string_view name) = 0;
    virtual void endField(std::string_view name) = 0;
    virtual void endStructure() = 0;
    virtual ~BindingValueVisitor() = default;
};

}  // namespace Tavix::Client
