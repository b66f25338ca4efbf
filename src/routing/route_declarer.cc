#include "routing/route_declarer.h"

namespace Tavix::Client {

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

}  // namespace Tavix::Client
