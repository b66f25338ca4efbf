#pragma once
// arx-host run by a test as a user runs it: ARX_HOST_PATH, which the test's target defines, as a
// child process whose output the test reads.

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <utility>
#include <vector>

#include "host/spawned_process.h"

// arx-host as a child process, its stdout and stderr merged into one pipe.
class Child {
public:
    explicit Child(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), ARX_HOST_PATH);
        int fds[2];
        if (pipe(fds) != 0) {
            return;
        }
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, fds[1], 1);
        posix_spawn_file_actions_adddup2(&actions, fds[1], 2);
        posix_spawn_file_actions_addclose(&actions, fds[0]);
        pid_ = SpawnProcess(std::move(arguments), actions);
        posix_spawn_file_actions_destroy(&actions);
        close(fds[1]);
        out_ = fds[0];
    }
    ~Child() {
        if (out_ >= 0) {
            close(out_);
        }
        if (pid_ > 0) {
            kill(pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
        }
    }

    bool Started() const { return pid_ > 0; }

    // Reads until `text` has appeared or the output ends; true when it appeared.
    bool ReadUntil(const std::string& text) {
        while (output_.find(text) == std::string::npos) {
            if (!ReadSome()) {
                return false;
            }
        }
        return true;
    }

    void Signal(int signal) { kill(pid_, signal); }

    // Reads the rest of the output and returns the exit code, or -1 for a death by signal.
    int Finish() {
        while (ReadSome()) {
        }
        int status = 0;
        waitpid(pid_, &status, 0);
        pid_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    const std::string& Output() const { return output_; }

private:
    bool ReadSome() {
        char buffer[4096];
        const ssize_t count = read(out_, buffer, sizeof buffer);
        if (count <= 0) {
            return false;
        }
        output_.append(buffer, static_cast<std::size_t>(count));
        return true;
    }

    pid_t pid_ = -1;
    int out_ = -1;
    std::string output_;
};
