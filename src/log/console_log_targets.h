#pragma once

#include <cstdio>

#include "log/log_target.h"

namespace Tavix::Client {

// A target that renders each line on its stack and writes it to a console-like destination.
class BaseConsoleLogTarget : public LogTarget {
public:
    // Writes out what the destination has buffered.
    virtual void Flush() = 0;

protected:
    // Renders the line by GetFormat(message) into `line` of kLogLineSize bytes.
    void RenderLine(const LogMessage& message, char* line) const;
};

// Lines go to the process's standard error stream, or to `stream` when one is given.
class StdErrLogTarget : public BaseConsoleLogTarget {
public:
    explicit StdErrLogTarget(std::FILE* stream = nullptr);
    const char* GetName() const override;
    bool Write(const LogMessage& message) override;
    void Flush() override;

private:
    std::FILE* stream_;
};

// Lines go to the process's standard output stream, or to `stream` when one is given.
class StdOutLogTarget : public BaseConsoleLogTarget {
public:
    explicit StdOutLogTarget(std::FILE* stream = nullptr);
    const char* GetName() const override;
    bool Write(const LogMessage& message) override;
    void Flush() override;

    // Flush after every line.
    bool autoFlush = false;

private:
    std::FILE* stream_;
};

// Lines go to the platform's debugger console (see platform/debugger_console.h).
class DebuggerConsoleLogTarget : public BaseConsoleLogTarget {
public:
    const char* GetName() const override;
    bool Write(const LogMessage& message) override;
    void Flush() override;
};

}  // namespace Tavix::Client
