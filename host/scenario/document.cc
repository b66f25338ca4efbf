#include "scenario/document.h"

#include <rapidjson/error/en.h>
#include <rapidjson/reader.h>
#include <yaml.h>

#include <algorithm>

namespace Tavix::TestHost {

const Node* Node::Find(std::string_view key) const {
    for (const auto& [name, value] : fields) {
        if (name == key) {
            return &value;
        }
    }
    return nullptr;
}

namespace {

// Builds the tree from the values as they complete, for either reader.
class TreeBuilder {
public:
    // False, with the error set, when the value cannot go where it stands.
    bool Open(Node::Kind kind, int line) {
        if (static_cast<int>(open_.size()) >= kMaxDocumentDepth) {
            return Fail(line, "the document nests deeper than " +
                                  std::to_string(kMaxDocumentDepth) + " levels");
        }
        if (!CanTakeValue(line)) {
            return false;
        }
        Frame frame;
        frame.node.kind = kind;
        frame.node.line = line;
        open_.push_back(std::move(frame));
        return true;
    }

    bool Close() {
        Frame frame = std::move(open_.back());
        open_.pop_back();
        return Place(std::move(frame.node));
    }

    bool Scalar(Node node) {
        if (!open_.empty() && open_.back().node.kind == Node::Kind::Mapping && !open_.back().key) {
            if (node.kind == Node::Kind::Null) {
                return Fail(node.line, "a key is empty");
            }
            const Node& mapping = open_.back().node;
            if (mapping.Find(node.text) != nullptr) {
                return Fail(node.line, "the key \"" + node.text + "\" appears twice");
            }
            open_.back().key = std::move(node.text);
            return true;
        }
        return Place(std::move(node));
    }

    bool Fail(int line, std::string error) {
        document_.line = line;
        document_.error = std::move(error);
        return false;
    }

    Document Finish(int line) {
        if (document_.error.empty() && !document_.root) {
            Fail(line, "the document is empty");
        }
        if (!document_.error.empty()) {
            document_.root.reset();
        }
        return std::move(document_);
    }

    bool HasRoot() const { return document_.root.has_value(); }

private:
    struct Frame {
        Node node;
        std::optional<std::string> key;
    };

    // A collection may not stand where a mapping expects its key.
    bool CanTakeValue(int line) {
        if (!open_.empty() && open_.back().node.kind == Node::Kind::Mapping && !open_.back().key) {
            return Fail(line, "a key must be a plain text, not a list or a mapping");
        }
        return true;
    }

    bool Place(Node node) {
        if (open_.empty()) {
            document_.root = std::move(node);
            return true;
        }
        Frame& parent = open_.back();
        if (parent.node.kind == Node::Kind::Sequence) {
            parent.node.items.push_back(std::move(node));
        } else {
            parent.node.fields.push_back(NodeField{std::move(*parent.key), std::move(node)});
            parent.key.reset();
        }
        return true;
    }

    std::vector<Frame> open_;
    Document document_;
};

// ---- YAML ---------------------------------------------------------------------------------------

bool IsNullWord(std::string_view text) {
    return text.empty() || text == "~" || text == "null" || text == "Null" || text == "NULL";
}

int LineOf(const yaml_mark_t& mark) {
    return static_cast<int>(mark.line) + 1;
}

// True to go on reading.
bool Take(const yaml_event_t& event, TreeBuilder& tree, int& documents) {
    const int line = LineOf(event.start_mark);
    switch (event.type) {
        case YAML_DOCUMENT_START_EVENT:
            if (++documents > 1) {
                return tree.Fail(line, "a scenario is one YAML document, not several");
            }
            return true;
        case YAML_ALIAS_EVENT:
            return tree.Fail(line, "aliases (*name) are not supported in scenarios");
        case YAML_SCALAR_EVENT: {
            Node node;
            node.line = line;
            node.text.assign(reinterpret_cast<const char*>(event.data.scalar.value),
                             event.data.scalar.length);
            node.quoted = event.data.scalar.style != YAML_PLAIN_SCALAR_STYLE;
            node.kind =
                !node.quoted && IsNullWord(node.text) ? Node::Kind::Null : Node::Kind::Scalar;
            return tree.Scalar(std::move(node));
        }
        case YAML_SEQUENCE_START_EVENT:
            return tree.Open(Node::Kind::Sequence, line);
        case YAML_MAPPING_START_EVENT:
            return tree.Open(Node::Kind::Mapping, line);
        case YAML_SEQUENCE_END_EVENT:
        case YAML_MAPPING_END_EVENT:
            return tree.Close();
        default:
            return true;
    }
}

// ---- JSON ---------------------------------------------------------------------------------------

// The line of each value, counted as the reader moves through the text.
class LineCounter {
public:
    explicit LineCounter(std::string_view text) : text_(text) {}

