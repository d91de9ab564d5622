#include "tarnwillow/platform/adapters.h"

#include <ifaddrs.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <netpacket/packet.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>

namespace tarnwillow::platform {

namespace {

struct FreeInterfaces {
    void operator()(ifaddrs* list) const { freeifaddrs(list); }
};
using Interfaces = std::unique_ptr<ifaddrs, FreeInterfaces>;

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

/// A path below the system's folder for the interface.
struct InterfacePath {
    InterfacePath(char const* interface, char const* entry) {
        std::snprintf(text, sizeof text, "/sys/class/net/%s/%s", interface, entry);
    }
    char text[128];
};

bool is_wireless(char const* name) {
    return access(InterfacePath(name, "wireless").text, F_OK) == 0 ||
           access(InterfacePath(name, "phy80211").text, F_OK) == 0;
}

std::uint32_t kind_of(char const* name, unsigned hardware) {
    if (hardware == ARPHRD_LOOPBACK) return kAdapterLoopback;
    if (hardware != ARPHRD_ETHER) return kAdapterOther;
    return is_wireless(name) ? kAdapterWireless : kAdapterEthernet;
}

// The system's words, in the order of the numbers from 1 on.
constexpr char const* kStates[] = {"up",      "down",       "testing",       "unknown",
                                   "dormant", "notpresent", "lowerlayerdown"};
constexpr std::uint32_t kStateUnknown = 4;

std::uint32_t told_state(char const* name) {
    const std::unique_ptr<std::FILE, CloseFile> file(
        std::fopen(InterfacePath(name, "operstate").text, "re"));
    char word[32] = "unknown";
    if (file == nullptr || std::fscanf(file.get(), "%31s", word) != 1) return kStateUnknown;
    for (std::uint32_t i = 0; i < std::size(kStates); ++i)
        if (std::strcmp(word, kStates[i]) == 0) return i + 1;
    return kStateUnknown;
}

// Many virtual drivers never tell a state: then a running interface counts as up.
std::uint32_t state_of(char const* name, unsigned flags) {
    if ((flags & IFF_UP) == 0) return kAdapterDown;
    const std::uint32_t state = told_state(name);
    return state == kStateUnknown && (flags & IFF_RUNNING) != 0 ? kAdapterUp : state;
}

Adapter adapter_of(const ifaddrs& interface) {
    const auto& link = *reinterpret_cast<sockaddr_ll const*>(interface.ifa_addr);
    Adapter adapter{};
    adapter.index = static_cast<std::uint32_t>(link.sll_ifindex);
    adapter.kind = kind_of(interface.ifa_name, link.sll_hatype);
    adapter.state = state_of(interface.ifa_name, interface.ifa_flags);
    // What does not fit is no hardware address.
    if (link.sll_halen <= sizeof link.sll_addr) adapter.address_size = link.sll_halen;
    std::memcpy(adapter.address, link.sll_addr, adapter.address_size);
    return adapter;
}

}  // namespace

std::vector<Adapter> list_adapters() {
    ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0) return {};
    const Interfaces interfaces(list);
    std::vector<Adapter> adapters;
    for (ifaddrs const* next = list; next != nullptr; next = next->ifa_next)
        if (next->ifa_addr != nullptr && next->ifa_addr->sa_family == AF_PACKET)
            adapters.push_back(adapter_of(*next));
    std::sort(adapters.begin(), adapters.end(),
              [](const Adapter& a, const Adapter& b) { return a.index < b.index; });
    return adapters;
}

}  // namespace tarnwillow::platform
