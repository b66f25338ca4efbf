#include "routing/url_template.h"

#include <cstring>
#include <utility>

#include "routing/internal/template_reader.h"

namespace Tavix::Client {

namespace {

constexpr char kEscapedBytes[] = "^$.*+?()[]|\\";

struct PatternWriter {
    CompiledUrlTemplate& compiled;

    void Literal(char c) {
        if (c != '\0' && std::strchr(kEscapedBytes, c) != nullptr) {
            compiled.pattern.push_back('\\');
        }
        compiled.pattern.push_back(c);
    }
    void Capture(RouteCaptureKind kind, std::string name) {
        switch (kind) {
            case RouteCaptureKind::Segment:
                compiled.pattern += "([^/]*)";
                break;
            case RouteCaptureKind::Rest:
                compiled.pattern += "(.*)";
                break;
            case RouteCaptureKind::Fragment:
                compiled.pattern += "#(.*)";
                break;
            case RouteCaptureKind::None:
                break;
        }
        compiled.captures.push_back({kind, std::move(name)});
    }
};

// 0 to 15 for a hexadecimal digit of either case, 16 for any other byte.
unsigned HexValue(char c) {
    if (c >= '0' && c <= '9') {
        return static_cast<unsigned>(c - '0');
    }
    if (c >= 'a' && c <= 'f') {
        return static_cast<unsigned>(c - 'a' + 10);
    }
    if (c >= 'A' && c <= 'F') {
        return static_cast<unsigned>(c - 'A' + 10);
    }
    return 16;
}

}  // namespace

CompiledUrlTemplate CompileUrlTemplate(std::string_view text) {
    CompiledUrlTemplate compiled;
    compiled.pattern.reserve(text.size() + 8);
    PatternWriter writer{compiled};
    Internal::ReadUrlTemplate(text, writer);
    return compiled;
}

std::string UrlDecode(std::string_view text) {
    std::string decoded;
    decoded.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '+') {
            decoded.push_back(' ');
        } else if (c == '%') {
            if (text.size() - i > 2) {
                const unsigned high = (16 * HexValue(text[i + 1])) & 0xFF;
                decoded.push_back(static_cast<char>(high | HexValue(text[i + 2])));
                i += 2;
            }
        } else {
            decoded.push_back(c);
        }
    }
    return decoded;
}

}  // namespace Tavix::Client
