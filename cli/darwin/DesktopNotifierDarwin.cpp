#include "cli/DesktopNotifier.h"

namespace orv::cli {

namespace {

// The monitor app shows alerts on macOS; the command prints them only.
class NoNotifier final : public DesktopNotifier {
public:
    bool notify(const std::string&, const std::string&) override { return false; }
};

}  // namespace

std::unique_ptr<DesktopNotifier> makeDesktopNotifier(const std::string&) { return std::make_unique<NoNotifier>(); }

}  // namespace orv::cli
