#include "routing/openapi.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <map>
#include <set>
#include <string>
#include <utility>

#include "arx/host_boundary.h"
#include "binding/binding_kind.h"
#include "binding/descriptors.h"
#include "routing/dispatcher.h"
#include "routing/internal/argument_binder.h"
#include "routing/internal/template_reader.h"
#include "routing/route_entry.h"

namespace Tavix::Client {

namespace {

constexpr const char* kBodyContentTypes[] = {"application/json", "application/x-msgpack",
                                             "application/x-yaml"};
constexpr const char* kResultContentType = "application/json";
constexpr const char* kSchemaPrefix = "#/components/schemas/";

// The methods of a route that takes any method, as OpenAPI names them.
constexpr std::uint32_t kEveryMethod[] = {kMethodGet,     kMethodPut,  kMethodPost, kMethodDelete,
                                          kMethodOptions, kMethodHead, kMethodPatch};

// ---- Texts ------------------------------------------------------------------------------------

// The length of the valid UTF-8 sequence at the start of `text`, or 0: no overlong forms, no
// surrogates, nothing above U+10FFFF.
std::size_t Utf8SequenceLength(std::string_view text) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byte(0);
    if (lead < 0x80) {
        return 1;
    }
    std::size_t length = 0;
    unsigned char low = 0x80;
    unsigned char high = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        low = lead == 0xE0 ? 0xA0 : 0x80;
        high = lead == 0xED ? 0x9F : 0xBF;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        low = lead == 0xF0 ? 0x90 : 0x80;
        high = lead == 0xF4 ? 0x8F : 0xBF;
    } else {
        return 0;
    }
    if (text.size() < length || byte(1) < low || byte(1) > high) {
        return 0;
    }
    for (std::size_t i = 2; i < length; ++i) {
        if (byte(i) < 0x80 || byte(i) > 0xBF) {
            return 0;
        }
    }
    return length;
}

std::string ValidUtf8(std::string_view text) {
    static constexpr char kReplacement[] = "\xEF\xBF\xBD";
    std::string valid;
    valid.reserve(text.size());
    while (!text.empty()) {
        const std::size_t length = Utf8SequenceLength(text);
        if (length == 0) {
            valid += kReplacement;
            text.remove_prefix(1);
        } else {
            valid.append(text.substr(0, length));
            text.remove_prefix(length);
        }
    }
    return valid;
}

void SetText(BindingValue& target, std::string_view text) {
    target.SetString(ValidUtf8(text));
}

// Adds the field only for a text that says something.
void SetDescription(BindingValue& target, std::string_view description) {
    if (!description.empty()) {
        SetText(target.Field("description"), description);
    }
}

// `base` itself, or the first of base_2, base_3, ... that is not taken yet; marks it taken.
std::string UniqueName(std::string base, std::set<std::string>& taken) {
    std::string name = base;
    for (std::size_t suffix = 2; taken.count(name) != 0; ++suffix) {
        name = base + "_" + std::to_string(suffix);
    }
    taken.insert(name);
    return name;
}

// Component names may only hold [A-Za-z0-9._-].
std::string ComponentKey(std::string_view name) {
    std::string key;
    for (const char c : name) {
        const bool allowed = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
                             (c >= '0' && c <= '9') || c == '.' || c == '-' || c == '_';
        key.push_back(allowed ? c : '_');
    }
    return key.empty() ? "_" : key;
}

const char* OpenApiMethod(std::uint32_t method) {
    switch (method) {
        case kMethodDelete:
            return "delete";
        case kMethodGet:
            return "get";
        case kMethodHead:
            return "head";
        case kMethodOptions:
            return "options";
        case kMethodPatch:
            return "patch";
        case kMethodPost:
            return "post";
        case kMethodPut:
            return "put";
        default:
            return nullptr;
    }
}

// ---- Paths ------------------------------------------------------------------------------------

struct OpenApiPath {
    std::string text;
    // The template's parameters, each name once, in order.
    std::vector<std::string> parameters;
};

// Reads the template as the dispatcher does, and writes each parameter in OpenAPI's one form. A
// parameter without a name is given one, since OpenAPI cannot refer to it otherwise.
struct OpenApiPathWriter {
    OpenApiPath& path;
    std::size_t captures = 0;

