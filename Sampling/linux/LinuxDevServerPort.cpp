#include "Sampling/linux/LinuxDevServerPort.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <string_view>
#include <unordered_set>

#include "Sampling/ElfGoBuildID.h"
#include "Sampling/NetlinkDecoding.h"
#include "Sampling/ProcFiles.h"
#include "Sampling/linux/SocketDiagSocket.h"
#include "core/FileDescriptor.h"
#include "core/FileReading.h"
#include "core/SamplingError.h"
#include "core/TextDecoding.h"

namespace orv {

namespace {

std::optional<std::string> readLink(const std::filesystem::path& link) {
    char target[4096];
    const ssize_t n = ::readlink(link.c_str(), target, sizeof target);
    if (n <= 0 || size_t(n) >= sizeof target) return std::nullopt;
    std::string text(target, size_t(n));
    // A folder removed while the process sits in it.
    if (text.ends_with(" (deleted)")) return std::nullopt;
    return text;
}

// proc/<pid>/cmdline: arguments each ended by a NUL.
std::vector<std::string> splitArguments(std::string_view text) {
    std::vector<std::string> out;
    while (!text.empty()) {
        auto end = text.find('\0');
        out.emplace_back(text.substr(0, end));
        if (end == std::string_view::npos) break;
        text.remove_prefix(end + 1);
    }
    return out;
}

}  // namespace

LinuxDevServerPort::LinuxDevServerPort(std::filesystem::path root, SocketList listListening)
    : root_(std::move(root)), listListening_(std::move(listListening)), owners_(root_) {
    if (!listListening_) {
        listListening_ = [socket = std::make_shared<SocketDiagSocket>()]() {
            return socket->dumpTCP(SocketDiagSocket::listenStates, false);
        };
    }
}

std::vector<int32_t> LinuxDevServerPort::processIDs() const {
    std::vector<int32_t> pids;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(root_ / "proc", error)) {
        if (auto pid = TextDecoding::parseNumber<int32_t>(entry.path().filename().native()); pid && *pid > 0) {
            pids.push_back(*pid);
        }
    }
    std::sort(pids.begin(), pids.end());
    return pids;
}

std::vector<ListeningPort> LinuxDevServerPort::join(const std::vector<InetSocket>& sockets,
                                                    const std::unordered_map<uint64_t, int32_t>& owners) const {
    std::vector<ListeningPort> out;
    std::unordered_map<int32_t, std::optional<std::string>> directories;
    for (const auto& socket : sockets) {
        auto owner = owners.find(socket.inode);
        if (socket.inode == 0 || owner == owners.end()) continue;
        auto [directory, fresh] = directories.try_emplace(owner->second);
        if (fresh) directory->second = readLink(root_ / "proc" / std::to_string(owner->second) / "cwd");
        ListeningPort port;
        port.pid = owner->second;
        port.port = socket.localPort;
        port.transport = socket.family == NetlinkDecoding::inet6Family ? ListeningPort::Transport::tcp6
                                                                       : ListeningPort::Transport::tcp4;
        port.address = socket.localAddressText();
        port.workingDirectory = directory->second;
        out.push_back(std::move(port));
    }
    auto order = [](const ListeningPort& a, const ListeningPort& b) {
        return std::tie(a.pid, a.port, a.transport, a.address) < std::tie(b.pid, b.port, b.transport, b.address);
    };
    std::sort(out.begin(), out.end(), order);
    out.erase(std::unique(out.begin(), out.end()), out.end());
    return out;
}

std::vector<ListeningPort> LinuxDevServerPort::listeningPorts() {
    auto sockets = listListening_();
    if (!sockets) throw SamplingError::netlink("sock_diag LISTEN dump", sockets.error().value());
    std::unordered_set<uint64_t> wanted;
    for (const auto& socket : *sockets) {
        if (socket.state == SocketDiagDecoding::listenState && socket.inode != 0) wanted.insert(socket.inode);
    }
    const auto pids = processIDs();
    return join(*sockets, owners_.owners(wanted, pids));
}

std::optional<DevProcessDetails> LinuxDevServerPort::details(int32_t pid) {
    const auto folder = root_ / "proc" / std::to_string(pid);
    auto statText = FileReading::readSmallFile(folder / "stat", 4096);
    if (!statText) return std::nullopt;
    auto stat = ProcStat::decode(*statText);
    if (!stat) return std::nullopt;
    DevProcessDetails details;
    details.processGroup = stat->processGroup;
    details.session = stat->session;
    if (auto cmdline = FileReading::readSmallFile(folder / "cmdline", 128 * 1024)) details.arguments = splitArguments(*cmdline);
    FileDescriptor exe(::open((folder / "exe").c_str(), O_RDONLY | O_CLOEXEC));
    if (exe.valid()) {
        std::vector<uint8_t> head(executableHeadBytes);
        size_t filled = 0;
        while (filled < head.size()) {
            const ssize_t n = ::pread(exe.get(), head.data() + filled, head.size() - filled, off_t(filled));
            if (n <= 0) break;
            filled += size_t(n);
        }
        head.resize(filled);
        details.goBuildID = ElfGoBuildID::decode(head);
    }
    return details;
}

std::unique_ptr<DevServerPort> makeDevServerPort(const std::filesystem::path& root) {
    return std::make_unique<LinuxDevServerPort>(root);
}

}  // namespace orv
