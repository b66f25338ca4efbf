#pragma once
// Declares the plug-in's records in its registry. The API records and the neighbours' records
// carry the module's API namespace before their names and its tags; the remote classes carry
// their bare names and their class names. Each record follows the records it uses.

#include <string>
#include <vector>

namespace Tavix::Client {
class AppClient;
class BindingRegistry;
}  // namespace Tavix::Client

namespace Tavix::Client::Matchmaking {

void RegisterApiRecords(BindingRegistry& registry, const std::string& apiNamespace,
                        const std::vector<std::string>& tags);

void RegisterLcdsRecords(AppClient& client);

}  // namespace Tavix::Client::Matchmaking
