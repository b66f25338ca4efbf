#include "http/api_document.h"

#include <nlohmann/json.hpp>

namespace Tavix::TestHost {

namespace {

using nlohmann::json;

json JsonContent(json schema) {
    json content;
    content["application/json"]["schema"] = std::move(schema);
    return content;
}

json ErrorAnswer(const std::string& description) {
    json schema{{"type", "object"}};
    schema["properties"]["httpStatus"]["type"] = "integer";
    schema["properties"]["message"]["type"] = "string";
    return {{"description", description}, {"content", JsonContent(std::move(schema))}};
}

json QueryParameter(const std::string& name, const std::string& description,
                    const std::string& fallback) {
    json parameter{{"name", name}, {"in", "query"}, {"required", false}};
    parameter["schema"]["type"] = "string";
    if (!description.empty()) {
        parameter["description"] = description;
    }
    if (!fallback.empty()) {
        parameter["schema"]["default"] = fallback;
    }
    return parameter;
}

json EventStreamPath() {
    json operation{
        {"summary", "The module's resource events as Server-Sent Events"},
        {"description",
         "Each event's data is one line of JSON: {uri, eventType, data}. A reader that "
         "reconnects with Last-Event-ID goes on after that event; one that fell behind gets an "
         "event named missed. An idle stream gets a heartbeat comment."},
        {"tags", {"host"}}};
    operation["parameters"] = {
        QueryParameter("uri",
                       "only the events of the resources whose URI fits this pattern, where * "
                       "stands for a run of characters without /",
                       ""),
        QueryParameter("host",
                       "1 adds the host's view: the machine's state, the module's requests to "
                       "its neighbours and its log lines, as events named state, request and log",
                       "")};
    json stream;
    stream["text/event-stream"]["schema"]["type"] = "string";
    operation["responses"]["200"] = {{"description", "the stream, until the host stops"},
                                     {"content", std::move(stream)}};
    operation["responses"]["503"] = ErrorAnswer("too many event streams are open");
    return {{"get", std::move(operation)}};
}

json ActionListPath() {
    json parameter{{"type", "object"}};
    parameter["properties"]["name"]["type"] = "string";
    parameter["properties"]["default"]["type"] = "string";
    json action{{"type", "object"}};
    for (const char* name : {"method", "path", "title"}) {
        action["properties"][name]["type"] = "string";
    }
    action["properties"]["parameters"] = {{"type", "array"}, {"items", std::move(parameter)}};
    json operation{{"summary", "The host's own actions, each served at its method and path"},
                   {"tags", {"host"}}};
    operation["responses"]["200"] = {
        {"description", "the actions"},
        {"content", JsonContent({{"type", "array"}, {"items", std::move(action)}})}};
    return {{"get", std::move(operation)}};
}

json ActionOperation(const HostAction& action) {
    json parameters = json::array();
    for (const auto& [name, fallback] : action.parameters) {
        parameters.push_back(QueryParameter(name, "", fallback));
    }
    json operation{{"summary", action.title.empty() ? action.path : action.title},
                   {"tags", {"host"}},
                   {"parameters", std::move(parameters)}};
    operation["responses"]["200"] = {{"description", "done, with what the action reports"},
                                     {"content", JsonContent({{"type", "object"}})}};
    operation["responses"]["204"]["description"] = "done";
    operation["responses"]["400"] = ErrorAnswer("a parameter the action cannot take");
    return operation;
}

}  // namespace

ApiDocument WithFrontPaths(const std::string& moduleDocument,
                           const std::vector<HostAction>& actions) {
    json document = json::parse(moduleDocument, nullptr, false);
    if (!document.is_object()) {
        return {{}, "the module's API document is not a JSON object"};
    }
    json& paths = document["paths"];
    if (!paths.is_object()) {
        paths = json::object();
    }
    json added = json::object();
    added["/events"] = EventStreamPath();
    added["/sim"] = ActionListPath();
    for (const HostAction& action : actions) {
        std::string method = action.method;
        for (char& c : method) {
            c = static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
        }
        added[action.path][method] = ActionOperation(action);
    }
    for (auto& [path, operations] : added.items()) {
        for (auto& [method, operation] : operations.items()) {
            if (!paths[path].contains(method)) {
                paths[path][method] = std::move(operation);
            }
        }
    }
    return {document.dump(), {}};
}

}  // namespace Tavix::TestHost
