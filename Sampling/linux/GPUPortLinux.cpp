#include "Sampling/linux/GPUPortLinux.h"

#include <chrono>
#include <optional>

#include "PrivateAPIs/linux/AttributeDirectory.h"
#include "Sampling/DRMUtilization.h"
#include "Sampling/GPUMath.h"
#include "Sampling/GPUTimeIntegrator.h"
#include "Sampling/linux/DRMClientScan.h"
#include "Sampling/linux/NVMLLibrary.h"
#include "core/TextDecoding.h"

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

// A card's driver and PCI address from its device's uevent ("DRIVER=i915",
// "PCI_SLOT_NAME=0000:00:02.0"), which is how its clients' "drm-pdev" names it.
struct CardDevice {
    std::string driver;
    std::optional<std::string> pciAddress;
};

CardDevice cardDevice(const std::filesystem::path& device) {
    CardDevice out;
    auto uevent = AttributeDirectory::read(device / "uevent");
    if (!uevent) return out;
    for (std::string_view line : TextDecoding::Lines(*uevent)) {
        auto pair = TextDecoding::splitKeyValue(line, '=');
        if (!pair) continue;
        if (pair->first == "DRIVER") out.driver = std::string(pair->second);
        else if (pair->first == "PCI_SLOT_NAME") out.pciAddress = std::string(pair->second);
    }
    return out;
}

int64_t steadyNanoseconds() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

uint64_t wallMicroseconds() {
    return static_cast<uint64_t>(
        std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::system_clock::now().time_since_epoch())
            .count());
}

class GPUPortLinux final : public GPUPort {
public:
    static constexpr const char* noDeviceMessage = "no GPU with a utilisation counter";

    explicit GPUPortLinux(const GPUPortLinuxOptions& options)
        : root_(options.root),
          nvmlPath_(options.nvmlPath),
          monotonic_(options.monotonicNanoseconds ? options.monotonicNanoseconds : steadyNanoseconds),
          unixMicroseconds_(options.unixMicroseconds ? options.unixMicroseconds : wallMicroseconds) {}

    NoDeviceNotice noDeviceNotice() const override { return {noDeviceMessage, false}; }

    std::optional<Device> holdDevice() override {
        std::optional<std::filesystem::path> intel;
        for (const auto& card : AttributeDirectory::entries(root_ / "sys/class/drm")) {
            if (!isCardName(card.filename().string())) continue;
            auto device = cardDevice(card / "device");
            // gpu_busy_percent is amdgpu's own load figure.
            if (AttributeDirectory::read(card / "device/gpu_busy_percent")) {
                held_ = Held{Kind::amd, card / "device", device.pciAddress, std::nullopt, {}};
                auto product = AttributeDirectory::read(card / "device/product_name");
                return Device{product && !product->empty() ? product : std::nullopt};
            }
            if (!intel && (device.driver == "i915" || device.driver == "xe")) intel = card;
        }
        if (auto device = nvidiaDevice()) {
            held_ = Held{Kind::nvidia, {}, std::nullopt, device, {}};
            return Device{nvml_->name(*device)};
        }
        if (intel && DRMClientScan::hasRenderDevice(root_)) {
            auto device = cardDevice(*intel / "device");
            held_ = Held{Kind::intel, *intel / "device", device.pciAddress, std::nullopt, {}};
            // The baseline, so that the first statistics have an interval.
            held_->load.update(cardClients(), monotonic_());
            return Device{std::string("Intel Graphics")};
        }
        return std::nullopt;
    }

    bool holdsDevice() const override { return held_.has_value(); }
    void releaseDevice() override {
        held_.reset();
        scan_.reset();
    }

    std::optional<PropertyValue> performanceStatistics() override {
        if (!held_) return std::nullopt;
        PropertyValue::Dictionary out;
        switch (held_->kind) {
            case Kind::nvidia: {
                auto status = nvml_->status(*held_->nvidia);
                if (!status) return std::nullopt;
                out[GPUMath::utilizationKey] = static_cast<int64_t>(status->utilizationPercent);
                if (status->memoryUsedBytes) out[GPUMath::memoryInUseKey] = *status->memoryUsedBytes;
                break;
            }
            case Kind::amd: {
                auto busy = AttributeDirectory::read(held_->device / "gpu_busy_percent");
                auto percent = busy ? AttributeText::integer(*busy) : std::nullopt;
                if (!percent) return std::nullopt;
                out[GPUMath::utilizationKey] = *percent;
                if (auto used = AttributeDirectory::read(held_->device / "mem_info_vram_used")) {
                    if (auto bytes = AttributeText::integer(*used)) out[GPUMath::memoryInUseKey] = *bytes;
                }
                break;
            }
            case Kind::intel: {
                // A card that went away (driver unbound) is searched for again.
                std::error_code error;
                if (!std::filesystem::exists(held_->device, error)) return std::nullopt;
                auto percent = held_->load.update(cardClients(), monotonic_());
                out[GPUMath::utilizationKey] = percent.value_or(0.0);
                break;
            }
        }
        // Built in place: GCC 12 at -O3 misreads a moved variant temporary as uninitialised.
        return std::optional<PropertyValue>(std::in_place, std::move(out));
    }

