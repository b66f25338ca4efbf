#pragma once
// A hosted test module with a small record of its own declared, and the frame's debug messages
// captured, for the tests of event delivery and resource observation.

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "binding/record_builder.h"
#include "core/event_injection.h"
#include "frame/diagnostics.h"
#include "test_module.h"

namespace Tavix::Client::Testing {

struct Session {
    std::string state;
    std::int64_t accountId = 0;
    std::vector<std::string> tags;
};

class FrameEventsTest : public HostedModuleTest {
protected:
    void SetUp() override {
        HostedModuleTest::SetUp();
        DeclareRecord<Session>(plugin->GetDispatcher(), "Session")
            .Field("state", &Session::state)
            .Field("accountId", &Session::accountId)
            .Field("tags", &Session::tags);
        SetFrameDiagnosticSink(&FrameEventsTest::Capture, &diagnostics);
    }
    void TearDown() override {
        SetFrameDiagnosticSink(nullptr, nullptr);
        HostedModuleTest::TearDown();
    }

    bool Diagnosed(const std::string& part) const {
        for (const std::string& line : diagnostics) {
            if (line.find(part) != std::string::npos) {
                return true;
            }
        }
        return false;
    }

    static TestHost::Value SessionValue(const std::string& state, std::int64_t accountId) {
        return TestHost::Value::Map(
            {{"state", TestHost::Value::Text(state)},
             {"accountId", TestHost::Value::Signed(accountId)},
             {"tags", TestHost::Value::List({TestHost::Value::Text("ranked")})}});
    }

    std::vector<std::string> diagnostics;

private:
    static void Capture(void* context, const char* format, std::va_list arguments) {
        char text[1024];
        std::vsnprintf(text, sizeof text, format, arguments);
        static_cast<std::vector<std::string>*>(context)->emplace_back(text);
    }
};

}  // namespace Tavix::Client::Testing
