#pragma once
// The simulated platform's actions as the HTTP front serves them under /sim: what a UI developer
// makes the platform do while the plug-in runs (log in, a lobby, a match that pops, strangers
// and the party that decline or dodge, penalties, the connection, the virtual clock). Each
// answers with where the platform stands, or 409 with the platform's reason when the action
// cannot happen now, or 400 for a parameter it cannot read.

#include <vector>

#include "http/host_action.h"
#include "sim/simulation.h"

namespace Tavix::TestHost {

// Every action runs on the host's thread; `simulation` must outlive the front that serves them.
std::vector<HostAction> SimulationActions(Simulation& simulation);

}  // namespace Tavix::TestHost
