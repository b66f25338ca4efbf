#include "binding/json.h"

#include <rapidjson/prettywriter.h>
#include <rapidjson/reader.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cstring>
#include <string_view>

#include "binding/internal/json_value_handler.h"
#include "binding/internal/json_writer_visitor.h"
#include "support/format.h"

namespace Tavix::Client {

namespace {

constexpr char kErrorPattern[] = "Error: %1 at offset %2.";

const char* ParseErrorMessage(rapidjson::ParseErrorCode code) {
    switch (code) {
        case rapidjson::kParseErrorDocumentRootNotSingular:
            return "The document root must not be followed by other values.";
        case rapidjson::kParseErrorValueInvalid:
            return "Invalid value.";
        case rapidjson::kParseErrorObjectMissName:
            return "Missing a name for object member.";
        case rapidjson::kParseErrorObjectMissColon:
            return "Missing a colon after a name of object member.";
        case rapidjson::kParseErrorObjectMissCommaOrCurlyBracket:
            return "Missing a comma or '}' after an object member.";
        case rapidjson::kParseErrorArrayMissCommaOrSquareBracket:
            return "Missing a comma or ']' after an array element.";
        case rapidjson::kParseErrorStringUnicodeEscapeInvalidHex:
            return "Incorrect hex digit after \\u escape in string.";
        case rapidjson::kParseErrorStringUnicodeSurrogateInvalid:
            return "The surrogate pair in string is invalid.";
        case rapidjson::kParseErrorStringEscapeInvalid:
            return "Invalid escape character in string.";
        case rapidjson::kParseErrorStringMissQuotationMark:
            return "Missing a closing quotation mark in string.";
        case rapidjson::kParseErrorStringInvalidEncoding:
            return "Invalid encoding in string.";
        case rapidjson::kParseErrorNumberTooBig:
            return "Number too big to be stored in double.";
        case rapidjson::kParseErrorNumberMissFraction:
            return "Miss fraction part in number.";
        case rapidjson::kParseErrorNumberMissExponent:
            return "Miss exponent in number.";
        case rapidjson::kParseErrorTermination:
            return "Terminate parsing due to Handler error.";
        case rapidjson::kParseErrorUnspecificSyntaxError:
            return "Unspecific syntax error.";
        default:
            return "Unknown error.";
    }
}

bool IsJsonBlank(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

template <typename Writer>
void WriteWith(Writer& writer, const BindingValue& value, const BindingRegistry* registry) {
    writer.SetMaxDecimalPlaces(324);
    Internal::JsonWriterVisitor<Writer> visitor(writer, registry);
    value.Visit(visitor);
}

}  // namespace

namespace Internal {

void AppendBase64(std::span<const std::uint8_t> bytes, std::string& out) {
    static constexpr char kAlphabet[] =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    out.reserve(out.size() + (bytes.size() + 2) / 3 * 4);
    std::size_t i = 0;
    for (; i + 3 <= bytes.size(); i += 3) {
        const std::uint32_t group =
            (std::uint32_t{bytes[i]} << 16) | (std::uint32_t{bytes[i + 1]} << 8) | bytes[i + 2];
        out.push_back(kAlphabet[(group >> 18) & 63]);
        out.push_back(kAlphabet[(group >> 12) & 63]);
        out.push_back(kAlphabet[(group >> 6) & 63]);
        out.push_back(kAlphabet[group & 63]);
    }
    const std::size_t rest = bytes.size() - i;
    if (rest == 0) {
        return;
    }
    std::uint32_t group = std::uint32_t{bytes[i]} << 16;
    if (rest == 2) {
        group |= std::uint32_t{bytes[i + 1]} << 8;
    }
    out.push_back(kAlphabet[(group >> 18) & 63]);
    out.push_back(kAlphabet[(group >> 12) & 63]);
    out.push_back(rest == 2 ? kAlphabet[(group >> 6) & 63] : '=');
    out.push_back('=');
}

}  // namespace Internal

void ParseJson(BindingResult& result, const char* text) {
    const char* start = text == nullptr ? "" : text;
    const char* cursor = start;
    while (IsJsonBlank(*cursor)) {
        ++cursor;
    }
    if (*cursor == '\0') {
        result.ResetToOk();
        return;
    }

    BindingValue root;
    Internal::JsonValueHandler handler(root, std::strlen(cursor));
    rapidjson::Reader reader;
    rapidjson::StringStream stream(start);
    const rapidjson::ParseResult parsed =
        reader.Parse<rapidjson::kParseDefaultFlags>(stream, handler);
    if (parsed.IsError()) {
        const std::size_t offset = parsed.Offset();
        if (handler.TooDeep()) {
            result.SetError(Format(
                kErrorPattern,
                Format("The document nests deeper than %1 levels.", kBindingMaxDepth), offset));
        } else if (handler.NumberTooBig()) {
            result.SetError(Format(kErrorPattern,
                                   ParseErrorMessage(rapidjson::kParseErrorNumberTooBig), offset));
        } else {
            result.SetError(Format(kErrorPattern, ParseErrorMessage(parsed.Code()), offset));
        }
        return;
    }
    result.ResetToOk();
    static_cast<BindingValue&>(result) = std::move(root);
}

std::string WriteJson(const BindingValue& value, const BindingRegistry* registry,
                      const char* lineBreak) {
    if (value.IsEmpty()) {
        return {};
    }
    rapidjson::StringBuffer buffer;
    if (lineBreak == nullptr || *lineBreak == '\0') {
        rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
        WriteWith(writer, value, registry);
        return std::string(buffer.GetString(), buffer.GetSize());
    }
    rapidjson::PrettyWriter<rapidjson::StringBuffer> writer(buffer);
    writer.SetIndent(' ', 4);
    WriteWith(writer, value, registry);
    const std::string_view written(buffer.GetString(), buffer.GetSize());
    const std::string_view ending(lineBreak);
    if (ending == "\n") {
        return std::string(written);
    }
    std::string text;
    text.reserve(written.size());
    for (const char c : written) {
        if (c == '\n') {
            text.append(ending);
        } else {
            text.push_back(c);
        }
    }
    return text;
}

}  // namespace Tavix::Client
