#include <cstring>

#include "cli/DesktopNotifier.h"
#include "core/Logger.h"
#include "core/linux/SystemdLibrary.h"

namespace orv::cli {

namespace {

class BusNotifier final : public DesktopNotifier {
public:
    explicit BusNotifier(std::string address) : address_(std::move(address)) {}
    ~BusNotifier() override {
        if (bus_) systemd_->sd_bus_flush_close_unref(bus_);
    }

    bool notify(const std::string& title, const std::string& body) override {
        if (gaveUp_) return false;
        if (!bus_ && !connect()) return giveUp(systemd_ ? "no session bus" : "libsystemd is not installed");
        sd_bus_error error = SD_BUS_ERROR_NULL;
        sd_bus_message* reply = nullptr;
        // Notify(app_name, replaces_id, app_icon, summary, body, actions,
        // hints, expire_timeout): no actions, no hints, the server's timeout.
        int r = systemd_->sd_bus_call_method(bus_, "org.freedesktop.Notifications", "/org/freedesktop/Notifications",
                                   "org.freedesktop.Notifications", "Notify", &error, &reply, "susssasa{sv}i",
                                   "Orvantine", uint32_t(0), "utilities-system-monitor", title.c_str(), body.c_str(),
                                   0, 0, int32_t(-1));
        std::string reason = r < 0 ? (error.message ? error.message : std::strerror(-r)) : "";
        systemd_->sd_bus_error_free(&error);
        systemd_->sd_bus_message_unref(reply);
        if (r < 0) return giveUp(reason);
        return true;
    }

private:
    bool connect() {
        systemd_ = SystemdLibrary::shared();
        if (!systemd_) return false;
        int r = address_.empty() ? systemd_->sd_bus_open_user(&bus_) : [&] {
            int rc = systemd_->sd_bus_new(&bus_);
            if (rc >= 0) rc = systemd_->sd_bus_set_address(bus_, address_.c_str());
            if (rc >= 0) rc = systemd_->sd_bus_set_bus_client(bus_, 1);
            if (rc >= 0) rc = systemd_->sd_bus_start(bus_);
            return rc;
        }();
        if (r < 0) {
            if (bus_) systemd_->sd_bus_unref(bus_);
            bus_ = nullptr;
            return false;
        }
        return true;
    }

    bool giveUp(const std::string& reason) {
        gaveUp_ = true;
        Logger("app.orvantine.cli", "alerts")
            .notice("Desktop notifications off: " + reason + "; alerts are printed only");
        return false;
    }

    std::string address_;
    const SystemdLibrary* systemd_ = nullptr;  // set when the first notice connects
    sd_bus* bus_ = nullptr;
    bool gaveUp_ = false;
};

}  // namespace

std::unique_ptr<DesktopNotifier> makeDesktopNotifier(const std::string& busAddress) {
    return std::make_unique<BusNotifier>(busAddress);
}

}  // namespace orv::cli
