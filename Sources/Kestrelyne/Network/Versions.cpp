#include "Kestrelyne/Network/Versions.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <string_view>
#include <tuple>

#include "Base/Text.hpp"
#include "Kestrelyne/Network/NetworkMonitor.hpp"

namespace kestrelyne {

namespace {

constexpr std::string_view between = " · ";

std::string joined(const std::vector<std::string>& texts, std::string_view separator) {
    std::string all;
    for (const auto& text : texts) all.append(all.empty() ? "" : separator).append(text);
    return all;
}

// Keys of a TXT record that makers use for model and firmware.
bool tellsVersion(const std::string& key) {
    constexpr std::array<std::string_view, 4> pieces{"vers", "fw", "firmware", "model"};
    constexpr std::array<std::string_view, 2> words{"sw", "mf"};
    const auto lower = base::lowerASCII(key);
    return std::ranges::any_of(pieces, [&lower](auto piece) { return lower.find(piece) != std::string::npos; }) ||
           std::ranges::find(words, lower) != words.end();
}

const DeviceReading* readingOf(const NetDevice& device, const DeviceReadings& readings) {
    const auto found = readings.find(device.id);
    return found == readings.end() ? nullptr : &found->second;
}

}  // namespace

Versions nodeVersions(const std::vector<ArtNodeState>& nodes) {
    Versions found;
    for (const auto& node : nodes)
        found.push_back({.device = node.shortName,
                         .ip = node.ip,
                         .source = "Art-Net",
                         .version = fmt::format("Firmware {}.{}", node.firmware >> 8, node.firmware & 0xFF)});
    return found;
}

Versions switchVersions(const std::vector<NetDevice>& devices, const DeviceReadings& readings) {
    Versions found;
    for (const auto& device : devices) {
        const auto* reading = readingOf(device, readings);
        if (reading == nullptr || reading->snmp == nullptr || reading->snmp->description.empty()) continue;
        const auto& status = *reading->snmp;
        found.push_back({.device = device.name,
                         .ip = device.ip,
                         .source = "SNMP",
                         .version = (status.vendor.empty() ? "" : status.vendor + std::string(between)) + status.description});
    }
    return found;
}

Versions upsVersions(const std::vector<NetDevice>& devices, const DeviceReadings& readings) {
    Versions found;
    for (const auto& device : devices)
        if (const auto* reading = readingOf(device, readings); reading != nullptr && reading->ups != nullptr)
            found.push_back({.device = device.name,
                             .ip = device.ip,
                             .source = "SNMP (USV)",
                             .version = reading->ups->manufacturer + " " + reading->ups->model});
    return found;
}

Versions serviceVersions(const std::vector<BonjourBrowser::Service>& services) {
    Versions found;
    for (const auto& service : services) {
        std::vector<std::string> told;  // the keys of a map are sorted
        for (const auto& [key, value] : service.txt)
            if (tellsVersion(key)) told.push_back(key + "=" + value);
        if (told.empty()) continue;
        found.push_back({.device = service.name,
                         .ip = service.ips.empty() ? std::string() : service.ips.front(),
                         .source = "Bonjour " + BonjourBrowser::label(service.type),
                         .version = joined(told, between)});
    }
    return found;
}

Versions stationVersions(const std::vector<MANetStation>& stations) {
    Versions found;
    for (const auto& station : stations)
        if (!station.versions.empty())
            found.push_back({.device = station.texts.empty() ? station.ip : station.texts.front(),
                             .ip = station.ip,
                             .source = std::string(netcore::MANet::text(station.version)),
                             .version = joined(station.versions, ", ")});
    return found;
}

Versions versions(const NetworkMonitor& monitor) {
    const auto& devices = monitor.config()->devices;
    const auto& readings = *monitor.snmp().readings();
    Versions all;
    for (auto part :
         {nodeVersions(*monitor.lighting().artNodes()), switchVersions(devices, readings), upsVersions(devices, readings),
          serviceVersions(*monitor.bonjour().services()), stationVersions(*monitor.lighting().maStations())})
        std::ranges::move(part, std::back_inserter(all));
    std::ranges::sort(all, {}, [](const VersionInfo& info) { return std::tie(info.device, info.source, info.ip, info.version); });
    return all;
}

}  // namespace kestrelyne
