#include "binding/registry.h"

#include "log/log.h"

namespace Tavix::Client {

BindingRegistry::BindingRegistry() = default;

BindingRegistry::~BindingRegistry() {
    RemoveEverything();
}

BindingTypeBuilder BindingRegistry::DeclareType(std::uint32_t size, std::string_view name,
                                                const StaticTypeRecord& record, bool isEnum) {
    std::string key(name);
    {
        std::lock_guard guard(lock_);
        auto found = typesByName_.find(key);
        if (found != typesByName_.end()) {
            return BindingTypeBuilder(this, found->second.get(), true);
        }
    }

    auto descriptor = std::make_unique<BindingTypeDescriptor>();
    descriptor->size = size;
    descriptor->isEnum = isEnum;
    descriptor->name = key;
    descriptor->identity = record.identity;
    descriptor->record = &record;
    descriptor->registry = this;
    BindingTypeDescriptor* raw = descriptor.get();

    std::lock_guard guard(lock_);
    // Another thread may have declared the name between the two locks: the first one wins.
    auto [slot, inserted] = typesByName_.try_emplace(std::move(key), std::move(descriptor));
    if (!inserted) {
        return BindingTypeBuilder(this, slot->second.get(), true);
    }
    if (record.identity != kNoTypeIdentity) {
        auto [entry, entered] = typesByIdentity_.try_emplace(record.identity, raw);
        if (!entered && entry->second->record != &record) {
            Log(LogLevel::Error, kLogGroupDbg,
                "Type '%s' shares the identity %08X with type '%s' and cannot be found by it",
                raw->name.c_str(), record.identity, entry->second->name.c_str());
        }
    }
    return BindingTypeBuilder(this, raw, false);
}

BindingEventDeclaration BindingRegistry::DeclareEvent(std::string_view name,
                                                      const BindingTypeDescriptor* type) {
    std::lock_guard guard(lock_);
    auto [slot, inserted] = events_.try_emplace(std::string(name));
    if (inserted) {
        slot->second = std::make_unique<BindingEventDescriptor>();
        slot->second->name = slot->first;
        slot->second->type = type;
    }
    return {slot->second.get(), !inserted};
}

BindingFunctionBuilder BindingRegistry::DeclareFunction(std::string_view name,
                                                        std::size_t argumentCount, bool temporary) {
    auto descriptor = std::make_unique<BindingFunctionDescriptor>();
    descriptor->name = std::string(name);
    descriptor->arguments.resize(argumentCount);
    for (BindingArgumentDescriptor& argument : descriptor->arguments) {
        argument.owner = descriptor.get();
    }
    descriptor->registry = this;
    if (temporary) {
        return BindingFunctionBuilder(std::move(descriptor));
    }

    std::lock_guard guard(lock_);
    auto [slot, inserted] = functions_.try_emplace(descriptor->name);
    if (!inserted) {
        return BindingFunctionBuilder(slot->second.get(), true);
    }
    slot->second = std::move(descriptor);
    ++generation_;
    return BindingFunctionBuilder(slot->second.get(), false);
}

BindingTypeDescriptor* BindingRegistry::FindType(const StaticTypeRecord* record) const {
    if (record == nullptr) {
        return nullptr;
    }
    std::lock_guard guard(lock_);
    auto found = typesByIdentity_.find(record->identity);
    return found == typesByIdentity_.end() ? nullptr : found->second;
}

BindingTypeDescriptor* BindingRegistry::FindTypeByName(std::string_view name) const {
    std::lock_guard guard(lock_);
    auto found = typesByName_.find(name);
    return found == typesByName_.end() ? nullptr : found->second.get();
}

BindingFunctionDescriptor* BindingRegistry::FindFunction(std::string_view name) const {
    std::lock_guard guard(lock_);
    auto found = functions_.find(name);
    return found == functions_.end() ? nullptr : found->second.get();
}

BindingEventDescriptor* BindingRegistry::FindEvent(std::string_view name) const {
    std::lock_guard guard(lock_);
    auto found = events_.find(name);
    return found == events_.end() ? nullptr : found->second.get();
}

namespace {

template <typename Descriptor, typename Table>
std::vector<Descriptor*> Snapshot(const Table& table) {
    std::vector<Descriptor*> out;
    out.reserve(table.size());
    for (const auto& [name, descriptor] : table) {
        out.push_back(descriptor.get());
    }
    return out;
}

}  // namespace

std::vector<BindingFunctionDescriptor*> BindingRegistry::Functions() const {
    std::lock_guard guard(lock_);
    return Snapshot<BindingFunctionDescriptor>(functions_);
}

std::vector<BindingTypeDescriptor*> BindingRegistry::Types() const {
    std::lock_guard guard(lock_);
    return Snapshot<BindingTypeDescriptor>(typesByName_);
}

std::vector<BindingEventDescriptor*> BindingRegistry::Events() const {
    std::lock_guard guard(lock_);
    return Snapshot<BindingEventDescriptor>(events_);
}

void BindingRegistry::RemoveFunction(const BindingFunctionDescriptor* descriptor) {
    std::unique_ptr<BindingFunctionDescriptor> removed;
    {
        std::lock_guard guard(lock_);
        if (descriptor == nullptr) {
            return;
        }
        auto found = functions_.find(descriptor->name);
        if (found == functions_.end() || found->second.get() != descriptor) {
            return;
        }
        removed = std::move(found->second);
        functions_.erase(found);
        ++generation_;
    }
    // The handler is destroyed outside the lock: it is foreign code.
}

void BindingRegistry::RemoveEvent(std::string_view name) {
    std::unique_ptr<BindingEventDescriptor> removed;
    std::lock_guard guard(lock_);
    auto found = events_.find(name);
    if (found != events_.end()) {
        removed = std::move(found->second);
        events_.erase(found);
    }
}

void BindingRegistry::RemoveType(const BindingTypeDescriptor* descriptor) {
    std::unique_ptr<BindingTypeDescriptor> removed;
    {
        std::lock_guard guard(lock_);
        if (descriptor == nullptr) {
            return;
        }
        auto found = typesByName_.find(descriptor->name);
        if (found == typesByName_.end() || found->second.get() != descriptor) {
            return;
        }
        auto byIdentity = typesByIdentity_.find(descriptor->identity);
        if (byIdentity != typesByIdentity_.end() && byIdentity->second == descriptor) {
            typesByIdentity_.erase(byIdentity);
        }
        removed = std::move(found->second);
        typesByName_.erase(found);
    }
    // The fields' converters go with the descriptor, outside the lock.
}

const char* BindingRegistry::EnumeratorName(const StaticTypeRecord* record,
                                            std::int32_t number) const {
    const BindingTypeDescriptor* descriptor = FindType(record);
    if (descriptor == nullptr) {
        return nullptr;
    }
    for (const auto& [name, enumerator] : descriptor->enumerators) {
        if (enumerator.number == number) {
            return enumerator.name.c_str();
        }
    }
    return nullptr;
}

BindingTypeRef BindingRegistry::TypeRefOf(const StaticTypeRecord* record) const {
    const BindingTypeDescriptor* descriptor = FindType(record);
    if (descriptor == nullptr) {
        return {};
    }
    return {descriptor->isEnum ? BindingKind::Enum : BindingKind::Struct, BindingKind::None,
            descriptor};
}

bool BindingRegistry::IsEnumerator(const BindingTypeDescriptor* descriptor, std::int32_t number) {
    if (descriptor == nullptr) {
        return false;
    }
    for (const auto& [name, enumerator] : descriptor->enumerators) {
        if (enumerator.number == number) {
            return true;
        }
    }
    return false;
}

void BindingRegistry::RemoveEverything() {
    // Events refer to types, so they go first; the functions' handlers may refer to both.
    decltype(events_) events;
    decltype(typesByName_) types;
    decltype(functions_) functions;
    {
        std::lock_guard guard(lock_);
        events.swap(events_);
        types.swap(typesByName_);
        typesByIdentity_.Reset();
        generation_ += static_cast<std::uint32_t>(functions_.size());
        functions.swap(functions_);
        builtinsRegistered_ = false;
    }
    events.clear();
    types.clear();
    functions.clear();
}

void BindingRegistry::Reset() {
    RemoveEverything();
    RegisterBuiltins();
}

std::uint32_t BindingRegistry::Generation() const {
    std::lock_guard guard(lock_);
    return generation_;
}

bool BindingRegistry::BuiltinsRegistered() const {
    std::lock_guard guard(lock_);
    return builtinsRegistered_;
}

}  // namespace Tavix::Client
