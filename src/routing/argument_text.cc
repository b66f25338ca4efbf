#include "routing/argument_text.h"

#include <cstdint>
#include <span>
#include <string>
#include <utility>

#include "binding/json.h"
#include "binding/msgpack.h"
#include "binding/yaml.h"
#include "support/format.h"

namespace Tavix::Client {

namespace {

enum class TextReader { None, MessagePack, Json, Yaml, Blob };

constexpr char kMessagePackFailure[] =
    "Couldn't deserialize MessagePack value for parameter '%1' of '%2': %3";
constexpr char kJsonFailure[] = "Couldn't deserialize JSON value for parameter '%1' of '%2': %3";
constexpr char kYamlFailure[] = "Couldn't deserialize YAML value for parameter '%1' of '%2': %3";

TextReader ReaderOfContentType(std::string_view contentType) {
    if (contentType.empty()) {
        return TextReader::None;
    }
    // "application/x-msgpack-ext" begins with the plain word.
    if (ContentTypeIs(contentType, "application/x-msgpack")) {
        return TextReader::MessagePack;
    }
    if (ContentTypeIs(contentType, "application/json")) {
        return TextReader::Json;
    }
    if (ContentTypeIs(contentType, "text/x-yaml")) {
        return TextReader::Yaml;
    }
    if (ContentTypeIs(contentType, "application/octet-stream")) {
        return TextReader::Blob;
    }
    return TextReader::None;
}

TextReader SniffReader(std::string_view text) {
    if (text.empty()) {
        return TextReader::None;
    }
    const auto first = static_cast<unsigned char>(text.front());
    if ((first >= 128 && first <= 159) || (first >= 220 && first <= 223)) {
        return TextReader::MessagePack;
    }
    // Only spaces: a tab or a line end before the document keeps it a string.
    const std::size_t start = text.find_first_not_of(' ');
    if (start == std::string_view::npos) {
        return TextReader::None;
    }
    const std::string_view rest = text.substr(start);
    if (rest.front() == '{' || rest.front() == '[') {
        return TextReader::Json;
    }
    if (rest.starts_with("---")) {
        return TextReader::Yaml;
    }
    return TextReader::None;
}

}  // namespace

bool ContentTypeIs(std::string_view contentType, std::string_view word) {
    if (contentType.size() < word.size()) {
        return false;
    }
    for (std::size_t i = 0; i < word.size(); ++i) {
        const auto lower = [](char c) {
            return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
        };
        if (lower(contentType[i]) != lower(word[i])) {
            return false;
        }
    }
    return true;
}

void AssignText(BindingResult& result, BindingValue& target, std::string_view text, bool sniffing,
                std::string_view argument, std::string_view function,
                std::string_view contentType) {
    if (!result.Ok()) {
        return;
    }
    TextReader reader = ReaderOfContentType(contentType);
    if (reader == TextReader::None && sniffing) {
        reader = SniffReader(text);
    }
    // The document is read into the target's own tree, so that taking it over moves no records.
    BindingResult read(target.Context());
    const char* failure = nullptr;
    switch (reader) {
        case TextReader::None:
            target.SetString(text);
            return;
        case TextReader::Blob:
            target.SetBlob(
                std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
            return;
        case TextReader::MessagePack: {
            std::uint32_t consumed = 0;
            ReadMessagePack(read, consumed, text.data(), static_cast<std::uint32_t>(text.size()));
            failure = kMessagePackFailure;
            break;
        }
        case TextReader::Json:
            ParseJson(read, std::string(text).c_str());
            failure = kJsonFailure;
            break;
        case TextReader::Yaml:
            ParseYaml(read, text);
            failure = kYamlFailure;
            break;
    }
    if (read.Ok()) {
        target = std::move(read);
    } else {
        result.SetError(Format(failure, argument, function, read.ErrorText()));
    }
}

}  // namespace Tavix::Client
