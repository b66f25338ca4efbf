#include "binding/builtin_types.h"

#include <cstddef>

#include "binding/registry.h"

namespace Tavix::Client {
namespace {

constexpr std::string_view kBuiltin = kBuiltinTag;
constexpr std::string_view kHelp = "help";
constexpr std::string_view kAsync = "async";

void DeclareHelpRecords(BindingRegistry& registry) {
    registry.DeclareType<BindingHelpFormat>("BindingHelpFormat")
        .SetDescription("Help format for binding functions and types.")
        .AddTags({kBuiltin, kHelp})
        .AddEnumerator("Full", 1, "Native help format")
        .AddEnumerator("Epytext", 2, "Python epytext format");

    using TypeId = BindingFullTypeIdentifier;
    registry.DeclareType<TypeId>("BindingFullTypeIdentifier")
        .SetDescription("Describes the type of a value.")
        .AddTags({kBuiltin, kHelp})
        .AddField<std::string>("type", offsetof(TypeId, type))
        .AddField<std::string>("elementType", offsetof(TypeId, elementType));

    using Argument = BindingFullArgumentHelp;
    registry.DeclareType<Argument>("BindingFullArgumentHelp")
        .SetDescription("Describes a function parameter.")
        .AddTags({kBuiltin, kHelp})
        .AddField<std::string>("name", offsetof(Argument, name))
        .AddField<std::string>("description", offsetof(Argument, description))
        .AddField<TypeId>("type", offsetof(Argument, type))
        .AddField<bool>("optional", offsetof(Argument, optional));

    using Function = BindingFullFunctionHelp;
    registry.DeclareType<Function>("BindingFullFunctionHelp")
        .SetDescription("Describes a function.")
        .AddTags({kBuiltin, kHelp})
        .AddField<std::string>("name", offsetof(Function, name))
        .AddField<std::string>("nameSpace", offsetof(Function, nameSpace))
        .AddField<std::vector<Argument>>("arguments", offsetof(Function, arguments))
        .AddField<TypeId>("returns", offsetof(Function, returns))
        .AddField<std::string>("description", offsetof(Function, description))
        .AddField<std::string>("help", offsetof(Function, help))
        .AddField<bool>("threadSafe", offsetof(Function, threadSafe))
        .AddField<std::string>("async", offsetof(Function, async))
        .AddField<std::vector<std::string>>("tags", offsetof(Function, tags));

    using EnumValue = BindingFullEnumValueHelp;
    registry.DeclareType<EnumValue>("BindingFullEnumValueHelp")
        .SetDescription("Describes an enumerator.")
        .AddTags({kBuiltin, kHelp})
        .AddField<std::string>("name", offsetof(EnumValue, name))
        .AddField<std::string>("description", offsetof(EnumValue, description))
        .AddField<std::int32_t>("value", offsetof(EnumValue, value));

    using Field = BindingFullFieldHelp;
    registry.DeclareType<Field>("BindingFullFieldHelp")
        .SetDescription("Describes a member of a struct.")
        .AddTags({kBuiltin, kHelp})
        .AddField<std::string>("name", offsetof(Field, name))
        .AddField<std::string>("description", offsetof(Field, description))
        .AddField<std::uint32_t>("offset", offsetof(Field, offset))
        .AddField<TypeId>("type", offsetof(Field, type))
        .AddField<bool>("optional", offsetof(Field, optional));

    using Type = BindingFullTypeHelp;
    registry.DeclareType<Type>("BindingFullTypeHelp")
        .SetDescription("Describes a struct or enum type.")
        .AddTags({kBuiltin, kHelp})
        .AddField<std::string>("name", offsetof(Type, name))
        .AddField<std::string>("nameSpace", offsetof(Type, nameSpace))
        .AddField<std::uint32_t>("size", offsetof(Type, size))
        .AddField<std::string>("description", offsetof(Type, description))
        .AddField<std::vector<std::string>>("tags", offsetof(Type, tags))
        .AddField<std::vector<Field>>("fields", offsetof(Type, fields))
        .AddField<std::vector<EnumValue>>("values", offsetof(Type, values));

    using Event = BindingFullEventHelp;
    registry.DeclareType<Event>("BindingFullEventHelp")
        .SetDescription("Describes an event.")
        .AddTags({kBuiltin, kHelp})
        .AddField<std::string>("name", offsetof(Event, name))
        .AddField<std::string>("nameSpace", offsetof(Event, nameSpace))
        .AddField<TypeId>("type", offsetof(Event, type))
        .AddField<std::string>("description", offsetof(Event, description))
        .AddField<std::vector<std::string>>("tags", offsetof(Event, tags));

    using Api = BindingFullApiHelp;
    registry.DeclareType<Api>("BindingFullApiHelp")
        .SetDescription("Describes the exposed native API.")
        .AddTags({kBuiltin, kHelp})
        .AddField<std::vector<Function>>("functions", offsetof(Api, functions))
        .AddField<std::vector<Type>>("types", offsetof(Api, types))
        .AddField<std::vector<Event>>("events", offsetof(Api, events));
}

void DeclareAsyncRecords(BindingRegistry& registry) {
    registry.DeclareType<BindingAsyncState>("BindingAsyncState")
        .SetDescription("Possible states of an asynchronous operation.")
        .AddTags({kBuiltin, kAsync})
        .AddEnumerator("None", 0, "Invalid state")
        .AddEnumerator("Running", 1, "The operation is in flight")
        .AddEnumerator("Cancelling", 2, "A request to cancel the operation has been made")
        .AddEnumerator("Cancelled", 3, "The operation was cancelled")
        .AddEnumerator("Succeeded", 4, "The operation completed successfully")
        .AddEnumerator("Failed", 5, "The operation encountered an error");

    registry.DeclareType<BindingGenericEvent>("BindingGenericEvent")
        .SetDescription("Represents generic data for an event.")
        .AddTag(kBuiltin)
        .AddField<BindingValue>("data", offsetof(BindingGenericEvent, data), "Event data");

    registry.DeclareType<BindingCallbackEvent>("BindingCallbackEvent")
        .SetDescription("Represents the parameters of a call to a provided callback.")
        .AddTag(kBuiltin)
        .AddField<std::uint32_t>("id", offsetof(BindingCallbackEvent, id),
                                 "ID of the callback being invoked")
        .AddField<std::vector<BindingValue>>(
            "parameters", offsetof(BindingCallbackEvent, parameters), "Callback parameters");

    registry.DeclareType<BindingGenericAsyncEvent>("BindingGenericAsyncEvent")
        .SetDescription("Represents generic data for an asynchronous event.")
        .AddTags({kBuiltin, kAsync})
        .AddField<std::uint32_t>("asyncToken", offsetof(BindingGenericAsyncEvent, asyncToken),
                                 "Asynchronous operation token")
        .AddField<BindingValue>("data", offsetof(BindingGenericAsyncEvent, data), "Event data");

    registry.DeclareType<BindingAsyncFailureEvent>("BindingAsyncFailureEvent")
        .SetDescription("Represents a failed asynchronous operation.")
        .AddTags({kBuiltin, kAsync})
        .AddField<std::uint32_t>("asyncToken", offsetof(BindingAsyncFailureEvent, asyncToken),
                                 "Asynchronous operation token")
        .AddField<std::string>("error", offsetof(BindingAsyncFailureEvent, error), "Error message");

    registry.DeclareType<BindingAsyncCancelEvent>("BindingAsyncCancelEvent")
        .SetDescription("Represents a cancelled asynchronous operation.")
        .AddTags({kBuiltin, kAsync})
        .AddField<std::uint32_t>("asyncToken", offsetof(BindingAsyncCancelEvent, asyncToken),
                                 "Asynchronous operation token");
}

}  // namespace

void BindingRegistry::RegisterBuiltins() {
    DeclareHelpRecords(*this);
    DeclareAsyncRecords(*this);

    const BindingEventDeclaration callback =
        DeclareEvent("OnCallback", FindTypeByName("BindingCallbackEvent"));
    if (!callback.existed) {
        callback.event->description = "Fired when a callback is invoked.";
        callback.event->tags.emplace_back(kBuiltin);
    }

    std::lock_guard guard(lock_);
    builtinsRegistered_ = true;
}

}  // namespace Tavix::Client
