#include "core/function_records.h"

#include <cstring>

namespace Tavix::TestHost {

namespace {

std::string Text(const char* text) {
    return text == nullptr ? std::string() : std::string(text);
}

std::string MethodOf(const Client::HostFunctionRecord& record) {
    if (record.method == Client::kMethodAny) {
        return "*";
    }
    if (record.method == Client::kMethodNamed) {
        return Text(record.methodText);
    }
    const char* text = Client::HostMethodText(record.method);
    return *text != '\0' ? text : "method " + std::to_string(record.method);
}

std::vector<std::string_view> Split(std::string_view text) {
    std::vector<std::string_view> parts;
    while (true) {
        const std::size_t slash = text.find('/');
        parts.push_back(text.substr(0, slash));
        if (slash == std::string_view::npos) {
            return parts;
        }
        text.remove_prefix(slash + 1);
    }
}

// A template segment against a path segment: literal text around at most one "{name}".
bool SegmentFits(std::string_view segment, std::string_view part) {
    const std::size_t open = segment.find('{');
    if (open == std::string_view::npos) {
        return segment == part;
    }
    const std::size_t close = segment.find('}', open);
    if (close == std::string_view::npos) {
        return segment == part;
    }
    const std::string_view before = segment.substr(0, open);
    const std::string_view after = segment.substr(close + 1);
    return part.size() >= before.size() + after.size() && part.starts_with(before) &&
           part.ends_with(after);
}

std::size_t LiteralLength(std::string_view templateText) {
    std::size_t length = 0;
    bool inside = false;
    for (const char c : templateText) {
        if (c == '{') {
            inside = true;
        } else if (c == '}') {
            inside = false;
        } else if (!inside) {
            ++length;
        }
    }
    return length;
}

}  // namespace

std::vector<FunctionInfo> DescribeFunctions(const Client::ApiDescription& api) {
    std::vector<FunctionInfo> functions;
    for (std::uint32_t i = 0; i < api.functionCount; ++i) {
        const Client::HostFunctionRecord& record = api.functions[i];
        FunctionInfo info;
        info.method = MethodOf(record);
        info.url = Text(record.url);
        info.name = Text(record.head.name);
        const Client::HostArgumentRecord* argument = record.head.arguments;
        const Client::HostArgumentLocationRecord* location = record.locations;
        for (std::uint32_t a = 0; a < record.head.argumentCount; ++a) {
            ArgumentInfo described;
            if (argument != nullptr) {
                described.name = Text(argument->name);
                argument = argument->next;
            }
            if (location != nullptr) {
                described.location = location->location;
                location = location->next;
            }
            info.arguments.push_back(std::move(described));
        }
        functions.push_back(std::move(info));
    }
    return functions;
}

const char* LocationName(std::uint32_t location) {
    switch (location) {
        case Client::kArgumentQuery:
            return "query";
        case Client::kArgumentPath:
            return "path";
        case Client::kArgumentHeader:
            return "header";
        case Client::kArgumentBody:
            return "body";
        default:
            return "any";
    }
}

std::string DescribeLine(const FunctionInfo& function) {
    std::string line = function.method + " " + function.url + " " + function.name;
    for (const ArgumentInfo& argument : function.arguments) {
        line += " " + (argument.name.empty() ? std::string("?") : argument.name) + ":" +
                LocationName(argument.location);
    }
    return line;
}

bool UrlFitsTemplate(std::string_view url, std::string_view templateText) {
    const std::string_view path = url.substr(0, url.find('?'));
    const std::vector<std::string_view> segments = Split(templateText);
    const std::vector<std::string_view> parts = Split(path);
    for (std::size_t i = 0; i < segments.size(); ++i) {
        const std::string_view segment = segments[i];
        if (segment.starts_with("{+") || segment.starts_with("{#")) {
            return i < parts.size();
        }
        if (i >= parts.size() || !SegmentFits(segment, parts[i])) {
            return false;
        }
    }
    return segments.size() == parts.size();
}

const Client::HostFunctionRecord* FindFunctionRecord(const Client::ApiDescription& api,
                                                     std::uint32_t method,
                                                     std::string_view methodName,
                                                     std::string_view url) {
    const Client::HostFunctionRecord* best = nullptr;
    std::size_t bestLength = 0;
    for (std::uint32_t i = 0; i < api.functionCount; ++i) {
        const Client::HostFunctionRecord& record = api.functions[i];
        const bool methodFits =
            record.method == Client::kMethodAny ||
            (record.method == method &&
             (method != Client::kMethodNamed || Text(record.methodText) == methodName));
        const std::string_view templateText = record.url != nullptr ? record.url : "";
        if (!methodFits || !UrlFitsTemplate(url, templateText)) {
            continue;
        }
        const std::size_t length = LiteralLength(templateText);
        if (best == nullptr || length > bestLength) {
            best = &record;
            bestLength = length;
        }
    }
    return best;
}

const Client::HostFunctionRecord* FindFunctionRecordNamed(const Client::ApiDescription& api,
                                                          std::string_view name) {
    for (std::uint32_t i = 0; i < api.functionCount; ++i) {
        if (Text(api.functions[i].head.name) == name) {
            return &api.functions[i];
        }
    }
    return nullptr;
}

ApiAnswer CallFunctionRecord(const Client::HostFunctionRecord& record, const ApiCall& call) {
    ValueArena arena;
    std::vector<Client::HostParameter> parameters;
    for (const RecordedParameter& parameter : call.parameters) {
        Client::HostParameter built{};
        built.name = parameter.name ? arena.Keep(*parameter.name) : nullptr;
        built.value = arena.Build(parameter.value);
        parameters.push_back(built);
    }
    std::vector<Client::HostHeader> headers;
    for (const auto& [name, value] : call.headers) {
        headers.push_back({arena.Keep(name), arena.Keep(value)});
    }

    Client::HostRequest request{};
    request.method = call.method;
    request.url = arena.Keep(call.url);
    request.parameters = parameters.empty() ? nullptr : parameters.data();
    request.parameterCount = static_cast<std::uint32_t>(parameters.size());
    request.callContext = record.head.callContext;
    request.headers = headers.empty() ? nullptr : headers.data();
    request.headerCount = static_cast<std::uint32_t>(headers.size());
    request.contentType = call.contentType ? arena.Keep(*call.contentType) : nullptr;
    if (call.body) {
        request.body = arena.Keep(*call.body);
        request.bodySize = static_cast<std::uint32_t>(call.body->size());
    }
    request.clientId = call.clientId;
    request.methodName =
        call.method == Client::kMethodNamed ? arena.Keep(call.methodName) : nullptr;

    Client::HostResponse response{};
    record.callEntry(&response, &request);

    ApiAnswer answer;
    answer.called = true;
    answer.value = CopyHostValue(response.value);
    // Fields of the packed record are read by value: a reference to one may be misaligned.
    if (response.errorText != nullptr) {
        answer.error = Text(response.errorText);
    }
    answer.errorOwned = response.errorTextOwned != 0;
    answer.flag = response.flag;
    answer.mode = response.mode;
    answer.status = response.status;
    if (response.statusText != nullptr) {
        answer.statusText = Text(response.statusText);
    }
    for (std::uint32_t i = 0; i < response.headerCount; ++i) {
        answer.headers.emplace_back(Text(response.headers[i].name),
                                    Text(response.headers[i].value));
    }
    if (response.streamRead != nullptr) {
        std::string text;
        char buffer[4096];
        bool more = true;
        while (more) {
            std::uint32_t size = sizeof buffer;
            if (!response.streamRead(response.streamContext, buffer, &size, &more)) {
                answer.streamFailed = true;
                break;
            }
            text.append(buffer, size);
        }
        if (response.streamClose != nullptr) {
            response.streamClose(response.streamContext);
        }
        answer.stream = std::move(text);
    }
    if (response.release != nullptr) {
        response.release(&response);
        const auto* bytes = reinterpret_cast<const unsigned char*>(&response);
        answer.released = true;
        for (std::size_t i = 0; i < sizeof response; ++i) {
            answer.released = answer.released && bytes[i] == 0;
        }
    }
    return answer;
}

}  // namespace Tavix::TestHost
