#pragma once
// The frame's side of the remote platform: invoking remote methods through the session's invoke
// resource, with the answer's remote class checked, and typed delivery of pushed messages. The
// bridge between native types and remote classes is the pair of class tables filled at
// registration and the "__class" field written into every structure that goes out.

#include <cstdint>
#include <future>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "binding/json.h"
#include "binding/record_builder.h"
#include "binding/result.h"
#include "binding/static_type.h"
#include "binding/value.h"
#include "frame/app_client.h"
#include "frame/diagnostics.h"
#include "frame/framework_types.h"
#include "frame/native_conversion.h"
#include "frame/resource_client.h"
#include "support/failure.h"
#include "support/maybe_type.h"

namespace Tavix::Client {

inline constexpr const char* kLcdsInvokeUrl = "/arx-login/v1/session/invoke";

namespace Internal {

Failure LcdsParameterFailure(std::string_view error);
Failure LcdsClassFailure(const std::string& expected, const std::string& destination,
                         const std::string& method, const std::string& actual);
Failure LcdsConversionFailure(const char* typeName, const BindingValue& body,
                              const BindingRegistry* registry);

}  // namespace Internal

template <typename T>
BindingRecordBuilder<T> AppClient::RegisterLcdsClass(std::string_view nativeName,
                                                     std::string_view className) {
    RememberLcdsClass(nativeName, className, StaticType::Record<T>());
    return DeclareRecord<T>(*typeRegistry, nativeName);
}

template <typename Result, typename... Arguments>
std::future<MaybeType<Failure, Result>> AppClient::LcdsInvoke(const std::string& destination,
                                                              const std::string& method,
                                                              const Arguments&... arguments) {
    std::promise<MaybeType<Failure, Result>> promise;
    std::future<MaybeType<Failure, Result>> future = promise.get_future();

    BindingValue collection;
    collection.MakeCollection();
    std::string error;
    const bool converted = Internal::ConvertArguments(
        typeRegistry, error,
        [&]<typename Argument>(BindingResult& value, std::type_identity<Argument>) {
            if constexpr (!Internal::IsTextArgument<Argument>) {
                AnnotateLcdsClass(value, NativeTypeRef<Argument>(typeRegistry));
            }
            collection.Append() = std::move(value);
            return true;
        },
        arguments...);
    if (!converted) {
        promise.set_value(Internal::LcdsParameterFailure(error));
        return future;
    }

    if constexpr (std::is_void_v<Result>) {
        promise.set_value(Request(kMethodPost, kLcdsInvokeUrl, destination, method, collection));
    } else {
        MaybeType<Failure, PluginLcdsResponse> answer = Request<PluginLcdsResponse>(
            kMethodPost, kLcdsInvokeUrl, destination, method, collection);
        if (answer.IsFailure()) {
            promise.set_value(std::move(answer).GetFailure());
            return future;
        }
        const PluginLcdsResponse& response = answer.GetValue();
        if (response.body.IsEmpty()) {
            promise.set_value(MaybeType<Failure, Result>(Result{}));
            return future;
        }
        const auto expected = lcdsClassByType.find(StaticType::Identity<Result>());
        if (expected != lcdsClassByType.end() && expected->second != response.typeName) {
            promise.set_value(Internal::LcdsClassFailure(expected->second, destination, method,
                                                         response.typeName));
            return future;
        }
        BindingResult conversion;
        Result native{};
        ValueToNative(conversion, native, response.body, "<value>", typeRegistry, 0);
        if (!conversion.Ok()) {
            promise.set_value(Internal::LcdsConversionFailure(StaticType::Record<Result>().text,
                                                              response.body, typeRegistry));
            return future;
        }
        promise.set_value(MaybeType<Failure, Result>(std::move(native)));
    }
    return future;
}

template <typename T>
void AppClient::SubscribeToLcds(const std::string& subtopic,
                                std::type_identity_t<std::function<void(const T&)>> function) {
    lcdsHandlers[subtopic] = [this, function = std::move(function)](const PluginLcdsEvent& event) {
        BindingResult conversion;
        T native{};
        ValueToNative(conversion, native, event.body, "<value>", typeRegistry, 0);
        if (!conversion.Ok()) {
            if (IsFrameDiagnosticSinkInstalled()) {
                const std::string json = WriteJson(event.body, typeRegistry, nullptr);
                FrameDiagnostic("%s: Couldn't convert LCDS DTO %s to C++ from %s",
                                shortName.c_str(), StaticType::Record<T>().text, json.c_str());
            }
            return;
        }
        function(native);
    };
    const std::string name = LcdsEventName(subtopic);
    FrameDiagnostic("%s: Subscribing to LCDS event: %s", shortName.c_str(), name.c_str());
    RegisterEventHandler<PluginLcdsEvent>(
        name, [this](const PluginLcdsEvent& event) { OnLcdsEvent(event); }, 1);
}

}  // namespace Tavix::Client
