#pragma once
// Declaring a REST route in one line: the method, the URL template and the handler. The
// function's name comes from method and path ("GET" and "/arx-matchmaking/v1/search/errors/{id}"
// give "GetArxMatchmakingV1SearchErrorsById"), its arguments and result from the handler's
// signature, and where each argument comes from from the builder that the declaration returns.
//
//     void MatchmakingPlugin::RegisterApi() {
//         RouteDeclarer routes = Routes();
//         routes.Get("/arx-matchmaking/v1/search", this, &MatchmakingPlugin::GetSearch);
//         routes.Put("/arx-matchmaking/v1/search", this, &MatchmakingPlugin::PutSearch)
//             .BodyArgument("search", "The search as the client wants it");
//         routes.Get("/arx-matchmaking/v1/search/errors/{id}", this,
//                    &MatchmakingPlugin::GetSearchError)
//             .PathArgument("id", "The error's id");
//     }
//
// A handler returns `Resource`, or `ResourceOf<T>` with a value (routing/resource.h). The types
// that its arguments and result name must be declared before the route. A second declaration of
// a route's name changes nothing: the first handler, URL and method stay.
//
// Two routes describe the module to whoever asks, and a module opens them if it wants them:
//
//     routes.Help("/arx-matchmaking/v1/help");        // "Help", the registry in Full form
//     routes.OpenApi("/arx-matchmaking/v1/openapi");  // "OpenApi", the OpenAPI document
//
// Their functions have these fixed names, whatever the path, so that a host finds them among the
// function records without knowing the module's paths.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "arx/host_boundary.h"
#include "binding/function_builder.h"
#include "frame/native_conversion.h"
#include "routing/call_context.h"
#include "routing/dispatcher.h"
#include "routing/function_invoker.h"
#include "routing/function_name.h"
#include "routing/openapi.h"
#include "routing/route_entry.h"
#include "support/fatal.h"

namespace Tavix::Client {

// Completes one declaration. Every operation of a builder whose function existed before does
// nothing.
class RouteBuilder {
public:
    explicit RouteBuilder(RouteDeclaration declaration);

    // "/x/" is stored as "/x"; "/" stays.
    RouteBuilder& SetUrl(std::string_view text);
    RouteBuilder& SetMethod(std::uint32_t code);
    RouteBuilder& AddTags(const std::vector<std::string>& tags);
    // What the function does, for the module's help and its OpenAPI document.
    RouteBuilder& SetDescription(std::string_view text);
    // A status that the handler answers with in a known case, with that case's text; the same
    // status may be given once per case. Only the module's description shows it.
    RouteBuilder& Fails(std::uint32_t status, std::string_view text);

    // Name, describe and locate the arguments, in the handler's order. An argument left without a
    // name can be given only by position in the request's parameter list.
    RouteBuilder& PathArgument(std::string_view name, std::string_view description = {});
    RouteBuilder& BodyArgument(std::string_view name, std::string_view description = {});
    RouteBuilder& QueryArgument(std::string_view name, std::string_view description = {});
    RouteBuilder& HeaderArgument(std::string_view name, std::string_view description = {});
    // Taken from wherever the request has it.
    RouteBuilder& Argument(std::string_view name, std::string_view description = {});

    bool Existed() const { return existed_; }
    const BindingFunctionDescriptor* Function() const { return function_.Descriptor(); }
    const RouteEntry* Entry() const { return entry_; }

private:
    RouteBuilder& Locate(ArgumentLocation location, std::string_view name,
                         std::string_view description);

