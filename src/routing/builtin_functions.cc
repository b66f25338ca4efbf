#include "routing/builtin_functions.h"

#include <algorithm>
#include <string>
#include <utility>

#include "binding/builtin_types.h"
#include "binding/descriptors.h"
#include "binding/help.h"
#include "binding/registry.h"
#include "routing/call_result.h"
#include "routing/internal/host_answer.h"
#include "routing/route.h"

namespace Tavix::Client {

namespace {

constexpr char kUnsupportedBuiltin[] = "Unsupported builtin function";
constexpr std::uint32_t kBuiltinFailureStatus = 400;

}  // namespace

bool IsBuiltinFunction(const BindingFunctionDescriptor& function) {
    return std::find(function.tags.begin(), function.tags.end(), kBuiltinTag) !=
           function.tags.end();
}

void CallBuiltin(const BindingRegistry& registry, HostResponse& response, const RouteMatch& match) {
    if (match.function->name != kHelpFunctionName) {
        Internal::AnswerFailure(response, kUnsupportedBuiltin, kBuiltinFailureStatus);
        return;
    }
    CallResult call;
    BuildHelp(registry, call.result, BindingHelpFormat::Full);
    if (!call.Ok()) {
        const std::string error(call.result.ErrorText());
        Internal::AnswerFailure(response, error.c_str(), kBuiltinFailureStatus);
        return;
    }
    Internal::AnswerCall(response, call, &registry);
}

}  // namespace Tavix::Client
