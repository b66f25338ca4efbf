#pragma once
// The matcher of a URL template with parameters: it accepts exactly the paths, and captures
// exactly the texts, that the template's regular expression (CompileUrlTemplate) gives under
// ECMAScript rules with a whole-string match, without a regular expression engine.
//
// Such an engine backtracks with one stack frame per character, so a path of a megabyte takes
// the process down, and compiling the expression costs far more than a request. The expression
// of a template is always literal text and groups of a single character class under "*", so the
// engine's choice (the first match in its order of trial: each group as long as the rest still
// allows) can be found by one backward pass that marks where each group may end, and one forward
// pass that takes the latest such end. Time and memory grow linearly with the path.

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Tavix::Client {

class UrlPattern {
public:
    UrlPattern() = default;
    // The template's literal parts and groups; "{#name}" is a literal "#" followed by a group.
    explicit UrlPattern(std::string_view templateText);

    // Whether the whole of `path` matches. On a match, the first GroupCount() views of `groups`
    // (which must have room for them) hold the text of each group in order, views into `path`;
    // otherwise their content is unspecified.
    bool Match(std::string_view path, std::span<std::string_view> groups) const;

    std::size_t GroupCount() const { return groups_.size(); }

private:
    enum class GroupClass : std::uint8_t {
        // "[^/]*"
        Segment,
        // ".*": every byte but a line feed or a carriage return
        Line,
    };

    struct TemplateSink;

    static bool Admits(GroupClass group, char c) {
        return group == GroupClass::Segment ? c != '/' : c != '\n' && c != '\r';
    }
    bool MatchOneGroup(std::string_view path, std::span<std::string_view> groups) const;

    // One more literal than groups: the text before the first group, between groups, and after
    // the last one, each possibly empty.
    std::vector<std::string> literals_{std::string()};
    std::vector<GroupClass> groups_;
};

}  // namespace Tavix::Client
