#include <SystemConfiguration/SystemConfiguration.h>
#include <net/if.h>
#include <net/route.h>
#include <sys/socket.h>
#include <sys/sysctl.h>

#include <cerrno>
#include <cstddef>

#include "Sampling/NetworkMath.h"
#include "Sampling/NetworkPort.h"
#include "Sampling/RouteDumpBuffer.h"
#include "Sampling/RouteDumpDecoding.h"
#include "core/darwin/CFPropertyValue.h"
#include "core/darwin/CFRef.h"

namespace orv {

// The portable decoder names the kernel's layout itself; hold it to it.
static_assert(sizeof(if_msghdr2) == RouteDumpDecoding::interfaceMessageSize);
static_assert(offsetof(if_msghdr2, ifm_type) == RouteDumpDecoding::typeOffset);
static_assert(offsetof(if_msghdr2, ifm_addrs) == RouteDumpDecoding::addressMaskOffset);
static_assert(offsetof(if_msghdr2, ifm_index) == RouteDumpDecoding::indexOffset);
static_assert(offsetof(if_msghdr2, ifm_data) + offsetof(if_data64, ifi_ibytes) == RouteDumpDecoding::inputBytesOffset);
static_assert(offsetof(if_msghdr2, ifm_data) + offsetof(if_data64, ifi_obytes) == RouteDumpDecoding::outputBytesOffset);
static_assert(RTM_IFINFO2 == RouteDumpDecoding::interfaceInfo2Type && RTA_IFP == RouteDumpDecoding::interfaceAddressBit);
static_assert(AF_LINK == RouteDumpDecoding::linkFamily);

namespace {

// The NET_RT_IFLIST2 dump for the counters; the dynamic store's global
// IPv4 and IPv6 state for the primary interface.
class DarwinNetworkPort : public NetworkPort {
public:
    DarwinNetworkPort()
        : store_(SCDynamicStoreCreate(nullptr, CFSTR("app.orvantine.network"), nullptr, nullptr)) {
        for (CFStringRef entity : {kSCEntNetIPv4, kSCEntNetIPv6}) {
            CFRef<CFStringRef> key(SCDynamicStoreKeyCreateNetworkGlobalEntity(nullptr, kSCDynamicStoreDomainState, entity));
            if (key) primaryKeys_.push_back(std::move(key));
        }
    }

    InterfaceCounterMap readCounters(CountedDeviceCache<std::string>& counted) override {
        auto dump = buffer_.fill([](uint8_t* data, size_t& length) {
            int mib[6] = {CTL_NET, PF_ROUTE, 0, 0, NET_RT_IFLIST2, 0};
            return sysctl(mib, 6, data, &length, nullptr, 0) == 0 ? 0 : errno;
        });
        if (!dump) throw RouteDumpBuffer::samplingError(dump.error());
        auto counters = RouteDumpDecoding::interfaces(*dump, [](uint16_t index) -> std::optional<std::string> {
            char name[IF_NAMESIZE] = {};
            if (!if_indextoname(index, name)) return std::nullopt;
            return std::string(name);
        });
        std::erase_if(counters, [&](const auto& entry) {
            return !counted.counts(entry.first, [&] { return NetworkMath::isEthernetClassName(entry.first); });
        });
        return counters;
    }

    std::optional<std::string> primaryInterface() override {
        if (!store_) return std::nullopt;
        for (const auto& key : primaryKeys_) {
            CFRef<CFPropertyListRef> value(SCDynamicStoreCopyValue(store_.get(), key.get()));
            auto entry = propertyValueFromCF(value.get());
            if (!entry) continue;
            // kSCDynamicStorePropNetPrimaryInterface
            if (const PropertyValue* name = entry->find("PrimaryInterface"); name && name->string()) {
                return *name->string();
            }
        }
        return std::nullopt;
    }

private:
    CFRef<SCDynamicStoreRef> store_;
    std::vector<CFRef<CFStringRef>> primaryKeys_;
    RouteDumpBuffer buffer_;
};

}  // namespace

std::unique_ptr<NetworkPort> makeNetworkPort(const std::filesystem::path&) {
    return std::make_unique<DarwinNetworkPort>();
}

}  // namespace orv
