#pragma once
// The standard OpenAPI validator of the machine image, a Python package, run on a document, the way
// a UI developer's tools would read it. A machine without python3 or without the package fails the
// calling test: a skipped validation would pass in silence.

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

extern char** environ;

namespace Tavix::Client::Testing {

// Reads the file as strict UTF-8 JSON, then validates it as OpenAPI, version by its "openapi".
inline constexpr const char* kOpenApiValidatorScript = R"(import json, sys
try:
    from openapi_spec_validator import validate
except ImportError as error:
    sys.exit("the OpenAPI validator package is not installed for python3: %s" % error)
with open(sys.argv[1], "rb") as document:
    validate(json.loads(document.read().decode("utf-8")))
)";

// Empty when `json` is a valid OpenAPI document; else the validator's words and exit status.
inline std::string OpenApiValidationFailure(const std::string& json) {
    const char* directory = std::getenv("TMPDIR");
    std::string path =
        std::string(directory != nullptr && *directory != '\0' ? directory : "/tmp") +
        "/arx-openapi-XXXXXX";
    const int file = mkstemp(path.data());
    if (file < 0) {
        return "cannot create a file for the document in " + path;
    }
    close(file);
    std::ofstream(path, std::ios::binary) << json;

    int fds[2];
    if (pipe(fds) != 0) {
        std::remove(path.c_str());
        return "cannot make a pipe";
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, fds[1], 1);
    posix_spawn_file_actions_adddup2(&actions, fds[1], 2);
    posix_spawn_file_actions_addclose(&actions, fds[0]);
    std::string python = "python3";
    std::string option = "-c";
    std::string script = kOpenApiValidatorScript;
    std::vector<char*> argv = {python.data(), option.data(), script.data(), path.data(), nullptr};
    pid_t pid = -1;
    const int spawned = posix_spawnp(&pid, "python3", &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(fds[1]);

    std::string output;
    char buffer[4096];
    ssize_t count = 0;
    while ((count = read(fds[0], buffer, sizeof buffer)) > 0) {
        output.append(buffer, static_cast<std::size_t>(count));
    }
    close(fds[0]);
    int status = 0;
    if (spawned == 0) {
        waitpid(pid, &status, 0);
    }
    std::remove(path.c_str());
    if (spawned != 0) {
        return "cannot run python3 for the OpenAPI validator";
    }
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0) {
        return {};
    }
    return output + "(python3 ended with status " + std::to_string(status) + ")";
}

}  // namespace Tavix::Client::Testing
