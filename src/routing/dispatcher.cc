#include "routing/dispatcher.h"

#include <utility>

#include "binding/descriptors.h"
#include "platform/clock.h"
#include "routing/builtin_functions.h"
#include "routing/call_context.h"
#include "routing/call_result.h"
#include "routing/internal/argument_binder.h"
#include "routing/internal/host_answer.h"

namespace Tavix::Client {

namespace {

constexpr char kInvalidFunction[] = "Invalid function";

bool WantsCallContext(const FunctionInvoker& invoker) {
    const std::uint32_t identity = invoker.ContextType().identity;
    return identity == kCallContextIdentity || identity == kCallContextAlternateIdentity;
}

FrameHashMap<std::string, std::string> HeaderTable(const HostRequest& request) {
    FrameHashMap<std::string, std::string> headers;
    if (request.headers == nullptr) {
        return headers;
    }
    for (std::uint32_t i = 0; i < request.headerCount; ++i) {
        const HostHeader& header = request.headers[i];
        if (header.name != nullptr) {
            headers[header.name] = header.value != nullptr ? header.value : "";
        }
    }
    return headers;
}

}  // namespace

BindingDispatcher::BindingDispatcher() = default;

BindingDispatcher::~BindingDispatcher() {
    std::lock_guard guard(entriesLock_);
    callContexts_.clear();
    for (RouteEntry* entry : entryOrder_) {
        const BindingFunctionDescriptor* function = entry->function;
        entries_.erase(function);
        RemoveFunction(function);
    }
    entryOrder_.clear();
}

RouteDeclaration BindingDispatcher::DeclareRouteFunction(std::string_view name,
                                                         std::size_t argumentCount) {
    RouteDeclaration declaration{DeclareFunction(name, argumentCount), nullptr, false};
    BindingFunctionDescriptor* function = declaration.function.Descriptor();
    std::lock_guard guard(entriesLock_);
    auto [slot, inserted] = entries_.try_emplace(function);
    if (inserted) {
        slot->second = std::make_unique<RouteEntry>();
        slot->second->function = function;
        slot->second->locations.resize(function->arguments.size(), ArgumentLocation::Anywhere);
        entryOrder_.push_back(slot->second.get());
    }
    declaration.entry = slot->second.get();
    declaration.created = inserted;
    return declaration;
}

RouteEntry* BindingDispatcher::FindEntry(const BindingFunctionDescriptor* function) const {
    std::lock_guard guard(entriesLock_);
    const auto found = entries_.find(function);
    return found != entries_.end() ? found->second.get() : nullptr;
}

std::vector<RouteEntry*> BindingDispatcher::Entries() const {
    std::lock_guard guard(entriesLock_);
    return entryOrder_;
}

ApiDescription BindingDispatcher::BuildApiDescription() {
    const std::vector<RouteEntry*> entries = Entries();
    flatDescription_ = BuildHostTables(*this);
    callContexts_.Reset();
    functionRecords_.clear();
    locationRecords_.clear();

    // Every record points into these arrays, so each is sized before it is filled.
    std::size_t locationCount = 0;
    std::size_t stringListCount = 0;
    std::size_t stringCount = 0;
    for (const RouteEntry* entry : entries) {
        locationCount += entry->locations.size();
        stringListCount += entry->stringLists.size();
        for (const std::vector<std::string>& list : entry->stringLists) {
            stringCount += list.size();
        }
    }
    functionRecords_.reserve(entries.size());
    locationRecords_.reserve(locationCount);
    stringListRecords_.clear();
    stringListRecords_.reserve(stringListCount);
    stringListTexts_.clear();
    stringListTexts_.reserve(stringCount);

    for (RouteEntry* entry : entries) {
        const HostFunctionHead* head = flatDescription_.FindFunction(entry->function);
        if (head == nullptr) {
            continue;
        }
        const std::string& url = entry->url.empty() ? entry->function->name : entry->url;
        auto& context = callContexts_[entry->function->name];
        context = std::make_unique<RouteCallContext>(
            RouteCallContext{this, entry, MakeRoute(entry->function, entry, url),
                             entry->servesBuiltins ? this : nullptr});

        HostFunctionRecord& record = functionRecords_.emplace_back();
        record.head = *head;
        record.head.next = nullptr;
        record.head.reserved = 0;
        record.head.callContext = context.get();
        record.callEntry = &BindingDispatcher::CallEntry;
        record.url = entry->url.c_str();
        record.method = entry->method;
        record.flag = entry->flag;
        record.methodText = entry->methodText.c_str();

        HostArgumentLocationRecord* firstLocation =
            locationRecords_.data() + locationRecords_.size();
        for (const ArgumentLocation location : entry->locations) {
            const auto number = static_cast<std::uint32_t>(location);
            locationRecords_.push_back({nullptr, number >= 1 && number <= 5 ? number : 0});
        }
        for (std::size_t i = 0; i + 1 < entry->locations.size(); ++i) {
            firstLocation[i].next = &firstLocation[i + 1];
        }
        record.locations = entry->locations.empty() ? nullptr : firstLocation;

        HostStringListRecord* firstList = stringListRecords_.data() + stringListRecords_.size();
        for (const std::vector<std::string>& list : entry->stringLists) {
            const char* const* strings = stringListTexts_.data() + stringListTexts_.size();
            for (const std::string& text : list) {
                stringListTexts_.push_back(text.c_str());
            }
            stringListRecords_.push_back({nullptr, list.empty() ? nullptr : strings,
                                          static_cast<std::uint32_t>(list.size())});
        }
        for (std::size_t i = 0; i + 1 < entry->stringLists.size(); ++i) {
            firstList[i].next = &firstList[i + 1];
        }
        record.stringLists = entry->stringLists.empty() ? nullptr : firstList;
        record.stringListCount = static_cast<std::uint32_t>(entry->stringLists.size());
    }
    for (std::size_t i = 0; i + 1 < functionRecords_.size(); ++i) {
        functionRecords_[i].head.next = &functionRecords_[i + 1].head;
    }

    ApiDescription description{};
    description.functions = functionRecords_.empty() ? nullptr : functionRecords_.data();
    description.functionCount = static_cast<std::uint32_t>(functionRecords_.size());
    const auto types = flatDescription_.Types();
    description.types = types.empty() ? nullptr : types.data();
    description.typeCount = static_cast<std::uint32_t>(types.size());
    const auto events = flatDescription_.Events();
    description.events = events.empty() ? nullptr : events.data();
    description.eventCount = static_cast<std::uint32_t>(events.size());
    return description;
}

void BindingDispatcher::CallEntry(HostResponse* response, const HostRequest* request) {
    if (response == nullptr) {
        return;
    }
    const auto* context =
        request != nullptr ? static_cast<const RouteCallContext*>(request->callContext) : nullptr;
    if (context == nullptr) {
        Internal::StartAnswer(*response);
        Internal::AnswerFailure(*response, kInvalidFunction, 404);
        return;
    }
    context->dispatcher->Dispatch(*response, *request, std::span<const Route>(&context->route, 1),
                                  context->registry);
}

void BindingDispatcher::Dispatch(HostResponse& response, const HostRequest& request,
                                 std::span<const Route> routes,
                                 const BindingRegistry* registry) const {
    Internal::StartAnswer(response);
    RouteMatch match;
    match.method = request.method;
    if (request.method == kMethodNamed && request.methodName != nullptr) {
        match.methodText = request.methodName;
    }
    if (request.url != nullptr) {
        match.path = request.url;
    }
    if (!FindRoute(match, routes)) {
        Internal::AnswerFailure(response, kInvalidFunction, 404);
        return;
    }
    if (registry != nullptr && IsBuiltinFunction(*match.function)) {
        CallBuiltin(*registry, response, match);
        return;
    }
    // Only a builtin's route has no handler, and without a registry nothing answers it.
    if (match.entry->invoker == nullptr) {
        Internal::AnswerFailure(response, kInvalidFunction, 404);
        return;
    }
    CallFunction(response, request, match);
}

void BindingDispatcher::CallFunction(HostResponse& response, const HostRequest& request,
                                     const RouteMatch& match) const {
    const std::int64_t start = Platform::MonotonicNanoseconds();
    const BindingFunctionDescriptor& function = *match.function;
    const RouteEntry& entry = *match.entry;
    CallResult call;

    // One tree holds every argument, so that binding them makes one context, not one each.
    BindingValue arguments;
    arguments.MakeCollection();
    arguments.Reserve(function.arguments.size());
    for (std::size_t i = 0; i < function.arguments.size(); ++i) {
        BindingValue& argument = arguments.At(i);
        if (function.arguments[i].type.kind == BindingKind::Bool &&
            !function.arguments[i].optional) {
            argument.SetBool(false);
        }
    }

    Internal::ArgumentBinder binder(entry, call, arguments);
    binder.BindHeaders(request);
    binder.BindPath(match.parameters);
    binder.BindQuery(match.path);
    if (call.Ok()) {
        binder.BindParameters(request, match.parameters.Size());
    }
    binder.ReadBody(request);

    void* prepared = nullptr;
    if (call.Ok()) {
        prepared =
            entry.invoker->PrepareArguments(call.result, arguments.Elements(), request.clientId);
    }
    if (call.Ok()) {
        if (WantsCallContext(*entry.invoker)) {
            CallContext context;
            context.arguments = arguments.Elements();
            context.clientId = request.clientId;
            context.registry = this;
            context.startTicks = start;
            context.method = match.method;
            context.methodText = match.methodText;
            context.url = match.path;
            context.headers = HeaderTable(request);
            entry.invoker->Invoke(call, &context, prepared, request.clientId);
        } else {
            entry.invoker->Invoke(call, nullptr, prepared, request.clientId);
        }
    }

    Internal::AnswerCall(response, call, function.registry);
    if (prepared != nullptr) {
        entry.invoker->ReleaseArguments(prepared);
    }
}

}  // namespace Tavix::Client
