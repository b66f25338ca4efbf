#include "frame/plugin_identity.h"

#include "log/log.h"
#include "support/format.h"

namespace Tavix::Client {

const PluginApiVersion kPluginApiVersion{18, 0, 0, {}, {}};

const PluginType kBackendPluginType{"backend", {}};
const PluginType kFrontendPluginType{"frontend", {}};

bool IsCompatible(const PluginApiVersion& core, const PluginApiVersion& plugin) {
    if (core.major != plugin.major) {
        return false;
    }
    return core.minor > plugin.minor || (core.minor == plugin.minor && core.patch >= plugin.patch);
}

std::string ToText(const PluginApiVersion& version) {
    std::string text = Format("%1.%2.%3", version.major, version.minor, version.patch);
    if (!version.prerelease.empty()) {
        text += '-';
        text += version.prerelease;
    }
    if (!version.build.empty()) {
        text += '+';
        text += version.build;
    }
    return text;
}

std::string ToText(const PluginType& type) {
    return type.name + ":" + type.second;
}

PluginName GetFullNameFromShortNameAndType(const std::string& shortName, const PluginType& type) {
    const char* prefix = "txp-xx-";
    if (type.name == "backend") {
        prefix = "txp-be-";
    } else if (type.name == "frontend") {
        prefix = "txp-fe-";
    } else {
        const std::string complaint =
            Format("GetFullNameFromShortNameAndType(\"%1\", \"%2\") called with an unknown type",
                   shortName, type.name);
        Log(LogLevel::Error, kLogGroupDbg, "            Plugin Manager| %s", complaint.c_str());
    }
    return PluginName{prefix + shortName, shortName, type.name, type.second};
}

}  // namespace Tavix::Client
