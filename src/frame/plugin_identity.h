#pragma once
// The plug-in's identity towards the host: the plug-in API version it was built for, the
// compatibility rule against the core's version, and the names derived from the short name.

#include <cstdint>
#include <string>

namespace Tavix::Client {

struct PluginApiVersion {
    std::uint32_t major = 0;
    std::uint32_t minor = 0;
    std::uint32_t patch = 0;
    std::string prerelease;
    std::string build;
};

// The version this module was built against; the host's block carries the core's.
extern const PluginApiVersion kPluginApiVersion;

// Same major; a higher minor ignores patch, an equal minor needs at least the plug-in's patch.
// Pre-release and build texts play no part.
bool IsCompatible(const PluginApiVersion& core, const PluginApiVersion& plugin);

// "18.0.0", then "-" and the pre-release and "+" and the build when they are not empty.
std::string ToText(const PluginApiVersion& version);

struct PluginType {
    std::string name;
    std::string second;
};

extern const PluginType kBackendPluginType;
extern const PluginType kFrontendPluginType;

// "name:second", the way a type record reads inside messages.
std::string ToText(const PluginType& type);

// Both records print as their texts inside messages.
inline std::string ToFormatText(const PluginApiVersion& version) {
    return ToText(version);
}
inline std::string ToFormatText(const PluginType& type) {
    return ToText(type);
}

struct PluginName {
    std::string fullName;
    std::string shortName;
    std::string typeName;
    std::string typeSecond;
};

// "txp-be-" for "backend", "txp-fe-" for "frontend", "txp-xx-" (and an error line) otherwise.
// The compare is exact: a type that differs in case alone is unknown.
PluginName GetFullNameFromShortNameAndType(const std::string& shortName, const PluginType& type);

}  // namespace Tavix::Client
