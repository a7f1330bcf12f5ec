#include "NetCore/UPowerBus.hpp"

#include <systemd/sd-bus.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <string_view>

#include "NetCore/Deadline.hpp"

namespace netcore {

namespace {

constexpr const char* service = "org.freedesktop.UPower";
constexpr const char* servicePath = "/org/freedesktop/UPower";
constexpr const char* deviceInterface = "org.freedesktop.UPower.Device";
constexpr const char* propertiesInterface = "org.freedesktop.DBus.Properties";

struct MessageEnd {
    void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using Message = std::unique_ptr<sd_bus_message, MessageEnd>;

std::uint64_t microseconds(const Deadline& deadline) {
    return static_cast<std::uint64_t>(std::chrono::microseconds(std::chrono::milliseconds(deadline.milliseconds())).count());
}

// The greeting of the bus, which sd-bus alone would wait for without our limit.
bool becomesReady(sd_bus* bus, const Deadline& deadline) {
    for (;;) {
        const int ready = sd_bus_is_ready(bus);
        if (ready != 0) return ready > 0;
        const int done = sd_bus_process(bus, nullptr);
        if (done < 0 || deadline.passed()) return false;
        if (done == 0 && sd_bus_wait(bus, microseconds(deadline)) < 0) return false;
    }
}

// What a call gave: an answer, a refusal (an object that has just vanished), or a connection that is of no more use.
struct Reply {
    Message message;
    bool usable = false;
};

Reply ask(sd_bus* bus, const char* path, const char* interface, const char* method, const char* argument,
          const Deadline& deadline) {
    sd_bus_message* made = nullptr;
    if (sd_bus_message_new_method_call(bus, &made, service, path, interface, method) < 0) return {};
    const Message call(made);
    if (argument != nullptr && sd_bus_message_append_basic(call.get(), 's', argument) < 0) return {};
    // No time at all would mean the default of half a minute.
    const auto time = microseconds(deadline);
    if (time == 0) return {};
    sd_bus_message* answered = nullptr;
    const int result = sd_bus_call(bus, call.get(), time, nullptr, &answered);
    Message answer(answered);
    return {std::move(answer), result >= 0 || (result != -ETIMEDOUT && sd_bus_is_open(bus) > 0)};
}

// Reads a variant of this type into the target; leaves one of another type to the caller.
template <class T>
bool readVariant(sd_bus_message* message, char type, T& target) {
    const char contents[] = {type, 0};
    if (sd_bus_message_enter_container(message, 'v', contents) <= 0) return false;
    T value{};
    if (sd_bus_message_read_basic(message, type, &value) > 0) target = value;
    return sd_bus_message_exit_container(message) >= 0;
}

bool readProperty(sd_bus_message* message, std::string_view name, std::string_view contents, UPowerDevice& device) {
    if (contents == "s" && (name == "Vendor" || name == "Model")) {
        const char* text = nullptr;
        if (!readVariant(message, 's', text) || text == nullptr) return false;
        (name == "Vendor" ? device.vendor : device.model) = text;
        return true;
    }
    if (contents == "u" && name == "Type") return readVariant(message, 'u', device.type);
    if (contents == "u" && name == "State") return readVariant(message, 'u', device.state);
    if (contents == "u" && name == "WarningLevel") return readVariant(message, 'u', device.warningLevel);
    if (contents == "x" && name == "TimeToEmpty") return readVariant(message, 'x', device.timeToEmpty);
    if (contents == "d" && name == "Voltage") return readVariant(message, 'd', device.voltage);
    if (contents == "d" && name == "Percentage") {
        double value = 0;
        if (!readVariant(message, 'd', value)) return false;
        device.percentage = value;
        return true;
    }
    return sd_bus_message_skip(message, "v") >= 0;
}

std::vector<std::string> pathsIn(sd_bus_message* message) {
    std::vector<std::string> paths;
    if (sd_bus_message_enter_container(message, 'a', "o") <= 0) return paths;
    const char* path = nullptr;
    while (paths.size() < UPowerBus::mostDevices && sd_bus_message_read_basic(message, 'o', &path) > 0) paths.emplace_back(path);
    return paths;
}

// A dictionary from names to variants.
UPowerDevice deviceIn(sd_bus_message* message, std::string path) {
    UPowerDevice device;
    device.path = std::move(path);
    if (sd_bus_message_enter_container(message, 'a', "{sv}") <= 0) return device;
    while (sd_bus_message_enter_container(message, 'e', "sv") > 0) {
        const char *name = nullptr, *contents = nullptr;
        if (sd_bus_message_read_basic(message, 's', &name) <= 0 || sd_bus_message_peek_type(message, nullptr, &contents) <= 0 ||
            contents == nullptr || !readProperty(message, name, contents, device) || sd_bus_message_exit_container(message) < 0)
            break;
    }
    return device;
}

sd_bus* opened(const std::string& address) {
    sd_bus* bus = nullptr;
    if (address.empty()) return sd_bus_open_system(&bus) >= 0 ? bus : nullptr;
    if (sd_bus_new(&bus) < 0) return nullptr;
    if (sd_bus_set_address(bus, address.c_str()) >= 0 && sd_bus_set_bus_client(bus, 1) >= 0 && sd_bus_start(bus) >= 0) return bus;
    sd_bus_unref(bus);
    return nullptr;
}

std::optional<std::vector<UPowerDevice>> devicesOf(sd_bus* bus, const Deadline& deadline) {
    if (!becomesReady(bus, deadline)) return std::nullopt;
    // What the bus has told meanwhile, of no interest here.
    while (sd_bus_process(bus, nullptr) > 0 && !deadline.passed()) {}
    const auto list = ask(bus, servicePath, service, "EnumerateDevices", nullptr, deadline);
    if (!list.message) return std::nullopt;
    std::vector<UPowerDevice> devices;
    for (auto& path : pathsIn(list.message.get())) {
        const auto properties = ask(bus, path.c_str(), propertiesInterface, "GetAll", deviceInterface, deadline);
        if (!properties.usable) return std::nullopt;
        if (properties.message) devices.push_back(deviceIn(properties.message.get(), std::move(path)));
    }
    return devices;
}

}  // namespace

void UPowerBus::Closer::operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }

std::optional<std::vector<UPowerDevice>> UPowerBus::devices(base::Seconds limit) {
    const Deadline deadline(limit);
    if (!bus_) bus_.reset(opened(address_));
    if (!bus_) return std::nullopt;
    auto devices = devicesOf(bus_.get(), deadline);
    if (!devices) bus_.reset();
    return devices;
}

}  // namespace netcore