    BindingFunctionBuilder function_;
    RouteEntry* entry_;
    std::size_t index_ = 0;
    bool existed_;
};

namespace Internal {

template <typename Member>
struct MemberSignature;
template <typename Class, typename R, typename... A>
struct MemberSignature<R (Class::*)(A...)> {
    using Type = R(A...);
};
template <typename Class, typename R, typename... A>
struct MemberSignature<R (Class::*)(A...) const> {
    using Type = R(A...);
};
template <typename Class, typename R, typename... A>
struct MemberSignature<R (Class::*)(A...) noexcept> {
    using Type = R(A...);
};
template <typename Class, typename R, typename... A>
struct MemberSignature<R (Class::*)(A...) const noexcept> {
    using Type = R(A...);
};

// The signature of a callable: a function pointer, or an object with one call operator (a
// lambda, std::function).
template <typename Handler, typename = void>
struct HandlerSignature;
template <typename R, typename... A>
struct HandlerSignature<R (*)(A...)> {
    using Type = R(A...);
};
template <typename R, typename... A>
struct HandlerSignature<R (*)(A...) noexcept> {
    using Type = R(A...);
};
template <typename Handler>
struct HandlerSignature<Handler, std::void_t<decltype(&Handler::operator())>> {
    using Type = typename MemberSignature<decltype(&Handler::operator())>::Type;
};

template <typename T>
inline constexpr bool kIsStdFunction = false;
template <typename Signature>
inline constexpr bool kIsStdFunction<std::function<Signature>> = true;

// The invoker of a handler whose parameters, the context aside, are `A...`.
template <bool WithContext, typename R, typename... A>
struct HandlerBridge {
    using Invoker = TypedFunctionInvoker<WithContext, R, A...>;
    static constexpr std::size_t kArity = sizeof...(A);

    // The argument types and the result type, as the function's descriptor shows them.
    static void Describe(BindingFunctionDescriptor& function, const BindingRegistry& registry) {
        [[maybe_unused]] std::size_t index = 0;
        (..., DescribeArgument<std::decay_t<A>>(function.arguments[index++], registry));
        if constexpr (!std::is_void_v<typename Invoker::Value>) {
            function.returnType = NativeTypeRef<typename Invoker::Value>(&registry);
        }
    }

private:
    template <typename T>
    static void DescribeArgument(BindingArgumentDescriptor& argument,
                                 const BindingRegistry& registry) {
        argument.type = NativeTypeRef<T>(&registry);
        argument.optional = BindingFieldTraits<T>::optional;
    }
};

template <typename Signature>
struct BridgeOf;
template <typename R>
struct BridgeOf<R()> : HandlerBridge<false, R> {};
template <typename R, typename First, typename... Rest>
struct BridgeOf<R(First, Rest...)>
    : std::conditional_t<std::is_same_v<std::remove_cvref_t<First>, CallContext>,
                         HandlerBridge<true, R, Rest...>, HandlerBridge<false, R, First, Rest...>> {
};

template <typename Object, typename Member, typename R, typename... A>
auto BindMember(Object* object, Member member, std::type_identity<R(A...)>) {
    return [object, member](A... arguments) -> R {
        return (object->*member)(std::forward<A>(arguments)...);
    };
}

}  // namespace Internal

// Declares the route `path` for `method` with `handler` in `dispatcher`, as the function `name`;
// the module's `tags` go to the function. An empty handler, or a handler whose argument count
// differs from that of an earlier declaration of the function's name, is a programming fault and
// ends the process.
template <typename Handler>
RouteBuilder DeclareNamedRoute(BindingDispatcher& dispatcher, const std::string& name,
                               std::uint32_t method, std::string_view path, Handler&& handler,
                               const std::vector<std::string>& tags) {
    using Callable = std::decay_t<Handler>;
    using Bridge = Internal::BridgeOf<typename Internal::HandlerSignature<Callable>::Type>;
    if constexpr (std::is_pointer_v<Callable> || Internal::kIsStdFunction<Callable>) {
        if (!handler) {
            FatalReportWithMessage(kFatalRouteHandlerMismatch, kEmptyRouteHandlerMessage, name);
        }
    }

    RouteDeclaration declaration = dispatcher.DeclareRouteFunction(name, Bridge::kArity);
    BindingFunctionDescriptor& function = *declaration.function.Descriptor();
    if (declaration.created) {
        if (function.arguments.size() != Bridge::kArity) {
            FatalReportWithMessage(kFatalRouteHandlerMismatch, kRouteArgumentCountMessage, name,
                                   Bridge::kArity, function.name, function.arguments.size());
        }
        if (!declaration.function.Existed()) {
            Bridge::Describe(function, dispatcher);
        }
        declaration.entry->invoker = std::make_unique<typename Bridge::Invoker>(
            function, dispatcher,
            typename Bridge::Invoker::Handler(std::forward<Handler>(handler)));
    }
    RouteBuilder builder(std::move(declaration));
    builder.SetUrl(path).SetMethod(method).AddTags(tags);
    return builder;
}

// The same, with the function's name derived from method and path.
template <typename Handler>
RouteBuilder DeclareRoute(BindingDispatcher& dispatcher, std::uint32_t method,
                          std::string_view path, Handler&& handler,
                          const std::vector<std::string>& tags) {
    return DeclareNamedRoute(dispatcher, FunctionNameFromRoute(HostMethodText(method), path),
                             method, path, std::forward<Handler>(handler), tags);
}

// What a module's RegisterApi declares its routes with: the dispatcher, the module's tags, and
// the title and version of its OpenAPI document.
class RouteDeclarer {
public:
    RouteDeclarer(BindingDispatcher& dispatcher, std::vector<std::string> tags,
                  OpenApiInfo info = {})
        : dispatcher_(&dispatcher), tags_(std::move(tags)), info_(std::move(info)) {}

