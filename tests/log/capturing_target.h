#pragma once

#include <string>
#include <vector>

#include "log/line_format.h"
#include "log/log_target.h"

namespace Tavix::Client::Testing {

// Keeps every line it is given, rendered by its layout, and the raw message fields.
class CapturingTarget : public LogTarget {
public:
    explicit CapturingTarget(const char* name = "CapturingTarget") : name_(name) {}
    ~CapturingTarget() override { Detach(); }

    const char* GetName() const override { return name_; }

    bool Write(const LogMessage& message) override {
        char line[kLogLineSize];
        FormatLine(line, sizeof line, GetFormat(message), message);
        lines.emplace_back(line);
        texts.emplace_back(message.text);
        levels.push_back(message.level);
        groups.push_back(message.groups);
        return true;
    }

    std::vector<std::string> lines;
    std::vector<std::string> texts;
    std::vector<LogLevel> levels;
    std::vector<LogGroupMask> groups;

private:
    const char* name_;
};

// Settings that let every message through to the target, with the message text as the line.
inline LogTargetConfig OpenConfig(const char* layout = "#M") {
    return LogTargetConfig{LogLevel::Okay, 0, 0, layout};
}

}  // namespace Tavix::Client::Testing
