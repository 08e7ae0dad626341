// libsystemd opened on demand: every call the journal sink, the BlueZ
// reader and the desktop notifier make is found.
#include <gtest/gtest.h>

#include "core/linux/SystemdLibrary.h"

namespace orv {
namespace {

TEST(SystemdLibrary, LoadsOnceWithEveryCall) {
    const SystemdLibrary* systemd = SystemdLibrary::shared();
    ASSERT_NE(systemd, nullptr) << "libsystemd.so.0 (Debian's libsystemd0) is installed with the build's packages";
    EXPECT_EQ(systemd, SystemdLibrary::shared());
    EXPECT_TRUE(systemd->sd_journal_send && systemd->sd_bus_open_system && systemd->sd_bus_open_user &&
                systemd->sd_bus_new && systemd->sd_bus_set_address && systemd->sd_bus_set_bus_client &&
                systemd->sd_bus_start && systemd->sd_bus_unref && systemd->sd_bus_flush_close_unref &&
                systemd->sd_bus_call && systemd->sd_bus_call_method && systemd->sd_bus_error_free &&
                systemd->sd_bus_message_new_method_call && systemd->sd_bus_message_unref &&
                systemd->sd_bus_message_read && systemd->sd_bus_message_read_basic &&
                systemd->sd_bus_message_peek_type && systemd->sd_bus_message_skip &&
                systemd->sd_bus_message_enter_container && systemd->sd_bus_message_exit_container);
}

TEST(SystemdLibrary, ABusThatIsNotThereFailsCleanly) {
    const SystemdLibrary* systemd = SystemdLibrary::shared();
    ASSERT_NE(systemd, nullptr);
    sd_bus* bus = nullptr;
    ASSERT_GE(systemd->sd_bus_new(&bus), 0);
    EXPECT_GE(systemd->sd_bus_set_address(bus, "unix:path=/nonexistent/orvantine-test-bus"), 0);
    EXPECT_LT(systemd->sd_bus_start(bus), 0);
    systemd->sd_bus_unref(bus);
}

}  // namespace
}  // namespace orv
