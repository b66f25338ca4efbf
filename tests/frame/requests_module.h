#pragma once
// A module with small records of its own, some of them remote classes, loaded into the test host
// for the request, LCDS and service proxy tests.

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "binding/record_builder.h"
#include "core/host.h"
#include "core/module.h"
#include "frame/app_module.h"
#include "frame/lcds_client.h"
#include "frame/plugin_export.h"
#include "frame/resource_client.h"
#include "frame/service_proxy.h"
#include "platform/clock.h"

namespace Tavix::Client::Testing {

enum class Lane : std::int32_t { Top = 0, Bottom = 1 };

// A remote class.
struct Member {
    std::string name;
    std::int64_t id = 0;
};

// A remote class.
struct Ticket {
    std::string queue;
    std::int32_t size = 0;
    Lane lane = Lane::Top;
};

// Not a remote class, so nothing inside it is marked, not even its Member.
struct Note {
    std::string text;
    Member author;
};

// A remote class reaching the others through every container form.
struct Party {
    std::string leader;
    std::vector<Member> members;
    Ticket ticket;
    std::optional<Member> guest;
    std::map<std::string, Member> roles;
    Note note;
};

// Never declared: converting one always fails.
struct Unregistered {
    int value = 0;
};

inline constexpr const char* kMemberClass = "com.example.Member";
inline constexpr const char* kTicketClass = "com.example.Ticket";
inline constexpr const char* kPartyClass = "com.example.Party";

class RequestsModule : public AppModule {
public:
    void RegisterApi() override {
        DeclareEnum<Lane>(*typeRegistry, "Lane").AddEnumerator("Top", 0).AddEnumerator("Bottom", 1);
        RegisterLcdsClass<Member>("Member", kMemberClass)
            .Field("name", &Member::name)
            .Field("id", &Member::id);
        RegisterLcdsClass<Ticket>("Ticket", kTicketClass)
            .Field("queue", &Ticket::queue)
            .Field("size", &Ticket::size)
            .Field("lane", &Ticket::lane);
        DeclareRecord<Note>(*typeRegistry, "Note")
            .Field("text", &Note::text)
            .Field("author", &Note::author);
        RegisterLcdsClass<Party>("Party", kPartyClass)
            .Field("leader", &Party::leader)
            .Field("members", &Party::members)
            .Field("ticket", &Party::ticket)
            .Field("guest", &Party::guest)
            .Field("roles", &Party::roles)
            .Field("note", &Party::note);
    }

    std::size_t LcdsHandlerCount() const { return lcdsHandlers.size(); }
    // The service proxy handlers as the host's flag-1 callbacks reach them, for tests that call
    // them from several threads.
    void DeliverServiceProxyUuid(const PluginServiceProxyResponse& response) {
        OnServiceProxyUuid(response);
    }
    void DeliverServiceProxyMethod(const PluginServiceProxyResponse& response) {
        OnServiceProxyMethod(response);
    }
    BindingRegistry* Registry() const { return typeRegistry; }
};

inline void LoadRequestsModule(PluginLoadBlock* block) {
    ConstructPlugin<RequestsModule>(*block, "requests-module");
}

class RequestsModuleTest : public ::testing::Test {
protected:
    void SetUp() override {
        Platform::SetClockSource(&TestHost::Host::ReadClock, &host);
        TestHost::LoadResult loaded = TestHost::LoadModule(host, &LoadRequestsModule);
        ASSERT_TRUE(loaded.module) << loaded.error;
        module = std::move(loaded.module);
        ASSERT_TRUE(module->Attach());
        plugin = static_cast<RequestsModule*>(static_cast<AppModule*>(module->Block().module));
        host.Calls().Clear();
    }
    void TearDown() override {
        module.reset();
        Platform::ResetClockSource();
    }

    // Runs `work` as one call of the host into the module and returns what it returns.
    template <typename Work>
    auto InModule(Work&& work) {
        TestHost::Host::ModuleCall call(host, module->ClientId());
        return work();
    }

    TestHost::Host host;
    std::unique_ptr<TestHost::Module> module;
    RequestsModule* plugin = nullptr;
};

// Gtest binds references, which packed fields cannot give.
template <typename T>
T Unpacked(T value) {
    return value;
}

}  // namespace Tavix::Client::Testing
