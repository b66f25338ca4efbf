#pragma once
// The registry described to the host: its functions, types and events as the flat, packed records
// of host_boundary.h. The records borrow the descriptors' strings, so the registry must not change
// while the tables are in use; a module builds them once its API is complete.

#include <cstddef>
#include <span>
#include <string_view>
#include <vector>

#include "arx/host_boundary.h"

namespace Tavix::Client {

class BindingRegistry;
struct BindingFunctionDescriptor;

class HostTables {
public:
    HostTables() = default;
    // Moving keeps every record at its address: the arrays travel, their contents do not.
    HostTables(HostTables&&) noexcept = default;
    HostTables& operator=(HostTables&&) noexcept = default;
    HostTables(const HostTables&) = delete;
    HostTables& operator=(const HostTables&) = delete;

    // In the order of the registry's tables, which has no meaning.
    std::span<const HostFunctionHead> Functions() const { return functions_; }
    std::span<const HostTypeRecord> Types() const { return types_; }
    std::span<const HostEventRecord> Events() const { return events_; }

    // The record of a function, or null when it had none.
    const HostFunctionHead* FindFunction(const BindingFunctionDescriptor* function) const;

private:
    friend HostTables BuildHostTables(const BindingRegistry& registry);

    std::vector<HostFunctionHead> functions_;
    std::vector<const BindingFunctionDescriptor*> functionDescriptors_;
    std::vector<HostArgumentRecord> arguments_;
    std::vector<HostTypeRecord> types_;
    std::vector<HostFieldRecord> fields_;
    std::vector<HostEnumeratorRecord> enumerators_;
    std::vector<HostEventRecord> events_;
    // Every tag list of the tables, one after another.
    std::vector<const char*> tags_;
};

// Takes the registry's snapshots (under its lock) and fills every record from the descriptors.
HostTables BuildHostTables(const BindingRegistry& registry);

}  // namespace Tavix::Client
