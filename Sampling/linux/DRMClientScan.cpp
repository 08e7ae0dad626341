#include "Sampling/linux/DRMClientScan.h"

#include <unistd.h>

#include <string>

#include "PrivateAPIs/linux/AttributeDirectory.h"
#include "core/TextDecoding.h"

namespace orv::DRMClientScan {

namespace {

std::optional<int32_t> pidOf(const std::string& name) {
    auto pid = TextDecoding::parseNumber<int32_t>(name);
    if (!pid || *pid <= 0) return std::nullopt;
    return pid;
}

bool leadsToDRM(const std::filesystem::path& link) {
    char target[64];
    ssize_t n = ::readlink(link.c_str(), target, sizeof target);
    return n > 0 && std::string_view(target, static_cast<size_t>(n)).starts_with("/dev/dri/");
}

}  // namespace

bool hasRenderDevice(const std::filesystem::path& root) {
    std::error_code error;
    for (std::filesystem::directory_iterator it(root / "sys/class/drm", error), end; !error && it != end;
         it.increment(error)) {
        if (it->path().filename().string().starts_with("renderD")) return true;
    }
    return false;
}

std::vector<Client> clients(const std::filesystem::path& root) {
    std::vector<Client> out;
    std::error_code error;
    std::map<int32_t, std::filesystem::path> processes;
    for (std::filesystem::directory_iterator it(root / "proc", error), end; !error && it != end; it.increment(error)) {
        if (auto pid = pidOf(it->path().filename().string())) processes.emplace(*pid, it->path());
    }
    for (const auto& [pid, folder] : processes) {
        std::error_code fdError;
        // A process we may not look into, or one that exited, is passed by.
        for (std::filesystem::directory_iterator fd(folder / "fd", fdError), end; !fdError && fd != end;
             fd.increment(fdError)) {
            if (!leadsToDRM(fd->path())) continue;
            auto text = AttributeDirectory::read(folder / "fdinfo" / fd->path().filename());
            if (!text) continue;
            if (auto usage = DRMClientUsage::decode(*text)) out.push_back({pid, std::move(*usage)});
        }
    }
    return out;
}

std::map<int32_t, uint64_t> processNanoseconds(std::span<const Client> clients,
                                               const std::optional<std::string>& device) {
    DRMClientTally tally(device);
    for (const Client& client : clients) tally.add(client.pid, client.usage);
    return tally.totals();
}

std::map<int32_t, uint64_t> processNanoseconds(const std::filesystem::path& root,
                                               const std::optional<std::string>& device) {
    return processNanoseconds(clients(root), device);
}

}  // namespace orv::DRMClientScan
