// Calls the function records of a module with a few routes, as a host would, with a method, URL,
// headers, request parameters, content type and body all taken from the fuzz bytes. Every call
// must answer (a value or an error text) and release cleanly; nothing may crash or leak. Short
// URLs are also matched against each route's template by the standard regular expression engine,
// whose verdict and captures the module's own matcher must reproduce.
//
// Input: one byte choosing the record and the method, then URL, content type, method name,
// headers ("name:value" lines), parameters ("name=value" lines, or a bare value for a positional
// one) and the body, separated by 0x1F; the body is the rest.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <optional>
#include <regex>
#include <string>
#include <string_view>
#include <vector>

#include "binding/record_builder.h"
#include "frame/app_module.h"
#include "frame/plugin_export.h"
#include "routing/resource.h"
#include "routing/route_declarer.h"
#include "routing/url_pattern.h"
#include "routing/url_template.h"

namespace {

using namespace Tavix::Client;

struct Item {
    std::string name;
    std::int32_t count = 0;
    std::vector<double> weights;
    std::optional<std::string> note;
};

const char* const kTemplates[] = {
    "/f/v1/items/{id}", "/f/v1/items/{id}/{+rest}", "/f/v1/x{#frag}", "/f/v1/any/{a}-{b}",
    "/f/v1/literal",
};

class FuzzModule : public AppModule {
public:
    void RegisterApi() override {
        DeclareRecord<Item>(GetDispatcher(), "Item")
            .Field("name", &Item::name)
            .Field("count", &Item::count)
            .Field("weights", &Item::weights)
            .Field("note", &Item::note);
        RouteDeclarer routes = Routes();
        routes
            .Get(kTemplates[0],
                 [](std::int32_t id, std::optional<std::vector<std::string>> tags,
                    std::optional<Item> item) -> ResourceOf<Item> {
                     Item answer = item.value_or(Item());
                     answer.count = id;
                     if (tags) {
                         answer.note = std::to_string(tags->size());
                     }
                     return id < 0 ? ResourceOf<Item>(NotFound()) : ResourceOf<Item>(answer);
                 })
            .PathArgument("id")
            .QueryArgument("tags")
            .Argument("item");
        routes
            .Put(kTemplates[1],
                 [](const std::string& id, const std::string& rest, const Item& body) {
                     Resource answer = id == rest ? InternalServerError() : Resource();
                     answer.headers[id] = rest;
                     answer.statusText = body.name;
                     return answer;
                 })
            .PathArgument("id")
            .PathArgument("rest")
            .BodyArgument("body");
        routes
            .Post(kTemplates[2],
                  [](std::string frag, BindingValue extra, bool flag) -> ResourceOf<BindingValue> {
                      extra.Field("frag").SetString(frag);
                      extra.Field("flag").SetBool(flag);
                      return extra;
                  })
            .PathArgument("frag")
            .Argument("extra")
            .HeaderArgument("flag");
        routes
            .Declare(kMethodAny, kTemplates[3],
                     [](const CallContext& context, std::string a, std::string b,
                        std::map<std::string, std::int64_t> scores) -> ResourceOf<std::string> {
                         return a + b + std::to_string(scores.size()) +
                                std::string(context.url.substr(0, 8));
                     })
            .PathArgument("a")
            .PathArgument("b")
            .Argument("scores");
        routes.Get(kTemplates[4], [] { return Resource(); });
    }
};

void LoadFuzzModule(PluginLoadBlock* block) {
    ConstructPlugin<FuzzModule>(*block, "fuzz-module");
}

const ApiDescription& Api() {
    static const ApiDescription* api = [] {
        static PluginLoadBlock block{};
        block.major = 18;
        LoadFuzzModule(&block);
        return block.apiDescription;
    }();
    return *api;
}

// Splits off the text up to the next 0x1F; the last field takes the rest.
std::string_view Field(std::string_view& rest) {
    const std::size_t end = rest.find('\x1F');
    const std::string_view field = rest.substr(0, end);
    rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
    return field;
}

std::vector<std::string_view> Lines(std::string_view text) {
    std::vector<std::string_view> lines;
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        lines.push_back(text.substr(0, end));
        text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
    }
    return lines;
}

