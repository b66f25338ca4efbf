// The whole cost of one timer expiry in the test host: the host's scheduler calling the job
// trampoline, the timer's closure (generation test, next deadline, repost) and a TIMER_TICK
// dispatched through the matchmaking machine in Searching. The baseline is the same host calling
// a bare callback that dispatches the same tick and reschedules itself, without the frame's jobs
// and timers in between.

#include <benchmark/benchmark.h>

#include "core/host.h"
#include "core/module.h"
#include "frame/plugin_export.h"
#include "matchmaking/matchmaking_machine.h"
#include "matchmaking/matchmaking_plugin.h"
#include "platform/clock.h"

namespace {

using Tavix::Client::Matchmaking::MatchmakingPlugin;
namespace Events = Tavix::Client::Matchmaking::Events;

void LoadPlugin(Tavix::Client::PluginLoadBlock* block) {
    Tavix::Client::ConstructPlugin<MatchmakingPlugin>(*block, "arx-matchmaking");
}

struct Fixture {
    Fixture() {
        Tavix::Platform::SetClockSource(&Tavix::TestHost::Host::ReadClock, &host);
        module = Tavix::TestHost::LoadModule(host, &LoadPlugin).module;
        module->Attach();
        plugin = static_cast<MatchmakingPlugin*>(
            static_cast<Tavix::Client::AppModule*>(module->Block().module));
        Tavix::TestHost::Host::ModuleCall call(host, module->ClientId());
        plugin->FireEvent(Events::AttachedToQueue);  // rest in Searching
        host.Calls().Clear();
    }
    ~Fixture() {
        module.reset();
        Tavix::Platform::ResetClockSource();
    }
    Tavix::TestHost::Host host;
    std::unique_ptr<Tavix::TestHost::Module> module;
    MatchmakingPlugin* plugin = nullptr;
};

void TimerExpiry_ours(benchmark::State& state) {
    Fixture fixture;
    {
        Tavix::TestHost::Host::ModuleCall call(fixture.host, fixture.module->ClientId());
        fixture.plugin->SetTimer("arx-matchmaking.tick-search", 0.1,
                                 [plugin = fixture.plugin] { plugin->DispatchTimerTick(); });
    }
    for (auto _ : state) {
        fixture.host.AdvanceBy(0.1);
        fixture.host.Calls().Clear();
    }
}
BENCHMARK(TimerExpiry_ours);

struct BareTimer {
    Fixture* fixture;
    static void Run(void* context) {
        auto* self = static_cast<BareTimer*>(context);
        self->fixture->plugin->DispatchTimerTick();
        self->fixture->plugin->ScheduleCallback("tick", &BareTimer::Run, self, 0.1, 0);
    }
};

void TimerExpiry_baseline(benchmark::State& state) {
    Fixture fixture;
    BareTimer timer{&fixture};
    {
        Tavix::TestHost::Host::ModuleCall call(fixture.host, fixture.module->ClientId());
        fixture.plugin->ScheduleCallback("tick", &BareTimer::Run, &timer, 0.1, 0);
    }
    for (auto _ : state) {
        fixture.host.AdvanceBy(0.1);
        fixture.host.Calls().Clear();
    }
}
BENCHMARK(TimerExpiry_baseline);

}  // namespace

BENCHMARK_MAIN();
