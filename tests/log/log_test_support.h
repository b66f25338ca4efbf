#pragma once

#include <gtest/gtest.h>

#include "log/log_core.h"

namespace Tavix::Client::Testing {

// Takes the process's log core down, whoever created it, so that the next use starts afresh.
inline void DestroyLogCore() {
    while (LogCore::ReferenceCount() > 0) {
        LogCore::ReleaseReference();
    }
    if (LogCore::Exists()) {
        LogCore::AddReference();
        LogCore::ReleaseReference();
    }
}

// Each test gets a fresh core holding one reference, with the built-in targets closed so that
// nothing reaches the test's own streams.
class FreshLogCore : public ::testing::Test {
protected:
    void SetUp() override {
        DestroyLogCore();
        LogCore::AddReference();
        for (LogTargetInterface* builtIn :
             {LogCore::GetStdErrTarget(), LogCore::GetDebuggerTarget(),
              LogCore::GetStdOutTarget()}) {
            builtIn->Detach(builtIn);
        }
    }
    void TearDown() override { DestroyLogCore(); }
};

}  // namespace Tavix::Client::Testing
