// Desktop notifications over a private bus, with a fake notification
// service in a thread of the test.
#include <gtest/gtest.h>

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <systemd/sd-bus.h>

#include <atomic>
#include <chrono>
#include <future>
#include <mutex>
#include <sstream>
#include <thread>
#include <vector>

#include "cli/AlertWatch.h"
#include "cli/DesktopNotifier.h"
#include "core/JsonCoding.h"
#include "support/PrivateBus.h"
#include "support/TempDir.h"

namespace orv::cli {
namespace {

using test::PrivateBus;
using test::TempDir;

struct Received {
    std::string appName, summary, body;
};

// org.freedesktop.Notifications, answering Notify with increasing ids and
// remembering what it was asked to show.
class FakeNotifications {
public:
    explicit FakeNotifications(const std::string& address) {
        std::promise<bool> ready;
        auto started = ready.get_future();
        thread_ = std::thread([this, address, ready = std::move(ready)]() mutable { serve(address, ready); });
        ok_ = started.get();
    }
    ~FakeNotifications() {
        stop_ = true;
        thread_.join();
    }
    bool ok() const { return ok_; }
    std::vector<Received> received() {
        std::lock_guard lock(mutex_);
        return received_;
    }

private:
    static int notify(sd_bus_message* m, void* self, sd_bus_error*) {
        auto* fake = static_cast<FakeNotifications*>(self);
        const char *app = nullptr, *icon = nullptr, *summary = nullptr, *body = nullptr;
        uint32_t replaces = 0;
        int r = sd_bus_message_read(m, "susss", &app, &replaces, &icon, &summary, &body);
        if (r < 0) return r;
        {
            std::lock_guard lock(fake->mutex_);
            fake->received_.push_back({app, summary, body});
        }
        return sd_bus_reply_method_return(m, "u", uint32_t(fake->received_.size()));
    }

    static constexpr sd_bus_vtable vtable[] = {
        SD_BUS_VTABLE_START(0),
        SD_BUS_METHOD("Notify", "susssasa{sv}i", "u", notify, SD_BUS_VTABLE_UNPRIVILEGED),
        SD_BUS_VTABLE_END,
    };

    void serve(const std::string& address, std::promise<bool>& ready) {
        sd_bus* bus = nullptr;
        bool ok = sd_bus_new(&bus) >= 0 && sd_bus_set_address(bus, address.c_str()) >= 0 &&
                  sd_bus_set_bus_client(bus, 1) >= 0 && sd_bus_start(bus) >= 0 &&
                  sd_bus_add_object_vtable(bus, nullptr, "/org/freedesktop/Notifications",
                                           "org.freedesktop.Notifications", vtable, this) >= 0 &&
                  sd_bus_request_name(bus, "org.freedesktop.Notifications", 0) >= 0;
        ready.set_value(ok);
        while (ok && !stop_) {
            int r = sd_bus_process(bus, nullptr);
            if (r < 0) break;
            if (r == 0) sd_bus_wait(bus, 50'000);
        }
        if (bus != nullptr) sd_bus_flush_close_unref(bus);
    }

    std::mutex mutex_;
    std::vector<Received> received_;
    std::atomic<bool> stop_{false};
    bool ok_ = false;
    std::thread thread_;
};

TEST(DesktopNotifier, ShowsANotificationThroughTheService) {
    TempDir dir;
    PrivateBus bus(dir);
    ASSERT_TRUE(bus.isRunning());
    FakeNotifications service(bus.address());
    ASSERT_TRUE(service.ok());
    auto notifier = makeDesktopNotifier(bus.address());
    EXPECT_TRUE(notifier->notify("stress is using a lot of CPU", "stress has used 100% CPU on average for 10m."));
    auto received = service.received();
    ASSERT_EQ(received.size(), 1u);
    EXPECT_EQ(received[0].appName, "Orvantine");
    EXPECT_EQ(received[0].summary, "stress is using a lot of CPU");
    EXPECT_EQ(received[0].body, "stress has used 100% CPU on average for 10m.");
}

TEST(DesktopNotifier, ABusWithoutTheServiceTurnsNotificationsOff) {
    TempDir dir;
    PrivateBus bus(dir);
    ASSERT_TRUE(bus.isRunning());
    auto notifier = makeDesktopNotifier(bus.address());
    EXPECT_FALSE(notifier->notify("title", "body"));
    // Once off, it does not ask again even when a service appears.
    FakeNotifications late(bus.address());
    ASSERT_TRUE(late.ok());
    EXPECT_FALSE(notifier->notify("title", "body"));
    EXPECT_TRUE(late.received().empty());
}

TEST(DesktopNotifier, NoBusAtAllIsNotAnError) {
    TempDir dir;
    auto notifier = makeDesktopNotifier("unix:path=" + (dir.path() / "nothing").string());
    EXPECT_FALSE(notifier->notify("title", "body"));
}

// The recorder's alerting shows each alert it raises on the desktop.
TEST(DesktopNotifier, TheRecordersAlertsReachTheDesktop) {
    TempDir dir;
    PrivateBus bus(dir);
    ASSERT_TRUE(bus.isRunning());
    FakeNotifications service(bus.address());
    ASSERT_TRUE(service.ok());
    AlertWatch::Options options;
    options.settingsPath = dir.path() / "alerts.json";
    options.statePath = dir.path() / "alert-state.json";
    options.busAddress = bus.address();
    options.calendar = AlertCalendar{"UTC"};
    auto settings = AlertSettings::defaults();
    settings.rules[AlertRule::highCPU] = {true, 50, Duration::seconds(10)};
    dir.write("alerts.json", json::encode(settings));
    std::ostringstream report;
    AlertWatch watch(options, report);
    for (int i = 0; i <= 12; ++i) {
        Snapshot s;
        s.at = Date{5000.0 + i};
        s.interval = Duration::seconds(1);
        AppAggregate hog;
        hog.app = AppIdentity::other("stress");
        hog.cpuPercent = 99;
        s.apps = {hog};
        watch.observe(s);
    }
    EXPECT_EQ(watch.notificationsShown(), 1u);
    auto received = service.received();
    ASSERT_EQ(received.size(), 1u);
    EXPECT_EQ(received[0].summary, "stress is using a lot of CPU");
}

}  // namespace
}  // namespace orv::cli
