#pragma once
// The typed bridge between the dispatcher, which works on dynamic values, and a native handler:
// one class per handler signature, made from the handler when its route is declared.
//
// A handler returns `Resource`, or `ResourceOf<T>` to give a value. Its parameters are the
// route's arguments, each a native type that a record field could have (taken by value or by
// const reference), optionally preceded by `const CallContext&`.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <tuple>
#include <type_traits>
#include <utility>

#include "binding/descriptors.h"
#include "binding/registry.h"
#include "binding/result.h"
#include "binding/static_type.h"
#include "binding/value.h"
#include "frame/native_conversion.h"
#include "routing/call_context.h"
#include "routing/call_result.h"
#include "routing/resource.h"

namespace Tavix::Client {

class FunctionInvoker {
public:
    FunctionInvoker(const BindingFunctionDescriptor& function, const BindingRegistry& registry)
        : function_(function), registry_(registry) {}
    FunctionInvoker(const FunctionInvoker&) = delete;
    FunctionInvoker& operator=(const FunctionInvoker&) = delete;

    // Converts each argument's value into a new native argument record, under the argument's
    // name; the first refusal goes into `result` and ends the conversion. Returns the record
    // whatever happened; ReleaseArguments frees it.
    virtual void* PrepareArguments(BindingResult& result, std::span<const BindingValue> arguments,
                                   std::uint32_t clientId) const = 0;
    // Calls the handler with the prepared record and puts what it returned into `result`.
    // `context` is null unless ContextType is the request context's record.
    virtual void Invoke(CallResult& result, const CallContext* context, void* prepared,
                        std::uint32_t clientId) const = 0;
    virtual void ReleaseArguments(void* prepared) const = 0;
    // The stored handler.
    virtual const void* Target() const = 0;
    // The record of the context the handler wants; the "none" record for a plain handler.
    virtual const StaticTypeRecord& ContextType() const = 0;
    virtual ~FunctionInvoker() = default;

protected:
    const BindingFunctionDescriptor& function_;
    const BindingRegistry& registry_;
};

namespace Internal {

template <typename Returned>
struct HandlerResult {
    static constexpr bool kValid = false;
};
template <>
struct HandlerResult<Resource> {
    static constexpr bool kValid = true;
    using Value = void;
};
template <typename T>
struct HandlerResult<ResourceOf<T>> {
    static constexpr bool kValid = true;
    using Value = T;
};

}  // namespace Internal

template <bool WithContext, typename Returned, typename... Arguments>
class TypedFunctionInvoker final : public FunctionInvoker {
    static_assert(Internal::HandlerResult<Returned>::kValid,
                  "a route handler returns Resource or ResourceOf<T>");
    static_assert((... && (!std::is_reference_v<Arguments> ||
                           std::is_const_v<std::remove_reference_t<Arguments>>)),
                  "a route handler takes its arguments by value or by const reference");
    static_assert((... && kHasBindingFieldCodec<std::decay_t<Arguments>>),
                  "no conversion for this native argument type");

public:
    using Handler =
        std::conditional_t<WithContext, std::function<Returned(const CallContext&, Arguments...)>,
                           std::function<Returned(Arguments...)>>;
    using Value = typename Internal::HandlerResult<Returned>::Value;

    TypedFunctionInvoker(const BindingFunctionDescriptor& function, const BindingRegistry& registry,
                         Handler handler)
        : FunctionInvoker(function, registry), handler_(std::move(handler)) {}

    void* PrepareArguments(BindingResult& result, std::span<const BindingValue> arguments,
                           std::uint32_t clientId) const override {
        auto* record = new Record();
        Prepare(result, *record, arguments, clientId, std::index_sequence_for<Arguments...>{});
        return record;
    }

    void Invoke(CallResult& result, const CallContext* context, void* prepared,
                std::uint32_t) const override {
        Record& record = *static_cast<Record*>(prepared);
        Returned returned = Call(context, record);
        if constexpr (std::is_void_v<Value>) {
            result.TakeResource(returned, true);
        } else {
            if (returned.ok) {
                NativeToValue(result.result, returned.value, &registry_);
            }
            result.TakeResource(returned, false);
        }
    }

    void ReleaseArguments(void* prepared) const override { delete static_cast<Record*>(prepared); }
    const void* Target() const override { return &handler_; }
    const StaticTypeRecord& ContextType() const override {
        if constexpr (WithContext) {
            return StaticType::Record<CallContext>();
        } else {
            return StaticType::Record<StaticTypeNone>();
        }
    }

private:
    // A handler without arguments still gets a record: an empty tuple, one byte never read.
    using Record = std::tuple<std::decay_t<Arguments>...>;

    template <std::size_t... Index>
    void Prepare([[maybe_unused]] BindingResult& result, [[maybe_unused]] Record& record,
                 [[maybe_unused]] std::span<const BindingValue> arguments,
                 [[maybe_unused]] std::uint32_t clientId, std::index_sequence<Index...>) const {
        (..., PrepareOne(result, std::get<Index>(record), arguments[Index],
                         function_.arguments[Index].name, clientId));
    }

    template <typename T>
    void PrepareOne(BindingResult& result, T& native, const BindingValue& value,
                    const std::string& name, std::uint32_t clientId) const {
        if (result.Ok()) {
            ValueToNative(result, native, value, name, &registry_, clientId);
        }
    }

    Returned Call(const CallContext* context, Record& record) const {
        if constexpr (WithContext) {
            return std::apply(
                [&](auto&&... arguments) {
                    return handler_(*context, std::forward<decltype(arguments)>(arguments)...);
                },
                std::move(record));
        } else {
            return std::apply(handler_, std::move(record));
        }
    }

    Handler handler_;
};

}  // namespace Tavix::Client