    void Literal(char c) { path.text.push_back(c); }
    void Capture(RouteCaptureKind kind, std::string name) {
        ++captures;
        if (kind == RouteCaptureKind::None) {
            return;
        }
        if (name.empty()) {
            name = "parameter" + std::to_string(captures);
        }
        path.text += kind == RouteCaptureKind::Fragment ? "#{" : "{";
        path.text += name;
        path.text += '}';
        if (std::find(path.parameters.begin(), path.parameters.end(), name) ==
            path.parameters.end()) {
            path.parameters.push_back(std::move(name));
        }
    }
};

OpenApiPath PathOf(const RouteEntry& entry) {
    const std::string& url = entry.url.empty() ? entry.function->name : entry.url;
    OpenApiPath path;
    if (url.empty() || url.front() != '/') {
        path.text = "/";
    }
    // Like the route itself, a text without "{" is a literal, "}" and all.
    if (url.find('{') == std::string::npos) {
        path.text += url;
    } else {
        OpenApiPathWriter writer{path};
        Internal::ReadUrlTemplate(url, writer);
    }
    path.text = ValidUtf8(path.text);
    for (std::string& parameter : path.parameters) {
        parameter = ValidUtf8(parameter);
    }
    return path;
}

// ---- The document -----------------------------------------------------------------------------

BindingTypeRef Described(const BindingTypeRef& type, const BindingTypeRef& shown) {
    return shown.IsSet() ? shown : type;
}

BindingTypeRef ElementOf(const BindingTypeRef& reference) {
    return {reference.elementKind, BindingKind::None, reference.descriptor};
}

// A missing argument fails its conversion, except a bool (false), a dynamic value and an
// optional one.
bool ArgumentRequired(const BindingArgumentDescriptor& argument) {
    return !argument.optional && argument.type.kind != BindingKind::Bool &&
           argument.type.kind != BindingKind::Object;
}

class DocumentBuilder {
public:
    DocumentBuilder(BindingValue& document, const BindingDispatcher& dispatcher,
                    const OpenApiInfo& info)
        : document_(document), dispatcher_(dispatcher), info_(info) {}

    void Build() {
        document_.MakeStructure();
        SetText(document_.Field("openapi"), kOpenApiVersion);
        BindingValue& info = document_.Field("info");
        SetText(info.Field("title"), info_.title.empty() ? "API" : info_.title);
        SetText(info.Field("version"), info_.version.empty() ? "0" : info_.version);
        for (const std::string& tag : info_.tags) {
            UseTag(tag);
        }
        NameComponents();
        BindingValue& paths = document_.Field("paths");
        paths.MakeStructure();
        for (const RouteEntry* entry : dispatcher_.Entries()) {
            DescribeRoute(paths, *entry);
        }
        DescribeComponents();
    }

private:
    // Every type gets its key first, so that references can be written in any order.
    void NameComponents() {
        types_.clear();
        for (const BindingTypeDescriptor* type : dispatcher_.Types()) {
            types_.push_back(type);
        }
        std::sort(types_.begin(), types_.end(),
                  [](const BindingTypeDescriptor* left, const BindingTypeDescriptor* right) {
                      return left->name < right->name;
                  });
        std::set<std::string> taken;
        for (const BindingTypeDescriptor* type : types_) {
            keys_[type] = UniqueName(ComponentKey(type->name), taken);
        }
    }

    void DescribeComponents() {
        BindingValue& schemas = document_.Field("components").Field("schemas");
        schemas.MakeStructure();
        for (const BindingTypeDescriptor* type : types_) {
            BindingValue& schema = schemas.Field(keys_[type]);
            if (type->isEnum) {
                DescribeEnum(schema, *type);
            } else {
                DescribeRecord(schema, *type);
            }
        }
    }

    void DescribeRecord(BindingValue& schema, const BindingTypeDescriptor& type) {
        SetText(schema.Field("type"), "object");
        SetDescription(schema, type.description);
        BindingValue& properties = schema.Field("properties");
        properties.MakeStructure();
        std::vector<std::string> required;
        for (const BindingFieldDescriptor& field : type.fields) {
            const std::string name = ValidUtf8(field.name);
            // An optional that is not engaged, or a dynamic value that is empty, is written
            // as null unless the field omits empty values.
            const bool nullable =
                field.optional && (field.flags & BindingFieldFlags::OmitWhenEmpty) == 0;
            Property(properties.Field(name), Described(field.type, field.shownType),
                     field.description, nullable);
            if ((field.flags & BindingFieldFlags::Required) != 0 &&
                std::find(required.begin(), required.end(), name) == required.end()) {
                required.push_back(name);
            }
        }
        if (!required.empty()) {
            BindingValue& list = schema.Field("required");
            for (const std::string& name : required) {
                list.Append().SetString(name);
            }
        }
    }

