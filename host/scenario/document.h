#pragma once
// A scenario file as a tree of plain nodes, read from YAML (with libyaml) or from JSON (with
// rapidjson), each node with the line it stands on, so that what is wrong with a step can name
// its line. Scalars stay text: what a text means is for the reader of the tree to say.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Tavix::TestHost {

// A key of a mapping and its value; complete only after Node, which holds a list of them.
struct NodeField;

struct Node {
    enum class Kind { Null, Scalar, Sequence, Mapping };

    Kind kind = Kind::Null;
    std::string text;
    // A quoted YAML scalar or a JSON string: text, never a number or a truth value.
    bool quoted = false;
    // 1 for the first line.
    int line = 0;
    std::vector<Node> items;
    // In the order of the file; a key appears once.
    std::vector<NodeField> fields;

    const Node* Find(std::string_view key) const;
};

struct NodeField {
    std::string key;
    Node value;
};

struct Document {
    // Set when the text was read; otherwise `line` and `error` tell what is wrong.
    std::optional<Node> root;
    int line = 0;
    std::string error;
};

// Deeper nesting than a scenario ever needs is refused rather than followed.
inline constexpr int kMaxDocumentDepth = 64;

// One YAML document; aliases and several documents are refused.
Document ReadYamlDocument(std::string_view text);
// One JSON value.
Document ReadJsonDocument(std::string_view text);

}  // namespace Tavix::TestHost
