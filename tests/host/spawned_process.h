#pragma once
// A child process started by a test, its descriptors arranged by the caller's file actions.

#include <spawn.h>
#include <sys/types.h>

#include <string>
#include <vector>

extern char** environ;

// `arguments` begins with the executable's path. Answers the child's id, or -1 when it could not
// be started.
inline pid_t SpawnProcess(std::vector<std::string> arguments,
                          const posix_spawn_file_actions_t& actions) {
    std::vector<char*> argv;
    for (std::string& argument : arguments) {
        argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    pid_t pid = -1;
    if (posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ) != 0) {
        return -1;
    }
    return pid;
}