    int At(std::size_t offset) {
        offset = std::min(offset, text_.size());
        for (; counted_ < offset; ++counted_) {
            if (text_[counted_] == '\n') {
                ++line_;
            }
        }
        return line_;
    }

private:
    std::string_view text_;
    std::size_t counted_ = 0;
    int line_ = 1;
};

class JsonHandler : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, JsonHandler> {
public:
    JsonHandler(TreeBuilder& tree, const rapidjson::StringStream& stream, LineCounter& lines)
        : tree_(tree), stream_(stream), lines_(lines) {}

    bool Null() { return Scalar(Node::Kind::Null, "", false); }
    bool Bool(bool value) { return Scalar(Node::Kind::Scalar, value ? "true" : "false", false); }
    bool RawNumber(const char* text, rapidjson::SizeType length, bool) {
        return Scalar(Node::Kind::Scalar, std::string(text, length), false);
    }
    bool String(const char* text, rapidjson::SizeType length, bool) {
        return Scalar(Node::Kind::Scalar, std::string(text, length), true);
    }
    bool Key(const char* text, rapidjson::SizeType length, bool copy) {
        return String(text, length, copy);
    }
    bool StartObject() { return tree_.Open(Node::Kind::Mapping, Line()); }
    bool EndObject(rapidjson::SizeType) { return tree_.Close(); }
    bool StartArray() { return tree_.Open(Node::Kind::Sequence, Line()); }
    bool EndArray(rapidjson::SizeType) { return tree_.Close(); }

private:
    int Line() { return lines_.At(stream_.Tell()); }

    bool Scalar(Node::Kind kind, std::string text, bool quoted) {
        Node node;
        node.kind = kind;
        node.text = std::move(text);
        node.quoted = quoted;
        node.line = Line();
        return tree_.Scalar(std::move(node));
    }

    TreeBuilder& tree_;
    const rapidjson::StringStream& stream_;
    LineCounter& lines_;
};

}  // namespace

Document ReadYamlDocument(std::string_view text) {
    TreeBuilder tree;
    yaml_parser_t parser;
    if (yaml_parser_initialize(&parser) == 0) {
        tree.Fail(0, "the YAML reader could not start");
        return tree.Finish(0);
    }
    yaml_parser_set_encoding(&parser, YAML_UTF8_ENCODING);
    yaml_parser_set_input_string(&parser, reinterpret_cast<const unsigned char*>(text.data()),
                                 text.size());
    int documents = 0;
    int line = 1;
    while (true) {
        yaml_event_t event;
        if (yaml_parser_parse(&parser, &event) == 0) {
            tree.Fail(LineOf(parser.problem_mark),
                      std::string("not YAML: ") +
                          (parser.problem != nullptr ? parser.problem : "unreadable text"));
            break;
        }
        line = LineOf(event.start_mark);
        const bool end = event.type == YAML_STREAM_END_EVENT;
        const bool goOn = Take(event, tree, documents);
        yaml_event_delete(&event);
        if (end || !goOn) {
            break;
        }
    }
    yaml_parser_delete(&parser);
    return tree.Finish(line);
}

Document ReadJsonDocument(std::string_view text) {
    TreeBuilder tree;
    // The text need not end in a NUL: the reader gets a copy that does. The reader's check of a
    // multi-byte sequence takes its continuation bytes without looking for the end, so a sequence
    // cut short by the end of the text would be read past it: three more NULs stop it there.
    std::string copy(text);
    copy.append(3, '\0');
    rapidjson::StringStream stream(copy.c_str());
    LineCounter lines(copy);
    JsonHandler handler(tree, stream, lines);
    rapidjson::Reader reader;
    const rapidjson::ParseResult result =
        reader.Parse<rapidjson::kParseIterativeFlag | rapidjson::kParseNumbersAsStringsFlag |
                     rapidjson::kParseValidateEncodingFlag>(stream, handler);
    if (result.IsError() && result.Code() != rapidjson::kParseErrorTermination) {
        LineCounter errorLines(copy);
        tree.Fail(errorLines.At(result.Offset()),
                  std::string("not JSON: ") + rapidjson::GetParseError_En(result.Code()));
    }
    return tree.Finish(lines.At(text.size()));
}

}  // namespace Tavix::TestHost