    // One walk of the descriptors per pass, shared with the statistics.
    std::vector<PropertyValue> clientProperties() override {
        std::vector<PropertyValue> out;
        if (!held_) return out;
        if (held_->kind == Kind::nvidia) {
            // NVML serves the card; its DRM descriptors carry no engine times.
            integrator_.add(nvml_->processSamples(*held_->nvidia, integrator_.lastSeen()), unixMicroseconds_());
            for (const auto& [pid, ns] : integrator_.nanoseconds()) out.push_back(client(pid, ns));
            return out;
        }
        if (!DRMClientScan::hasRenderDevice(root_)) return out;
        const auto& clients = scan(forTimes);
        std::map<int32_t, uint64_t> times;
        if (held_->kind == Kind::intel) {
            // xe counts cycles, not time: its clients' times come from the load's integration.
            std::vector<DRMClientScan::Client> timed;
            for (const auto& c : clients) timed.push_back({c.pid, held_->load.withEngineTimes(c.usage)});
            times = DRMClientScan::processNanoseconds(timed, held_->pciAddress);
        } else {
            times = DRMClientScan::processNanoseconds(clients, held_->pciAddress);
        }
        for (const auto& [pid, ns] : times) out.push_back(client(pid, ns));
        return out;
    }

private:
    enum class Kind { amd, nvidia, intel };
    struct Held {
        Kind kind = Kind::amd;
        std::filesystem::path device;
        std::optional<std::string> pciAddress;  // absent: clients of any device count
        std::optional<nvmlDevice_t> nvidia;
        DRMUtilization load;
    };

    // The statistics and the process times of one pass ask within moments
    // of each other; one walk of every process's descriptors serves both,
    // once each: whoever asks a second time gets a fresh walk.
    static constexpr int64_t scanLifetime = 200'000'000;
    enum Reader : unsigned { forStatistics = 1, forTimes = 2 };

    const std::vector<DRMClientScan::Client>& scan(Reader reader) {
        int64_t now = monotonic_();
        if (!scan_ || (scan_->readers & reader) != 0 || now - scan_->at > scanLifetime || now < scan_->at) {
            scan_ = Scan{now, 0, DRMClientScan::clients(root_)};
        }
        scan_->readers |= reader;
        return scan_->clients;
    }

    std::vector<DRMClientUsage> cardClients() {
        std::vector<DRMClientUsage> out;
        for (const auto& c : scan(forStatistics)) {
            if (!held_->pciAddress || c.usage.device == *held_->pciAddress) out.push_back(c.usage);
        }
        return out;
    }

    std::optional<nvmlDevice_t> nvidiaDevice() {
        std::error_code error;
        if (!std::filesystem::exists(root_ / "proc/driver/nvidia", error)) return std::nullopt;
        if (!nvml_) nvml_ = std::make_unique<NVMLLibrary>(nvmlPath_);
        if (!nvml_->isAvailable() || nvml_->deviceCount() == 0) return std::nullopt;
        return nvml_->device(0);
    }

    struct Scan {
        int64_t at = 0;
        unsigned readers = 0;
        std::vector<DRMClientScan::Client> clients;
    };

    std::filesystem::path root_;
    std::string nvmlPath_;
    std::function<int64_t()> monotonic_;
    std::function<uint64_t()> unixMicroseconds_;
    std::unique_ptr<NVMLLibrary> nvml_;
    std::optional<Held> held_;
    std::optional<Scan> scan_;
    GPUTimeIntegrator integrator_;
};

}  // namespace

std::unique_ptr<GPUPort> makeGPUPort(const GPUPortLinuxOptions& options) {
    return std::make_unique<GPUPortLinux>(options);
}

std::unique_ptr<GPUPort> makeGPUPort() { return makeGPUPort(GPUPortLinuxOptions{}); }

}  // namespace orv