// The module's matcher against the engine that the template's expression was written for.
void CheckMatcher(const std::string& url) {
    static std::map<std::string, std::regex> expressions;
    for (const char* templateText : kTemplates) {
        if (std::strchr(templateText, '{') == nullptr) {
            continue;
        }
        auto found = expressions.find(templateText);
        if (found == expressions.end()) {
            found = expressions
                        .emplace(templateText,
                                 std::regex(CompileUrlTemplate(templateText).pattern,
                                            std::regex::ECMAScript | std::regex::optimize))
                        .first;
        }
        std::smatch match;
        const bool expected = std::regex_match(url, match, found->second);
        const UrlPattern pattern(templateText);
        std::vector<std::string_view> groups(pattern.GroupCount());
        const bool matched = pattern.Match(url, groups);
        bool same = matched == expected;
        for (std::size_t i = 0; same && matched && i < groups.size(); ++i) {
            same = groups[i] == match[i + 1].str();
        }
        if (!same) {
            std::fprintf(stderr, "matcher differs from the engine: template %s, url %s\n",
                         templateText, url.c_str());
            std::abort();
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const ApiDescription& api = Api();
    const HostFunctionRecord& record = api.functions[data[0] % api.functionCount];
    std::string_view rest(reinterpret_cast<const char*>(data + 1), size - 1);
    // The host's texts are C strings: each stops at its first NUL, as the module will read it.
    const std::string_view urlField = Field(rest);
    const std::string urlText(urlField.substr(0, urlField.find('\0')));
    const std::string contentType(Field(rest));
    const std::string methodName(Field(rest));
    const std::string_view headerBlock = Field(rest);
    const std::string_view parameterBlock = Field(rest);
    const std::string body(rest);

    std::vector<std::string> texts;
    texts.reserve(64);
    const auto keep = [&texts](std::string_view text) {
        texts.emplace_back(text.substr(0, text.find('\0')));
        return texts.back().c_str();
    };
    std::vector<HostHeader> headers;
    for (const std::string_view line : Lines(headerBlock)) {
        if (texts.size() + 2 > texts.capacity()) {
            break;
        }
        const std::size_t colon = line.find(':');
        headers.push_back({keep(line.substr(0, colon)),
                           keep(colon == std::string_view::npos ? "" : line.substr(colon + 1))});
    }
    std::vector<HostParameter> parameters;
    for (const std::string_view line : Lines(parameterBlock)) {
        if (texts.size() + 2 > texts.capacity()) {
            break;
        }
        const std::size_t equals = line.find('=');
        HostParameter parameter{};
        const std::string_view value =
            equals == std::string_view::npos ? line : line.substr(equals + 1);
        parameter.name = equals == std::string_view::npos ? nullptr : keep(line.substr(0, equals));
        const char* text = keep(value);
        parameter.value.tag = kHostValueBorrowedString;
        parameter.value.payload.text.data = text;
        parameter.value.payload.text.length = static_cast<std::uint32_t>(std::strlen(text));
        parameters.push_back(parameter);
    }

    HostRequest request{};
    request.method = (data[0] >> 4) % 10;
    request.url = urlText.c_str();
    request.parameters = parameters.data();
    request.parameterCount = static_cast<std::uint32_t>(parameters.size());
    request.callContext = record.head.callContext;
    request.headers = headers.data();
    request.headerCount = static_cast<std::uint32_t>(headers.size());
    request.contentType = contentType.empty() ? nullptr : contentType.c_str();
    request.body = body.empty() && (data[0] & 8) == 0 ? nullptr : body.data();
    request.bodySize = static_cast<std::uint32_t>(body.size());
    request.clientId = 3;
    request.methodName = methodName.c_str();

    HostResponse response{};
    record.callEntry(&response, &request);
    if (response.release == nullptr ||
        (response.errorText != nullptr) == (response.errorTextOwned == 0)) {
        std::fprintf(stderr, "an answer without its release function or its owned error text\n");
        std::abort();
    }
    if (response.streamRead != nullptr) {
        std::abort();
    }
    response.release(&response);
    if (urlText.size() <= 96) {
        CheckMatcher(urlText);
    }
    return 0;
}
