#pragma once
// The typed request layers of AppClient: native arguments become positional HostParameter
// records, the HostResponse becomes a native result, and every way of failing becomes a Failure
// with its message. Nothing here retries, and the release function of a response is called once
// on every path of the two Request layers.

#include <concepts>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "arx/host_boundary.h"
#include "binding/result.h"
#include "binding/value.h"
#include "frame/app_client.h"
#include "frame/native_conversion.h"
#include "support/failure.h"
#include "support/maybe_type.h"

namespace Tavix::Client {

namespace Internal {

// The positional parameters of one request. Owns the HostValue of each entry and frees them all
// when it goes, whatever happened to the request.
class RequestParameters {
public:
    RequestParameters();
    ~RequestParameters();
    RequestParameters(const RequestParameters&) = delete;
    RequestParameters& operator=(const RequestParameters&) = delete;

    // Appends `value` as the next parameter; false with `error` set when it cannot be laid out.
    bool Append(const BindingValue& value, const BindingRegistry* registry, std::string& error);

    // Null when there is none, so that a request without arguments carries no array.
    const HostParameter* Data() const { return list_.empty() ? nullptr : list_.data(); }
    std::uint32_t Count() const { return static_cast<std::uint32_t>(list_.size()); }

private:
    std::vector<HostParameter> list_;
};

// A string-to-string map travels as one structure of string fields.
template <typename T>
concept StringToStringMap = requires(const T& map) {
    requires std::same_as<typename T::key_type, std::string>;
    requires std::same_as<typename T::mapped_type, std::string>;
    map.begin();
    map.end();
};

// Text arguments (strings, literals, views) travel as string values as they are.
template <typename T>
inline constexpr bool IsTextArgument = std::is_convertible_v<const T&, std::string_view>;

template <typename T>
void ArgumentToValue(BindingResult& result, const T& argument, const BindingRegistry* registry) {
    if constexpr (IsTextArgument<T>) {
        result.SetString(std::string_view(argument));
    } else if constexpr (StringToStringMap<T>) {
        result.MakeStructure();
        for (const auto& [key, text] : argument) {
            result.Field(key).SetString(text);
        }
    } else {
        NativeToValue(result, argument, registry);
    }
}

// Sends the prepared request and turns an error answer into its Failure.
MaybeType<Failure, void> SendPreparedRequest(AppClient& client, HostResponse& response,
                                             std::uint32_t method, const std::string& url,
                                             const RequestParameters& parameters);

Failure ParameterFailure(std::uint32_t method, const std::string& url, std::string_view error);

// The answer as a dynamic value: the streamed text parsed as JSON, or the response's HostValue.
MaybeType<Failure, void> ReadResponseValue(AppClient& client, const HostResponse& response,
                                           std::uint32_t method, const std::string& url,
                                           BindingValue& value);

Failure ResponseConversionFailure(std::uint32_t method, const std::string& url,
                                  std::string_view error);

// Calls the response's release function when it has one.
void ReleaseResponse(HostResponse& response);

}  // namespace Internal

namespace Internal {

// Converts each argument to a value, in order, and hands it to `take(value, type)` with a
// std::type_identity of the argument's type. Stops at the first argument that does not convert,
// or that `take` refuses, leaving its text in `error`: later ones are not looked at.
template <typename Take, typename... Arguments>
bool ConvertArguments([[maybe_unused]] const BindingRegistry* registry,
                      [[maybe_unused]] std::string& error, [[maybe_unused]] Take&& take,
                      const Arguments&... arguments) {
    bool converted = true;
    (void)((converted =
                [&] {
                    BindingResult value;
                    ArgumentToValue(value, arguments, registry);
                    if (!value.Ok()) {
                        error = value.ErrorText();
                        return false;
                    }
                    return take(value, std::type_identity<Arguments>{});
                }()) &&
           ...);
    return converted;
}

}  // namespace Internal

template <typename... Arguments>
MaybeType<Failure, void> AppClient::MakeRequest(HostResponse& response, std::uint32_t method,
                                                const std::string& url,
                                                const Arguments&... arguments) {
    Internal::RequestParameters parameters;
    std::string error;
    const bool converted = Internal::ConvertArguments(
        typeRegistry, error,
        [&](BindingResult& value, auto) { return parameters.Append(value, typeRegistry, error); },
        arguments...);
    if (!converted) {
        return Internal::ParameterFailure(method, url, error);
    }
    return Internal::SendPreparedRequest(*this, response, method, url, parameters);
}

template <typename Result, typename... Arguments>
MaybeType<Failure, Result> AppClient::Request(std::uint32_t method, const std::string& url,
                                              const Arguments&... arguments) {
    HostResponse response;
    std::memset(static_cast<void*>(&response), 0, sizeof response);
    if constexpr (std::is_void_v<Result>) {
        MaybeType<Failure, void> result = MakeRequest(response, method, url, arguments...);
        Internal::ReleaseResponse(response);
        return result;
    } else {
        MaybeType<Failure, Result> result = [&]() -> MaybeType<Failure, Result> {
            MaybeType<Failure, void> sent = MakeRequest(response, method, url, arguments...);
            if (sent.IsFailure()) {
                return std::move(sent).GetFailure();
            }
            BindingValue value;
            MaybeType<Failure, void> read =
                Internal::ReadResponseValue(*this, response, method, url, value);
            if (read.IsFailure()) {
                return std::move(read).GetFailure();
            }
            if constexpr (std::is_same_v<Result, BindingValue>) {
                return MaybeType<Failure, Result>(std::move(value));
            } else {
                BindingResult conversion;
                Result native{};
                ValueToNative(conversion, native, value, "<result>", typeRegistry, clientId);
                if (!conversion.Ok()) {
                    return Internal::ResponseConversionFailure(method, url, conversion.ErrorText());
                }
                return MaybeType<Failure, Result>(std::move(native));
            }
        }();
        Internal::ReleaseResponse(response);
        return result;
    }
}

}  // namespace Tavix::Client
