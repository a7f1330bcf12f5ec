#include "NetCore/HardwareNames.hpp"

#include <systemd/sd-hwdb.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string_view>

#include "Base/File.hpp"
#include "Base/Text.hpp"

namespace netcore {

namespace {

constexpr base::Seconds namesKeptFor(30);
constexpr std::size_t longestSysfsFile = 4096;
// From an adapter up to the USB device it is part of.
constexpr int levelsToTheUSBDevice = 4;

struct Known {
    std::string_view word, name;
};

std::string nameIn(std::span<const Known> known, std::string_view word) {
    for (const auto& each : known)
        if (each.word == word) return std::string(each.name);
    return {};
}

// Kinds whose device name ("eth0.10", "veth1a2b") says more than a general word stay away.
constexpr std::array kinds = {Known{"bridge", "Bridge"},   Known{"bond", "Bond"},           Known{"team", "Team"},
                              Known{"tun", "VPN-Tunnel"},  Known{"wireguard", "WireGuard"}, Known{"tap", "TAP"},
                              Known{"macvlan", "MAC-VLAN"}};
constexpr std::array deviceTypes = {Known{"wlan", "Wi-Fi"}, Known{"wwan", "Mobilfunk"}, Known{"bluetooth", "Bluetooth"}};
constexpr std::array drivers = {Known{"virtio_net", "Virtio-Netzwerk"}, Known{"hv_netvsc", "Hyper-V-Netzwerk"},
                                Known{"vmxnet3", "VMware-Netzwerk"}};

std::string firstLine(const std::filesystem::path& path) {
    const auto content = base::readFile(path, longestSysfsFile);
    if (!content) return {};
    return base::repairUTF8(base::trimmed(std::string_view(*content).substr(0, content->find('\n'))));
}

std::string deviceTypeOf(const std::filesystem::path& adapter) {
    const auto content = base::readFile(adapter / "uevent", longestSysfsFile).value_or("");
    constexpr std::string_view key = "DEVTYPE=";
    for (const auto line : base::split(content, '\n', false))
        if (line.starts_with(key)) return base::repairUTF8(line.substr(key.size()));
    // Older wireless drivers.
    std::error_code error;
    return std::filesystem::exists(adapter / "wireless", error) ? "wlan" : "";
}

std::string usbProductOf(std::filesystem::path folder) {
    for (int level = 0; level < levelsToTheUSBDevice && folder.has_relative_path(); ++level, folder = folder.parent_path())
        // Above the device stands the hub it is plugged into, whose name says nothing of the adapter.
        if (!firstLine(folder / "idVendor").empty()) return firstLine(folder / "product");
    return {};
}

// hwdb(7): absent without the database.
std::string modelOf(sd_hwdb* database, const std::string& modalias) {
    const char* model = nullptr;
    if (database == nullptr || modalias.empty() || sd_hwdb_get(database, modalias.c_str(), "ID_MODEL_FROM_DATABASE", &model) < 0 ||
        model == nullptr)
        return {};
    return base::repairUTF8(model);
}

}  // namespace

std::optional<std::string> hardwareName(const AdapterFacts& facts) {
    for (const auto& name : {facts.alias, facts.usbProduct, facts.model, nameIn(kinds, facts.kind),
                             nameIn(deviceTypes, facts.deviceType), nameIn(drivers, facts.driver)})
        if (const auto shown = base::trimmed(name); !shown.empty()) return std::string(shown);
    return std::nullopt;
}

SysfsFacts readSysfsFacts(const std::filesystem::path& classNet, const std::string& device) {
    std::error_code error;
    const auto adapter = classNet / device;
    SysfsFacts facts{.usbProduct = {}, .deviceType = deviceTypeOf(adapter), .driver = {}, .modalias = {}};
    const auto hardware = std::filesystem::canonical(adapter / "device", error);
    if (error) return facts;
    facts.usbProduct = usbProductOf(hardware);
    facts.modalias = firstLine(hardware / "modalias");
    const auto driver = std::filesystem::read_symlink(hardware / "driver", error);
    if (!error) facts.driver = base::repairUTF8(driver.filename().native());
    return facts;
}

std::map<std::string, std::string> readHardwareNames() {
    std::map<std::string, std::string> names;
    sd_hwdb* opened = nullptr;
    if (sd_hwdb_new(&opened) < 0) opened = nullptr;
    const std::unique_ptr<sd_hwdb, decltype(&sd_hwdb_unref)> database(opened, &sd_hwdb_unref);
    for (const auto& link : readLinks().value_or(std::vector<SystemLink>())) {
        if (link.isLoopback) continue;
        const auto facts = readSysfsFacts("/sys/class/net", link.device);
        const auto name = hardwareName({.alias = link.alias,
                                        .usbProduct = facts.usbProduct,
                                        .model = modelOf(database.get(), facts.modalias),
                                        .kind = link.isTap ? "tap" : link.kind,
                                        .deviceType = facts.deviceType,
                                        .driver = facts.driver});
        if (name) names.emplace(link.device, *name);
    }
    return names;
}

HardwareNameCache::Names HardwareNameCache::names(const std::set<std::string>& devices) {
    std::set<std::string> nameless;
    {
        base::Lock lock(mutex_);
        if (cached_ && clock_.steadyNow() - cached_->readAt < namesKeptFor) {
            const auto isKnown = [this](const auto& device) KESTRELYNE_REQUIRES(mutex_) {
                return cached_->names.contains(device) || cached_->nameless.contains(device);
            };
            if (std::ranges::all_of(devices, isKnown)) return cached_->names;
            nameless = cached_->nameless;
        }
    }
    auto names = read_();
    for (const auto& device : devices)
        if (!names.contains(device)) nameless.insert(device);
    base::Lock lock(mutex_);
    cached_.emplace(Cached{.readAt = clock_.steadyNow(), .names = names, .nameless = std::move(nameless)});
    return names;
}

}  // namespace netcore
