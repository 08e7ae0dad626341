#include "Sampling/linux/GPUPortLinux.h"

#include <optional>

#include "PrivateAPIs/linux/AttributeDirectory.h"
#include "Sampling/GPUMath.h"
#include "Sampling/GPUTimeIntegrator.h"
#include "Sampling/linux/DRMClientScan.h"
#include "Sampling/linux/NVMLLibrary.h"

namespace orv {

namespace {

bool isCardName(const std::string& name) {
    if (!name.starts_with("card") || name.size() == 4) return false;
    return name.find_first_not_of("0123456789", 4) == std::string::npos;  // not card0-DP-1
}

PropertyValue client(int32_t pid, uint64_t nanoseconds) {
    PropertyValue::Dictionary usage{{GPUMath::accumulatedTimeKey, PropertyValue(nanoseconds)}};
    PropertyValue::Dictionary out;
    out[GPUMath::creatorKey] = "pid " + std::to_string(pid) + ", drm";
    out[GPUMath::appUsageKey] = PropertyValue::Array{PropertyValue(std::move(usage))};
    return PropertyValue(std::move(out));
}

class GPUPortLinux final : public GPUPort {
public:
    explicit GPUPortLinux(const GPUPortLinuxOptions& options)
        : root_(options.root), nvmlPath_(options.nvmlPath) {}

    std::optional<Device> holdDevice() override {
        for (const auto& card : AttributeDirectory::entries(root_ / "sys/class/drm")) {
            if (!isCardName(card.filename().string())) continue;
            // gpu_busy_percent is amdgpu's; other drivers publish no load.
            if (!AttributeDirectory::read(card / "device/gpu_busy_percent")) continue;
            held_ = Held{card / "device", std::nullopt};
            auto product = AttributeDirectory::read(card / "device/product_name");
            return Device{product && !product->empty() ? product : std::nullopt};
        }
        if (auto device = nvidiaDevice()) {
            held_ = Held{{}, device};
            return Device{nvml_->name(*device)};
        }
        return std::nullopt;
    }

    bool holdsDevice() const override { return held_.has_value(); }
    void releaseDevice() override { held_.reset(); }

    std::optional<PropertyValue> performanceStatistics() override {
        if (!held_) return std::nullopt;
        PropertyValue::Dictionary out;
        if (held_->nvidia) {
            auto status = nvml_->status(*held_->nvidia);
            if (!status) return std::nullopt;
            out[GPUMath::utilizationKey] = static_cast<int64_t>(status->utilizationPercent);
            if (status->memoryUsedBytes) out[GPUMath::memoryInUseKey] = *status->memoryUsedBytes;
        } else {
            auto busy = AttributeDirectory::read(held_->amdDevice / "gpu_busy_percent");
            auto percent = busy ? AttributeText::integer(*busy) : std::nullopt;
            if (!percent) return std::nullopt;
            out[GPUMath::utilizationKey] = *percent;
            if (auto used = AttributeDirectory::read(held_->amdDevice / "mem_info_vram_used")) {
                if (auto bytes = AttributeText::integer(*used)) out[GPUMath::memoryInUseKey] = *bytes;
            }
        }
        // Built in place: GCC 12 at -O3 misreads a moved variant temporary as uninitialised.
        return std::optional<PropertyValue>(std::in_place, std::move(out));
    }

    // One walk of the descriptors per call, whatever the number of cards.
    std::vector<PropertyValue> clientProperties() override {
        std::vector<PropertyValue> out;
        if (!held_) return out;
        if (DRMClientScan::hasRenderDevice(root_)) {
            for (const auto& [pid, ns] : DRMClientScan::processNanoseconds(root_)) out.push_back(client(pid, ns));
        }
        if (held_->nvidia) {
            integrator_.add(nvml_->processSamples(*held_->nvidia, integrator_.lastSeen()));
            for (const auto& [pid, ns] : integrator_.nanoseconds()) out.push_back(client(pid, ns));
        }
        return out;
    }

private:
    struct Held {
        std::filesystem::path amdDevice;
        std::optional<nvmlDevice_t> nvidia;
    };

    std::optional<nvmlDevice_t> nvidiaDevice() {
        std::error_code error;
        if (!std::filesystem::exists(root_ / "proc/driver/nvidia", error)) return std::nullopt;
        if (!nvml_) nvml_ = std::make_unique<NVMLLibrary>(nvmlPath_);
        if (!nvml_->isAvailable() || nvml_->deviceCount() == 0) return std::nullopt;
        return nvml_->device(0);
    }

    std::filesystem::path root_;
    std::string nvmlPath_;
    std::unique_ptr<NVMLLibrary> nvml_;
    std::optional<Held> held_;
    GPUTimeIntegrator integrator_;
};

}  // namespace

std::unique_ptr<GPUPort> makeGPUPort(const GPUPortLinuxOptions& options) {
    return std::make_unique<GPUPortLinux>(options);
}

std::unique_ptr<GPUPort> makeGPUPort() { return makeGPUPort(GPUPortLinuxOptions{}); }

}  // namespace orv
