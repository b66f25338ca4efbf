#pragma once
// AppClient::Await: a blocking wait in appearance, turns handed to the host in fact.

#include <chrono>
#include <future>
#include <string>

#include "binding/static_type.h"
#include "frame/app_client.h"
#include "support/fatal.h"
#include "support/format.h"

namespace Tavix::Client {

namespace internal {

// A future error in a wait means the frame dropped a promise: a programming fault.
[[noreturn]] inline void FutureErrorInAwait(const std::future_error& error) {
    FatalReportWithMessage(kFatalFutureErrorInAwait, kFutureErrorInAwaitMessage,
                           error.code().value(), error.what());
}

}  // namespace internal

template <typename T>
T AppClient::Await(std::future<T> future) {
    try {
        if (!future.valid()) {
            throw std::future_error(std::future_errc::no_state);
        }
        bool waiting = false;
        while (future.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
            if (!waiting) {
                waiting = true;
                BeginWait(Format("Wait: future<%1>", StaticType::Record<T>().text), 0);
            }
            YieldToHost();
        }
        if (waiting) {
            EndWait();
        }
        return future.get();
    } catch (const std::future_error& error) {
        internal::FutureErrorInAwait(error);
    }
}

}  // namespace Tavix::Client
