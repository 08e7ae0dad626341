// Listening TCP sockets on macOS through libproc: every pid's descriptors
// (PROC_PIDLISTFDS), each socket's state (PROC_PIDFDSOCKETINFO), and the
// owner's current directory (PROC_PIDVNODEPATHINFO). Only the calls live
// here; argv is decoded by ProcArgs2.
#include <arpa/inet.h>
#include <errno.h>
#include <libproc.h>
#include <sys/proc_info.h>
#include <sys/sysctl.h>
#include <unistd.h>

#include <algorithm>
#include <tuple>
#include <vector>

#include "Sampling/DevServerPort.h"
#include "Sampling/ProcArgs2.h"
#include "core/SamplingError.h"

namespace orv {

namespace {

std::optional<std::string> workingDirectory(int32_t pid) {
    proc_vnodepathinfo info{};
    if (proc_pidinfo(pid, PROC_PIDVNODEPATHINFO, 0, &info, sizeof info) != int(sizeof info)) return std::nullopt;
    if (info.pvi_cdir.vip_path[0] == '\0') return std::nullopt;
    return std::string(info.pvi_cdir.vip_path);
}

std::string addressText(const in_sockinfo& in, int family) {
    char text[INET6_ADDRSTRLEN] = {};
    if (family == AF_INET) inet_ntop(AF_INET, &in.insi_laddr.ina_46.i46a_addr4, text, sizeof text);
    else inet_ntop(AF_INET6, &in.insi_laddr.ina_6, text, sizeof text);
    return text;
}

class DarwinDevServerPort final : public DevServerPort {
public:
    std::vector<ListeningPort> listeningPorts() override {
        const int bytes = proc_listpids(PROC_ALL_PIDS, 0, nullptr, 0);
        if (bytes <= 0) throw SamplingError::sysctl("proc_listpids", errno);
        // Room for processes that start between the two calls.
        std::vector<pid_t> pids(size_t(bytes) / sizeof(pid_t) + 64);
        const int filled = proc_listpids(PROC_ALL_PIDS, 0, pids.data(), int(pids.size() * sizeof(pid_t)));
        if (filled <= 0) throw SamplingError::sysctl("proc_listpids", errno);
        pids.resize(size_t(filled) / sizeof(pid_t));

        std::vector<ListeningPort> out;
        std::vector<proc_fdinfo> fds;
        for (pid_t pid : pids) {
            if (pid <= 0) continue;
            const int size = proc_pidinfo(pid, PROC_PIDLISTFDS, 0, nullptr, 0);
            if (size <= 0) continue;  // gone or not ours
            fds.resize(size_t(size) / sizeof(proc_fdinfo) + 16);
            const int got = proc_pidinfo(pid, PROC_PIDLISTFDS, 0, fds.data(), int(fds.size() * sizeof(proc_fdinfo)));
            if (got <= 0) continue;
            fds.resize(size_t(got) / sizeof(proc_fdinfo));
            std::optional<std::optional<std::string>> directory;
            for (const auto& fd : fds) {
                if (fd.proc_fdtype != PROX_FDTYPE_SOCKET) continue;
                socket_fdinfo info{};
                if (proc_pidfdinfo(pid, fd.proc_fd, PROC_PIDFDSOCKETINFO, &info, sizeof info) != int(sizeof info)) {
                    continue;
                }
                const auto& socket = info.psi;
                if (socket.soi_kind != SOCKINFO_TCP) continue;
                if (socket.soi_proto.pri_tcp.tcpsi_state != TSI_S_LISTEN) continue;
                if (socket.soi_family != AF_INET && socket.soi_family != AF_INET6) continue;
                const auto& in = socket.soi_proto.pri_tcp.tcpsi_ini;
                if (!directory) directory = workingDirectory(pid);
                ListeningPort port;
                port.pid = pid;
                port.port = ntohs(uint16_t(in.insi_lport));
                port.transport = socket.soi_family == AF_INET6 ? ListeningPort::Transport::tcp6
                                                               : ListeningPort::Transport::tcp4;
                port.address = addressText(in, socket.soi_family);
                port.workingDirectory = *directory;
                out.push_back(std::move(port));
            }
        }
        auto order = [](const ListeningPort& a, const ListeningPort& b) {
            return std::tie(a.pid, a.port, a.transport, a.address) < std::tie(b.pid, b.port, b.transport, b.address);
        };
        std::sort(out.begin(), out.end(), order);
        out.erase(std::unique(out.begin(), out.end()), out.end());
        return out;
    }

    // The Go note is an ELF feature; Mach-O Go binaries are left `other`.
    std::optional<DevProcessDetails> details(int32_t pid) override {
        proc_bsdinfo bsd{};
        if (proc_pidinfo(pid, PROC_PIDTBSDINFO, 0, &bsd, sizeof bsd) != int(sizeof bsd)) return std::nullopt;
        DevProcessDetails details;
        details.processGroup = int32_t(bsd.pbi_pgid);
        const pid_t session = getsid(pid);
        details.session = session > 0 ? int32_t(session) : 0;
        int name[3] = {CTL_KERN, KERN_PROCARGS2, pid};
        size_t size = 0;
        if (sysctl(name, 3, nullptr, &size, nullptr, 0) == 0 && size > 0) {
            std::vector<uint8_t> buffer(size);
            if (sysctl(name, 3, buffer.data(), &size, nullptr, 0) == 0) {
                buffer.resize(size);
                if (auto arguments = ProcArgs2::decode(buffer)) details.arguments = std::move(*arguments);
            }
        }
        return details;
    }
};

}  // namespace

std::unique_ptr<DevServerPort> makeDevServerPort(const std::filesystem::path&) {
    return std::make_unique<DarwinDevServerPort>();
}

}  // namespace orv
