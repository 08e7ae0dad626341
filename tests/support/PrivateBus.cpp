#include "support/PrivateBus.h"

#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <thread>

extern char** environ;

namespace orv::test {

namespace {
bool accepts(const std::filesystem::path& socketPath) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = socketPath.string();
    if (path.size() >= sizeof address.sun_path) return false;
    path.copy(address.sun_path, path.size());
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return false;
    const bool connected = ::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    ::close(fd);
    return connected;
}
}  // namespace

PrivateBus::PrivateBus(const TempDir& dir) {
    socket_ = dir.path() / "bus";
    auto config = dir.write("bus.conf",
                            "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\"\n"
                            " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
                            "<busconfig><type>session</type>\n"
                            "<listen>unix:path=" + socket_.string() + "</listen>\n"
                            "<auth>EXTERNAL</auth>\n"
                            "<policy context=\"default\"><allow send_destination=\"*\"/><allow own=\"*\"/>"
                            "<allow receive_sender=\"*\"/></policy>\n"
                            "</busconfig>\n");
    std::string configArgument = "--config-file=" + config.string();
    char* argv[] = {const_cast<char*>("dbus-daemon"), const_cast<char*>("--nofork"),
                    const_cast<char*>("--nopidfile"), configArgument.data(), nullptr};
    if (posix_spawnp(&pid_, "dbus-daemon", nullptr, nullptr, argv, environ) != 0) pid_ = 0;
    // The socket's file appears when the daemon binds it, a moment before it
    // listens: ready is when a connection is taken.
    for (int i = 0; i < 500 && pid_ != 0 && !(ready_ = accepts(socket_)); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

PrivateBus::~PrivateBus() {
    if (pid_ != 0) {
        kill(pid_, SIGTERM);
        waitpid(pid_, nullptr, 0);
    }
}

bool PrivateBus::isRunning() const { return pid_ != 0 && ready_; }

}  // namespace orv::test
