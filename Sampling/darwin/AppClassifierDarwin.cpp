#include <string>

#include "PrivateAPIs/ResponsiblePID.h"
#include "Sampling/BundleAppClassifier.h"
#include "core/PropertyList.h"

namespace orv {

namespace {

class DarwinBundleFilesPort final : public BundleFilesPort {
public:
    std::optional<PropertyValue> infoPlist(std::string_view bundlePath) override {
        return PropertyList::read(std::filesystem::path(std::string(bundlePath)) / "Contents" / "Info.plist");
    }

    std::optional<int32_t> responsiblePID(int32_t pid) override { return ResponsiblePID::lookup(pid); }
};

}  // namespace

std::unique_ptr<BundleFilesPort> makeBundleFilesPort() { return std::make_unique<DarwinBundleFilesPort>(); }

std::unique_ptr<AppClassifier> makeAppClassifier(const std::filesystem::path&) {
    return std::make_unique<BundleAppClassifier>(makeBundleFilesPort());
}

}  // namespace orv