    void DescribeEnum(BindingValue& schema, const BindingTypeDescriptor& type) {
        SetText(schema.Field("type"), "string");
        SetDescription(schema, type.description);
        std::vector<const BindingEnumerator*> enumerators;
        for (const auto& [name, enumerator] : type.enumerators) {
            enumerators.push_back(&enumerator);
        }
        std::stable_sort(enumerators.begin(), enumerators.end(),
                         [](const BindingEnumerator* left, const BindingEnumerator* right) {
                             return left->number < right->number;
                         });
        // An enum without enumerators has nothing to list, and OpenAPI forbids an empty list.
        if (enumerators.empty()) {
            return;
        }
        BindingValue& names = schema.Field("enum");
        BindingValue& described = schema.Field("x-enumerators");
        for (const BindingEnumerator* enumerator : enumerators) {
            SetText(names.Append(), enumerator->name);
            BindingValue& item = described.Append();
            SetText(item.Field("name"), enumerator->name);
            item.Field("value").SetSigned(enumerator->number);
            SetDescription(item, enumerator->description);
        }
    }

    // The schema of a field, argument or result. OpenAPI ignores the siblings of a "$ref", so a
    // reference with a description or null beside goes into "allOf".
    void Property(BindingValue& target, const BindingTypeRef& type, std::string_view description,
                  bool nullable) {
        if ((!description.empty() || nullable) && ReferenceKey(type) != nullptr) {
            Schema(target.Field("allOf").Append(), type);
        } else {
            Schema(target, type);
        }
        SetDescription(target, description);
        if (nullable) {
            target.Field("nullable").SetBool(true);
        }
    }

    // The component key of a reference that is a declared enum or record, else null.
    const std::string* ReferenceKey(const BindingTypeRef& type) const {
        if (type.kind != BindingKind::Enum && type.kind != BindingKind::Struct) {
            return nullptr;
        }
        const auto found = keys_.find(type.descriptor);
        return found != keys_.end() ? &found->second : nullptr;
    }

    void Schema(BindingValue& target, const BindingTypeRef& type) {
        target.MakeStructure();
        if (const std::string* key = ReferenceKey(type)) {
            target.Field("$ref").SetString(kSchemaPrefix + *key);
            return;
        }
        switch (type.kind) {
            case BindingKind::Bool:
                SetText(target.Field("type"), "boolean");
                break;
            case BindingKind::Int8:
                Integer(target, "int32", std::numeric_limits<std::int8_t>::min(),
                        std::numeric_limits<std::int8_t>::max());
                break;
            case BindingKind::Uint8:
                Integer(target, "int32", 0, std::numeric_limits<std::uint8_t>::max());
                break;
            case BindingKind::Int16:
                Integer(target, "int32", std::numeric_limits<std::int16_t>::min(),
                        std::numeric_limits<std::int16_t>::max());
                break;
            case BindingKind::Uint16:
                Integer(target, "int32", 0, std::numeric_limits<std::uint16_t>::max());
                break;
            case BindingKind::Int32:
                Integer(target, "int32");
                break;
            case BindingKind::Uint32:
            case BindingKind::Callback:
                Integer(target, "int64", 0, std::numeric_limits<std::uint32_t>::max());
                break;
            case BindingKind::Int64:
                Integer(target, "int64");
                break;
            case BindingKind::Uint64:
                // Wider than any format OpenAPI names.
                SetText(target.Field("type"), "integer");
                target.Field("minimum").SetSigned(0);
                break;
            case BindingKind::Float:
                SetText(target.Field("type"), "number");
                SetText(target.Field("format"), "float");
                break;
            case BindingKind::Double:
                SetText(target.Field("type"), "number");
                SetText(target.Field("format"), "double");
                break;
            case BindingKind::String:
                SetText(target.Field("type"), "string");
                break;
            case BindingKind::Blob:
                // Blobs travel as Base64 text in JSON.
                SetText(target.Field("type"), "string");
                SetText(target.Field("format"), "byte");
                break;
            case BindingKind::Vector:
                SetText(target.Field("type"), "array");
                Schema(target.Field("items"), ElementOf(type));
                break;
            case BindingKind::Map:
                SetText(target.Field("type"), "object");
                Schema(target.Field("additionalProperties"), ElementOf(type));
                break;
            case BindingKind::Enum:
                // An enum the registry does not know travels by its number.
                Integer(target, "int32");
                break;
            case BindingKind::Struct:
                SetText(target.Field("type"), "object");
                break;
            default:
                // A dynamic value, or no kind: any value.
                break;
        }
    }

