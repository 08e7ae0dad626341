#pragma once

// Processes a test starts and always ends: every child is killed and reaped
// when the owner goes, on every path out of the test.

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

namespace orv::test {

class ChildProcesses {
public:
    struct Options {
        bool ownGroup = true;          // the child leads a new process group
        bool withGrandchild = false;   // it forks one more process that stays in its group
        bool ignoreTerm = false;       // the child ignores SIGTERM
        bool grandchildIgnoresTerm = false;
    };

    ChildProcesses() = default;
    ChildProcesses(const ChildProcesses&) = delete;
    ChildProcesses& operator=(const ChildProcesses&) = delete;
    ~ChildProcesses() {
        for (pid_t pid : grandchildren_) ::kill(pid, SIGKILL);
        for (pid_t pid : children_) {
            ::kill(pid, SIGKILL);
            int status = 0;
            ::waitpid(pid, &status, 0);
        }
    }

    // Starts a child that sleeps until signalled, and returns once it (and
    // its grandchild) stand as asked. The grandchild's pid is in
    // `grandchild`, -1 without one.
    pid_t start(const Options& options, pid_t* grandchild = nullptr) {
        int ready[2];
        if (::pipe2(ready, O_CLOEXEC) != 0) return -1;
        const pid_t pid = ::fork();
        if (pid == 0) {
            if (options.ownGroup) ::setpgid(0, 0);
            if (options.ignoreTerm) ::signal(SIGTERM, SIG_IGN);
            pid_t inner = -1;
            if (options.withGrandchild) {
                int innerReady[2];
                if (::pipe(innerReady) != 0) ::_exit(1);
                inner = ::fork();
                if (inner == 0) {
                    ::signal(SIGTERM, options.grandchildIgnoresTerm ? SIG_IGN : SIG_DFL);
                    const char byte = 'g';
                    (void)!::write(innerReady[1], &byte, 1);
                    for (;;) ::pause();
                }
                char byte = 0;
                (void)!::read(innerReady[0], &byte, 1);
            }
            (void)!::write(ready[1], &inner, sizeof inner);
            for (;;) ::pause();
        }
        ::close(ready[1]);
        if (pid < 0) {
            ::close(ready[0]);
            return -1;
        }
        children_.push_back(pid);
        pid_t inner = -1;
        size_t got = 0;
        while (got < sizeof inner) {
            const ssize_t n = ::read(ready[0], reinterpret_cast<char*>(&inner) + got, sizeof inner - got);
            if (n <= 0) break;
            got += size_t(n);
        }
        ::close(ready[0]);
        if (options.withGrandchild && inner > 0) grandchildren_.push_back(inner);
        if (grandchild) *grandchild = inner;
        return pid;
    }

    // Whether `pid` (a child of this process) has not exited; reaps it when
    // it has.
    static bool running(pid_t pid) {
        int status = 0;
        const pid_t done = ::waitpid(pid, &status, WNOHANG);
        if (done == pid) return false;
        if (done < 0) return notZombie(pid);  // not our child: ask proc
        return true;
    }

    // Whether `pid` exists and has not exited (a zombie that no one reaped
    // yet has exited).
    static bool notZombie(pid_t pid) {
        std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
        std::string text;
        if (!std::getline(stat, text)) return false;
        const auto close = text.rfind(')');
        return close != std::string::npos && close + 2 < text.size() && text[close + 2] != 'Z' &&
               text[close + 2] != 'X';
    }

private:
    std::vector<pid_t> children_;
    std::vector<pid_t> grandchildren_;
};

}  // namespace orv::test