    // The builtin "Help" as GET `path`: the dispatcher answers it with its whole registry in Full
    // form, whose record is its result type. It carries the module's tags and "$builtin".
    RouteBuilder Help(std::string_view path);
    // "OpenApi" as GET `path`: the module's OpenAPI document (routing/openapi.h), built from the
    // registry and the route entries on each call.
    RouteBuilder OpenApi(std::string_view path);

    template <typename Handler>
    RouteBuilder Delete(std::string_view path, Handler&& handler) {
        return Declare(kMethodDelete, path, std::forward<Handler>(handler));
    }
    template <typename Handler>
    RouteBuilder Get(std::string_view path, Handler&& handler) {
        return Declare(kMethodGet, path, std::forward<Handler>(handler));
    }
    template <typename Handler>
    RouteBuilder Post(std::string_view path, Handler&& handler) {
        return Declare(kMethodPost, path, std::forward<Handler>(handler));
    }
    template <typename Handler>
    RouteBuilder Put(std::string_view path, Handler&& handler) {
        return Declare(kMethodPut, path, std::forward<Handler>(handler));
    }

    // A member function of `object` as the handler.
    template <typename Object, typename Member>
    RouteBuilder Delete(std::string_view path, Object* object, Member member) {
        return Declare(kMethodDelete, path, object, member);
    }
    template <typename Object, typename Member>
    RouteBuilder Get(std::string_view path, Object* object, Member member) {
        return Declare(kMethodGet, path, object, member);
    }
    template <typename Object, typename Member>
    RouteBuilder Post(std::string_view path, Object* object, Member member) {
        return Declare(kMethodPost, path, object, member);
    }
    template <typename Object, typename Member>
    RouteBuilder Put(std::string_view path, Object* object, Member member) {
        return Declare(kMethodPut, path, object, member);
    }

    // Any method code, kMethodAny included.
    template <typename Handler>
    RouteBuilder Declare(std::uint32_t method, std::string_view path, Handler&& handler) {
        return DeclareRoute(*dispatcher_, method, path, std::forward<Handler>(handler), tags_);
    }
    template <typename Object, typename Member>
    RouteBuilder Declare(std::uint32_t method, std::string_view path, Object* object,
                         Member member) {
        static_assert(std::is_member_function_pointer_v<Member>);
        if (member == nullptr) {
            FatalReportWithMessage(kFatalRouteHandlerMismatch, kEmptyRouteHandlerMessage,
                                   FunctionNameFromRoute(HostMethodText(method), path));
        }
        return Declare(method, path,
                       Internal::BindMember(
                           object, member,
                           std::type_identity<typename Internal::MemberSignature<Member>::Type>()));
    }

    const std::vector<std::string>& Tags() const { return tags_; }

private:
    BindingDispatcher* dispatcher_;
    std::vector<std::string> tags_;
    OpenApiInfo info_;
};

}  // namespace Tavix::Client