    static void Integer(BindingValue& target, std::string_view format) {
        SetText(target.Field("type"), "integer");
        SetText(target.Field("format"), format);
    }
    static void Integer(BindingValue& target, std::string_view format, std::int64_t minimum,
                        std::int64_t maximum) {
        Integer(target, format);
        target.Field("minimum").SetSigned(minimum);
        target.Field("maximum").SetSigned(maximum);
    }

    void UseTag(const std::string& tag) {
        const std::string text = ValidUtf8(tag);
        if (tagsTaken_.insert(text).second) {
            document_.Field("tags").Append().Field("name").SetString(text);
        }
    }

    void DescribeRoute(BindingValue& paths, const RouteEntry& entry) {
        const OpenApiPath path = PathOf(entry);
        BindingValue& item = paths.Field(path.text);
        if (entry.method == kMethodAny) {
            for (const std::uint32_t method : kEveryMethod) {
                const std::string method_name = OpenApiMethod(method);
                DescribeOperation(item, method_name, entry, path,
                                  entry.function->name + "_" + method_name);
            }
        } else if (entry.method == kMethodNamed) {
            DescribeOperation(item, "x-" + ValidUtf8(entry.methodText), entry, path,
                              entry.function->name);
        } else if (const char* method = OpenApiMethod(entry.method)) {
            DescribeOperation(item, method, entry, path, entry.function->name);
        }
    }

    // Of two routes with one path and method, which OpenAPI cannot tell apart, the first stays.
    void DescribeOperation(BindingValue& item, const std::string& method, const RouteEntry& entry,
                           const OpenApiPath& path, const std::string& operationId) {
        if (item.HasField(method)) {
            return;
        }
        const BindingFunctionDescriptor& function = *entry.function;
        BindingValue& operation = item.Field(method);
        SetText(operation.Field("operationId"), UniqueName(ValidUtf8(operationId), operationIds_));
        SetDescription(operation, function.description);
        if (!function.tags.empty()) {
            BindingValue& tags = operation.Field("tags");
            for (const std::string& tag : function.tags) {
                SetText(tags.Append(), tag);
                UseTag(tag);
            }
        }
        DescribeArguments(operation, entry, path);
        DescribeResponses(operation.Field("responses"), entry);
    }

