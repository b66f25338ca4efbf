#pragma once
// A module whose routes each test declares for itself, loaded into the test host and called the
// way a host calls it: through the function records of its ApiDescription.

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "binding/record_builder.h"
#include "core/host.h"
#include "core/module.h"
#include "frame/app_module.h"
#include "frame/plugin_export.h"
#include "routing/resource.h"
#include "routing/route_declarer.h"

namespace Tavix::Client::Testing {

enum class Color : std::int32_t { Red = 0, Green = 1 };

struct Point {
    std::int32_t x = 0;
    std::int32_t y = 0;
};

struct Shape {
    std::string name;
    std::vector<Point> points;
    std::optional<Color> color;
};

using RouteDeclarations = std::function<void(RouteDeclarer& routes, BindingDispatcher& dispatcher)>;

class RoutesModule : public AppModule {
public:
    // What the next module to load declares; RegisterApi runs inside the export.
    static RouteDeclarations& Pending() {
        static RouteDeclarations pending;
        return pending;
    }

    void RegisterApi() override {
        DeclareEnum<Color>(GetDispatcher(), "Color")
            .AddEnumerator("Red", 0)
            .AddEnumerator("Green", 1);
        DeclareRecord<Point>(GetDispatcher(), "Point").Field("x", &Point::x).Field("y", &Point::y);
        DeclareRecord<Shape>(GetDispatcher(), "Shape")
            .Field("name", &Shape::name)
            .Field("points", &Shape::points)
            .Field("color", &Shape::color);
        RouteDeclarer routes = Routes();
        if (Pending()) {
            Pending()(routes, GetDispatcher());
        }
    }
};

inline void LoadRoutesModule(PluginLoadBlock* block) {
    ConstructPlugin<RoutesModule>(*block, "routes-module");
}

inline TestHost::ApiCall Request(std::uint32_t method, std::string url) {
    TestHost::ApiCall call;
    call.method = method;
    call.url = std::move(url);
    return call;
}

class RoutesTest : public ::testing::Test {
protected:
    void Load(RouteDeclarations declarations) {
        RoutesModule::Pending() = std::move(declarations);
        TestHost::LoadResult loaded = TestHost::LoadModule(host, &LoadRoutesModule);
        RoutesModule::Pending() = nullptr;
        ASSERT_TRUE(loaded.module) << loaded.error;
        module = std::move(loaded.module);
        ASSERT_TRUE(module->Attach());
        plugin = static_cast<RoutesModule*>(static_cast<AppModule*>(module->Block().module));
    }

    // Calls the record that the host picks for the call's method and URL.
    TestHost::ApiAnswer Call(const TestHost::ApiCall& call) {
        TestHost::ApiAnswer answer = module->CallApi(call);
        EXPECT_TRUE(answer.called) << "no function record for " << call.url;
        EXPECT_TRUE(answer.released) << call.url;
        return answer;
    }
    TestHost::ApiAnswer Call(std::uint32_t method, std::string url) {
        return Call(Request(method, std::move(url)));
    }

    const ApiDescription& Api() const { return *module->Block().apiDescription; }

    // Calls the entry of the record at `index` with a GET of `url` as one call into the module,
    // into `response` as it stands, and leaves the response unread and unreleased.
    void CallInto(HostResponse& response, const std::string& url, std::size_t index = 0) {
        HostRequest request{};
        request.method = kMethodGet;
        request.url = url.c_str();
        request.callContext = Api().functions[index].head.callContext;
        TestHost::Host::ModuleCall call(host, module->ClientId());
        Api().functions[index].callEntry(&response, &request);
    }
    HostResponse CallUnreleased(const std::string& url, std::size_t index = 0) {
        HostResponse response{};
        CallInto(response, url, index);
        return response;
    }

    TestHost::Host host;
    std::unique_ptr<TestHost::Module> module;
    RoutesModule* plugin = nullptr;
};

// Gtest binds references, which packed fields cannot give.
template <typename T>
T Unpacked(T value) {
    return value;
}

// The error text of a failed answer, or "(ok)".
inline std::string ErrorOf(const TestHost::ApiAnswer& answer) {
    return answer.error ? *answer.error : "(ok)";
}

}  // namespace Tavix::Client::Testing
