#include "routing/route_declarer.h"

#include "binding/builtin_types.h"
#include "binding/value.h"
#include "routing/builtin_functions.h"

namespace Tavix::Client {

namespace {

constexpr char kHelpDescription[] =
    "Describes every function, type and event of the module in the Full help format.";
constexpr char kHelpFailure[] = "The help could not be built.";
constexpr char kOpenApiDescription[] =
    "The OpenAPI 3.0 document of the module's routes and records.";

}  // namespace

RouteBuilder::RouteBuilder(RouteDeclaration declaration)
    : function_(std::move(declaration.function)),
      entry_(declaration.entry),
      existed_(function_.Existed()) {}

RouteBuilder& RouteBuilder::SetUrl(std::string_view text) {
    if (existed_) {
        return *this;
    }
    if (text.size() > 1 && text.back() == '/') {
        text.remove_suffix(1);
    }
    entry_->url = std::string(text);
    return *this;
}

RouteBuilder& RouteBuilder::SetMethod(std::uint32_t code) {
    if (!existed_) {
        entry_->method = code;
        entry_->methodText.clear();
    }
    return *this;
}

RouteBuilder& RouteBuilder::AddTags(const std::vector<std::string>& tags) {
    if (!existed_) {
        function_.AddTags(tags);
    }
    return *this;
}

RouteBuilder& RouteBuilder::SetDescription(std::string_view text) {
    if (!existed_) {
        function_.SetDescription(text);
    }
    return *this;
}

RouteBuilder& RouteBuilder::Fails(std::uint32_t status, std::string_view text) {
    if (!existed_) {
        entry_->failures.push_back({status, std::string(text)});
    }
    return *this;
}

RouteBuilder& RouteBuilder::PathArgument(std::string_view name, std::string_view description) {
    return Locate(ArgumentLocation::Path, name, description);
}

RouteBuilder& RouteBuilder::BodyArgument(std::string_view name, std::string_view description) {
    return Locate(ArgumentLocation::Body, name, description);
}

RouteBuilder& RouteBuilder::QueryArgument(std::string_view name, std::string_view description) {
    return Locate(ArgumentLocation::Query, name, description);
}

RouteBuilder& RouteBuilder::HeaderArgument(std::string_view name, std::string_view description) {
    return Locate(ArgumentLocation::Header, name, description);
}

RouteBuilder& RouteBuilder::Argument(std::string_view name, std::string_view description) {
    return Locate(ArgumentLocation::Anywhere, name, description);
}

RouteBuilder& RouteBuilder::Locate(ArgumentLocation location, std::string_view name,
                                   std::string_view description) {
    if (existed_) {
        return *this;
    }
    // Beyond the handler's arguments the function's builder logs the surplus and ignores it.
    if (index_ < entry_->locations.size()) {
        entry_->locations[index_] = location;
    }
    function_.AddArgument(name, description);
    ++index_;
    return *this;
}

RouteBuilder RouteDeclarer::Help(std::string_view path) {
    RouteDeclaration declaration = dispatcher_->DeclareRouteFunction(kHelpFunctionName, 0);
    if (declaration.created && !declaration.function.Existed()) {
        declaration.function.Descriptor()->returnType =
            dispatcher_->TypeRefOf(&StaticType::Record<BindingFullApiHelp>());
        declaration.entry->servesBuiltins = true;
    }
    RouteBuilder builder(std::move(declaration));
    builder.SetUrl(path)
        .SetMethod(kMethodGet)
        .AddTags(tags_)
        .AddTags({std::string(kBuiltinTag)})
        .SetDescription(kHelpDescription)
        .Fails(400, kHelpFailure);
    return builder;
}

RouteBuilder RouteDeclarer::OpenApi(std::string_view path) {
    const BindingDispatcher* dispatcher = dispatcher_;
    OpenApiInfo info = info_;
    if (info.tags.empty()) {
        info.tags = tags_;
    }
    auto handler = [dispatcher, info = std::move(info)]() -> ResourceOf<BindingValue> {
        BindingValue document;
        BuildOpenApiDocument(document, *dispatcher, info);
        return ResourceOf<BindingValue>(std::move(document));
    };
    RouteBuilder builder = DeclareNamedRoute(*dispatcher_, std::string(kOpenApiFunctionName),
                                             kMethodGet, path, std::move(handler), tags_);
    builder.SetDescription(kOpenApiDescription);
    return builder;
}

}  // namespace Tavix::Client
