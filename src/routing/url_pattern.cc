#include "routing/url_pattern.h"

#include <cstring>
#include <utility>

#include "routing/internal/template_reader.h"
#include "routing/url_template.h"

namespace Tavix::Client {

struct UrlPattern::TemplateSink {
    UrlPattern& pattern;

    void Literal(char c) { pattern.literals_.back().push_back(c); }
    void Capture(RouteCaptureKind kind, std::string) {
        switch (kind) {
            case RouteCaptureKind::Segment:
                pattern.groups_.push_back(GroupClass::Segment);
                pattern.literals_.emplace_back();
                break;
            case RouteCaptureKind::Fragment:
                pattern.literals_.back().push_back('#');
                [[fallthrough]];
            case RouteCaptureKind::Rest:
                pattern.groups_.push_back(GroupClass::Line);
                pattern.literals_.emplace_back();
                break;
            case RouteCaptureKind::None:
                break;
        }
    }
};

UrlPattern::UrlPattern(std::string_view templateText) {
    TemplateSink sink{*this};
    Internal::ReadUrlTemplate(templateText, sink);
}

bool UrlPattern::Match(std::string_view path, std::span<std::string_view> groups) const {
    const std::string& first = literals_.front();
    if (!path.starts_with(first)) {
        return false;
    }
    const std::size_t count = groups_.size();
    if (count == 0) {
        return path.size() == first.size();
    }
    if (count == 1) {
        return MatchOneGroup(path, groups);
    }

    // Group i (from 0) starts where literal i ends and ends where literal i + 1 begins.
    // endsAt[i][e]: group i may end at e, that is literal i + 1 stands at e and the groups after
    // it can still match the rest of the path. startsAt[i][p]: group i may start at p, that is it
    // may end at some e >= p with nothing it refuses in between.
    const std::size_t length = path.size();
    std::vector<std::vector<char>> endsAt(count, std::vector<char>(length + 1, 0));
    std::vector<char> startsAt(length + 1, 0);
    for (std::size_t i = count; i-- > 0;) {
        const std::string& after = literals_[i + 1];
        std::vector<char>& ends = endsAt[i];
        for (std::size_t e = 0; e + after.size() <= length; ++e) {
            if (!after.empty() && (path[e] != after.front() ||
                                   std::memcmp(path.data() + e, after.data(), after.size()) != 0)) {
                continue;
            }
            const std::size_t next = e + after.size();
            ends[e] = i + 1 == count ? next == length : startsAt[next];
        }
        if (i == 0) {
            break;
        }
        // Right to left: the nearest possible end at or after p, unless a refused byte comes
        // first.
        bool reachable = false;
        for (std::size_t p = length + 1; p-- > 0;) {
            if (p < length && !Admits(groups_[i], path[p])) {
                reachable = false;
            }
            if (ends[p]) {
                reachable = true;
            }
            startsAt[p] = reachable;
        }
    }

    // Forward: each group takes the latest end that keeps the rest possible.
    std::size_t start = first.size();
    for (std::size_t i = 0; i < count; ++i) {
        std::size_t limit = start;
        while (limit < length && Admits(groups_[i], path[limit])) {
            ++limit;
        }
        std::size_t end = limit + 1;
        for (std::size_t e = limit + 1; e-- > start;) {
            if (endsAt[i][e]) {
                end = e;
                break;
            }
        }
        if (end > limit) {
            return false;
        }
        groups[i] = path.substr(start, end - start);
        start = end + literals_[i + 1].size();
    }
    return true;
}

// The common template: one group, so its end is fixed by the last literal.
bool UrlPattern::MatchOneGroup(std::string_view path, std::span<std::string_view> groups) const {
    const std::string& first = literals_[0];
    const std::string& last = literals_[1];
    if (path.size() < first.size() + last.size() || !path.ends_with(last)) {
        return false;
    }
    const std::string_view captured =
        path.substr(first.size(), path.size() - first.size() - last.size());
    for (const char c : captured) {
        if (!Admits(groups_[0], c)) {
            return false;
        }
    }
    groups[0] = captured;
    return true;
}

}  // namespace Tavix::Client
