#include <fcntl.h>
#include <unistd.h>

#include <array>

#include "Sampling/CgroupAppClassifier.h"
#include "Sampling/linux/ProcPath.h"
#include "core/FileDescriptor.h"
#include "core/FileReading.h"

namespace orv {

namespace {

// Where desktop entries are installed, below the root: the system's and the
// local administrator's, then Flatpak's and Snap's exports.
constexpr std::array<const char*, 4> applicationFolders{
    "usr/share/applications", "usr/local/share/applications", "var/lib/flatpak/exports/share/applications",
    "var/lib/snapd/desktop/applications"};

class LinuxCgroupFilesPort final : public CgroupFilesPort {
public:
    explicit LinuxCgroupFilesPort(std::filesystem::path root)
        : root_(std::move(root)), proc_(::open((root_ / "proc").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {}

    std::optional<std::string> cgroupFile(int32_t pid) override {
        if (!proc_.valid() || pid < 0) return std::nullopt;
        ProcPath path(pid, "cgroup");
        if (!path.valid()) return std::nullopt;
        auto text = FileReading::readSmallFileAt(proc_.get(), path.c_str());
        if (!text) return std::nullopt;
        return std::move(*text);
    }

    std::optional<std::string> desktopEntry(std::string_view desktopFileID) override {
        // An ID is a file name, never a path.
        if (desktopFileID.empty() || desktopFileID.find('/') != std::string_view::npos) return std::nullopt;
        std::string file = std::string(desktopFileID) + ".desktop";
        for (const char* folder : applicationFolders) {
            if (auto text = FileReading::readSmallFile(root_ / folder / file)) return std::move(*text);
        }
        return std::nullopt;
    }

private:
    std::filesystem::path root_;
    FileDescriptor proc_;
};

}  // namespace

std::unique_ptr<CgroupFilesPort> makeCgroupFilesPort(const std::filesystem::path& root) {
    return std::make_unique<LinuxCgroupFilesPort>(root);
}

std::unique_ptr<AppClassifier> makeAppClassifier(const std::filesystem::path& root) {
    return std::make_unique<CgroupAppClassifier>(makeCgroupFilesPort(root));
}

}  // namespace orv