    void DescribeArguments(BindingValue& operation, const RouteEntry& entry,
                           const OpenApiPath& path) {
        const BindingFunctionDescriptor& function = *entry.function;
        std::set<std::pair<std::string, std::string>> described;
        auto parameter = [&](const std::string& name, const char* in) -> BindingValue* {
            if (!described.insert({name, in}).second) {
                return nullptr;
            }
            BindingValue& added = operation.Field("parameters").Append();
            added.Field("name").SetString(name);
            added.Field("in").SetString(in);
            return &added;
        };
        auto inPath = [&](const std::string& name) {
            return std::find(path.parameters.begin(), path.parameters.end(), name) !=
                   path.parameters.end();
        };

        // Every parameter of the template must be declared, whether or not an argument takes it.
        for (const std::string& name : path.parameters) {
            BindingValue* added = parameter(name, "path");
            added->Field("required").SetBool(true);
            const BindingArgumentDescriptor* argument = nullptr;
            for (std::size_t i = 0; i < function.arguments.size(); ++i) {
                const ArgumentLocation location = LocationOf(entry, i);
                if (ValidUtf8(function.arguments[i].name) == name &&
                    (location == ArgumentLocation::Path ||
                     location == ArgumentLocation::Anywhere)) {
                    argument = &function.arguments[i];
                    break;
                }
            }
            if (argument != nullptr) {
                SetDescription(*added, argument->description);
                Schema(added->Field("schema"), Described(argument->type, argument->shownType));
            } else {
                SetText(added->Field("schema").Field("type"), "string");
            }
        }

        bool hasBody = false;
        for (std::size_t i = 0; i < function.arguments.size(); ++i) {
            const BindingArgumentDescriptor& argument = function.arguments[i];
            const BindingTypeRef type = Described(argument.type, argument.shownType);
            const std::string name = ValidUtf8(argument.name);
            const ArgumentLocation location = LocationOf(entry, i);
            const bool named = !name.empty();
            const char* in = nullptr;
            if (named && location == ArgumentLocation::Header) {
                in = "header";
            } else if (named && (location == ArgumentLocation::Query ||
                                 (location == ArgumentLocation::Anywhere && !inPath(name)))) {
                in = "query";
            } else if (named && inPath(name) &&
                       (location == ArgumentLocation::Path ||
                        location == ArgumentLocation::Anywhere)) {
                continue;
            } else if (location == ArgumentLocation::Body && !hasBody) {
                hasBody = true;
                DescribeBody(operation.Field("requestBody"), argument, type);
                continue;
            }
            if (in != nullptr) {
                BindingValue* added = parameter(
                    std::string(in) == "header" ? Internal::HeaderNameOf(name) : name, in);
                if (added != nullptr) {
                    added->Field("required").SetBool(ArgumentRequired(argument));
                    SetDescription(*added, argument.description);
                    Schema(added->Field("schema"), type);
                }
                continue;
            }
            BindingValue& listed = operation.Field("x-hostParameters").Append();
            listed.Field("position").SetUnsigned(i);
            if (named) {
                listed.Field("name").SetString(name);
            }
            listed.Field("required").SetBool(ArgumentRequired(argument));
            SetDescription(listed, argument.description);
            Schema(listed.Field("schema"), type);
        }
    }

    void DescribeBody(BindingValue& body, const BindingArgumentDescriptor& argument,
                      const BindingTypeRef& type) {
        SetDescription(body, argument.description);
        body.Field("required").SetBool(ArgumentRequired(argument));
        BindingValue& content = body.Field("content");
        for (const char* contentType : kBodyContentTypes) {
            Schema(content.Field(contentType).Field("schema"), type);
        }
    }

    void DescribeResponses(BindingValue& responses, const RouteEntry& entry) {
        const BindingFunctionDescriptor& function = *entry.function;
        const BindingTypeRef result = Described(function.returnType, function.shownReturnType);
        BindingValue& success = responses.Field("200");
        if (result.IsSet()) {
            SetText(success.Field("description"), "Success.");
            Schema(success.Field("content").Field(kResultContentType).Field("schema"), result);
        } else {
            SetText(success.Field("description"), "Success, with no value.");
        }
        // One response per status, its texts one a line; a status OpenAPI cannot name (0 leaves
        // the choice to the host) goes under "default".
        std::map<std::string, std::string> failures;
        for (const RouteFailure& failure : entry.failures) {
            const bool named = failure.status >= 100 && failure.status <= 599;
            std::string& text = failures[named ? std::to_string(failure.status) : "default"];
            if (!text.empty()) {
                text += '\n';
            }
            text += failure.text;
        }
        for (const auto& [status, text] : failures) {
            SetText(responses.Field(status).Field("description"), text.empty() ? "Failure." : text);
        }
    }

    static ArgumentLocation LocationOf(const RouteEntry& entry, std::size_t index) {
        return index < entry.locations.size() ? entry.locations[index] : ArgumentLocation::Anywhere;
    }

    BindingValue& document_;
    const BindingDispatcher& dispatcher_;
    const OpenApiInfo& info_;
    std::vector<const BindingTypeDescriptor*> types_;
    std::map<const BindingTypeDescriptor*, std::string> keys_;
    std::set<std::string> operationIds_;
    std::set<std::string> tagsTaken_;
};

}  // namespace

void BuildOpenApiDocument(BindingValue& target, const BindingDispatcher& dispatcher,
                          const OpenApiInfo& info) {
    DocumentBuilder(target, dispatcher, info).Build();
}

}  // namespace Tavix::Client
