#include "routing/internal/argument_binder.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "binding/binding_kind.h"
#include "binding/host_conversion.h"
#include "binding/json.h"
#include "binding/msgpack.h"
#include "binding/yaml.h"
#include "routing/argument_text.h"
#include "support/fnv1a.h"
#include "support/format.h"

namespace Tavix::Client::Internal {

namespace {

constexpr char kUnknownArgument[] = "Unknown argument '%1' for '%2'.";
constexpr char kInvalidLocation[] = "Argument '%1' for '%2' was specified in an invalid location.";
constexpr char kIndexFormat[] = "Index %1 is in an incorrect format";
constexpr char kIndexRange[] = "Index %1 is out of range";
constexpr char kNestedTooDeeply[] = "Argument '%1' for '%2' is nested too deeply.";
constexpr char kExpectedValue[] = "Expected value for argument '%1'.";
constexpr char kUnsupportedBody[] = "Unsupported body content type";
constexpr char kExtraMessagePack[] = "Extra MessgePack data found in body";

// Enough for any list a request can mean; far below what would exhaust memory.
constexpr std::size_t kMaxIndexedElements = std::size_t{1} << 20;
constexpr unsigned long kIndexLimit = 0x80000000ul;

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

}  // namespace

std::string HeaderNameOf(std::string_view name) {
    std::string lower(name);
    for (char& c : lower) {
        if (c >= 'A' && c <= 'Z') {
            c = static_cast<char>(c - 'A' + 'a');
        }
    }
    return lower;
}

std::vector<std::pair<std::string, std::string>> ParseQuery(std::string_view url) {
    std::vector<std::pair<std::string, std::string>> pieces;
    const std::size_t mark = url.find('?');
    if (mark == std::string_view::npos || mark + 1 == url.size()) {
        return pieces;
    }
    FrameHashMap<std::string, std::size_t> positions;
    std::string_view rest = url.substr(mark + 1);
    while (true) {
        const std::size_t amp = rest.find('&');
        const std::string_view piece = rest.substr(0, amp);
        const std::size_t equals = piece.find('=');
        std::string name = UrlDecode(piece.substr(0, equals));
        std::string value =
            equals == std::string_view::npos ? std::string() : UrlDecode(piece.substr(equals + 1));
        const auto [slot, added] = positions.try_emplace(name, pieces.size());
        if (added) {
            pieces.emplace_back(std::move(name), std::move(value));
        } else {
            pieces[slot->second].second = std::move(value);
        }
        if (amp == std::string_view::npos) {
            break;
        }
        rest = rest.substr(amp + 1);
    }
    return pieces;
}

ArgumentBinder::ArgumentBinder(const RouteEntry& entry, CallResult& call, BindingValue& arguments)
    : entry_(entry),
      function_(*entry.function),
      call_(call),
      arguments_(arguments),
      elementBudget_(kMaxIndexedElements) {}

std::size_t ArgumentBinder::Position(std::string_view name) const {
    if (name.empty()) {
        return kNoArgument;
    }
    for (std::size_t i = 0; i < function_.arguments.size(); ++i) {
        if (function_.arguments[i].name == name) {
            return i;
        }
    }
    return kNoArgument;
}

void ArgumentBinder::BindHeaders(const HostRequest& request) {
    if (request.headers == nullptr) {
        return;
    }
    for (std::size_t i = 0; i < function_.arguments.size() && call_.Ok(); ++i) {
        const ArgumentLocation location = entry_.locations[i];
        const std::string& name = function_.arguments[i].name;
        if ((location != ArgumentLocation::Anywhere && location != ArgumentLocation::Header) ||
            name.empty()) {
            continue;
        }
        const std::string lower = HeaderNameOf(name);
        // The last pair of a name is the one that counts.
        for (std::uint32_t h = request.headerCount; h-- > 0;) {
            const HostHeader& header = request.headers[h];
            if (header.name != nullptr && lower == header.name) {
                BindOne(name, header.value != nullptr ? header.value : "",
                        ArgumentLocation::Header);
                break;
            }
        }
    }
}

void ArgumentBinder::BindPath(const RouteParameters& parameters) {
    for (const auto& [name, value] : parameters) {
        if (!call_.Ok()) {
            return;
        }
        BindOne(name, value, ArgumentLocation::Path);
    }
}

void ArgumentBinder::BindQuery(std::string_view url) {
    if (!call_.Ok()) {
        return;
    }
    for (const auto& [name, value] : ParseQuery(url)) {
        BindOne(name, value, ArgumentLocation::Query);
        if (!call_.Ok()) {
            return;
        }
    }
}

void ArgumentBinder::BindParameters(const HostRequest& request, std::size_t pathParameterCount) {
    if (request.parameters == nullptr) {
        return;
    }
    for (std::uint32_t i = 0; i < request.parameterCount && call_.Ok(); ++i) {
        const HostParameter& parameter = request.parameters[i];
        std::size_t position = kNoArgument;
        std::string label;
        if (parameter.name != nullptr) {
            label = parameter.name;
            position = Position(label);
        } else {
            position = i + pathParameterCount;
            label = std::to_string(position);
        }
        if (position >= function_.arguments.size()) {
            Fail(Format(kUnknownArgument, label, function_.name));
            return;
        }
        FromHostValue(call_.result, arguments_.At(position), parameter.value,
                      function_.arguments[position].name);
    }
}

void ArgumentBinder::ReadBody(const HostRequest& request) {
    if (request.body == nullptr) {
        return;
    }
    std::size_t position = kNoArgument;
    for (std::size_t i = 0; i < entry_.locations.size(); ++i) {
        if (entry_.locations[i] == ArgumentLocation::Body) {
            position = i;
            break;
        }
    }
    if (position == kNoArgument) {
        return;
    }
    const std::string_view contentType =
        request.contentType != nullptr ? std::string_view(request.contentType) : std::string_view();
    BindingResult read(arguments_.Context());
    if (ContentTypeIs(contentType, "application/x-msgpack")) {
        std::uint32_t consumed = 0;
        ReadMessagePack(read, consumed, request.body, request.bodySize);
        if (read.Ok() && consumed < request.bodySize) {
            read.SetError(kExtraMessagePack);
        }
    } else if (ContentTypeIs(contentType, "application/json") ||
               ContentTypeIs(contentType, "application/vnd.api+json")) {
        // The reader wants a NUL at the end, which the host's counted body need not have.
        ParseJson(read, std::string(request.body, request.bodySize).c_str());
    } else if (ContentTypeIs(contentType, "application/x-yaml")) {
        ParseYaml(read, std::string_view(request.body, strnlen(request.body, request.bodySize)));
    } else {
        read.SetError(kUnsupportedBody);
    }
    if (read.Ok()) {
        arguments_.At(position) = std::move(read);
    } else {
        // Replaces whatever failed before: the body's refusal is the one reported.
        call_.SetError(read.ErrorText());
    }
}

void ArgumentBinder::BindOne(std::string_view key, std::string_view value,
                             ArgumentLocation location) {
    const std::size_t dot = key.find('.');
    const std::string_view base = key.substr(0, dot);
    const std::size_t position = Position(base);
    if (position == kNoArgument) {
        Fail(Format(kUnknownArgument, base, function_.name));
        return;
    }
    const ArgumentLocation declared = entry_.locations[position];
    if (declared != ArgumentLocation::Anywhere && declared != location) {
        Fail(Format(kInvalidLocation, base, function_.name));
        return;
    }
    const BindingArgumentDescriptor& argument = function_.arguments[position];
    BindingValue& target = arguments_.At(position);

    if (dot != std::string_view::npos) {
        BindingValue* leaf = Descend(&target, key.substr(dot + 1), argument.name);
        if (leaf != nullptr) {
            AssignText(call_.result, *leaf, value, false, argument.name, function_.name);
        }
        return;
    }
    if (value.empty()) {
        switch (argument.type.kind) {
            case BindingKind::Bool:
                target.SetBool(true);
                return;
            case BindingKind::Object:
            case BindingKind::Struct:
                target.Reset();
                target.MakeStructure();
                return;
            case BindingKind::Vector:
                target.Reset();
                target.MakeCollection();
                return;
            default:
                Fail(Format(kExpectedValue, argument.name));
                return;
        }
    }
    const BindingKind kind = argument.type.kind;
    const bool sniffing =
        kind == BindingKind::Object || kind == BindingKind::Vector || kind == BindingKind::Struct;
    AssignText(call_.result, target, value, sniffing, argument.name, function_.name);
}

BindingValue* ArgumentBinder::Descend(BindingValue* value, std::string_view path,
                                      const std::string& argument) {
    std::size_t depth = 0;
    while (true) {
        const std::size_t dot = path.find('.');
        const std::string_view part = path.substr(0, dot);
        if (++depth > kBindingMaxDepth) {
            Fail(Format(kNestedTooDeeply, argument, function_.name));
            return nullptr;
        }
        if (!part.empty() && IsDigit(part.front())) {
            // strtoul's rules: "0x" leads a hexadecimal number, a leading "0" an octal one.
            const std::string text(part);
            char* end = nullptr;
            errno = 0;
            const unsigned long index = std::strtoul(text.c_str(), &end, 0);
            if (end != text.c_str() + text.size()) {
                Fail(Format(kIndexFormat, text));
                return nullptr;
            }
            const std::size_t size =
                value->Kind() == BindingValueKind::Collection ? value->Size() : 0;
            const std::size_t growth = index >= size ? index + 1 - size : 0;
            if (errno == ERANGE || index >= kIndexLimit || growth > elementBudget_) {
                Fail(Format(kIndexRange, text));
                return nullptr;
            }
            elementBudget_ -= growth;
            value = &value->At(index);
        } else {
            value = &value->Field(part);
        }
        if (dot == std::string_view::npos) {
            return value;
        }
        path = path.substr(dot + 1);
    }
}

}  // namespace Tavix::Client::Internal
