#include "NetCore/RDM.hpp"

#include <array>
#include <cstring>
#include <numeric>

#include "Base/Require.hpp"
#include "Base/UUID.hpp"
#include "NetCore/WireFields.hpp"

namespace netcore::RDM {

namespace {

using wire::big16;
using wire::big32;

constexpr std::uint8_t startCode = 0xCC, subStartCode = 0x01, portID = 0x01;
constexpr std::uint8_t getCommand = 0x20, getResponse = 0x21, setCommand = 0x30, setResponse = 0x31;

// Offsets without the start code. The length field counts it, but not the checksum.
constexpr std::size_t lengthAt = 1, sourceAt = 8, transactionAt = 14, responseTypeAt = 15, classAt = 19, pidAt = 20,
                      dataLengthAt = 22, dataAt = 23;
constexpr std::uint16_t prototypes = 0x7FF0;
constexpr std::uint32_t lastDevice = 0xFFFFFFF0;

constexpr std::array<const char*, 11> nackReasons{"Parameter wird nicht unterstützt",
                                                  "Formatfehler",
                                                  "Hardwarefehler",
                                                  "Proxy abgelehnt",
                                                  "schreibgeschützt",
                                                  "Befehl wird nicht unterstützt",
                                                  "Wert außerhalb des gültigen Bereichs",
                                                  "Puffer voll",
                                                  "Paketgröße nicht unterstützt",
                                                  "Sub-Device außerhalb des Bereichs",
                                                  "Proxy-Puffer voll"};

std::uint16_t checksum(base::Bytes frame) {
    return static_cast<std::uint16_t>(std::accumulate(frame.begin(), frame.end(), std::uint32_t{startCode}));
}

void append16(std::vector<std::uint8_t>& frame, std::uint32_t value) {
    frame.push_back(static_cast<std::uint8_t>(value >> 8));
    frame.push_back(static_cast<std::uint8_t>(value));
}

void append(std::vector<std::uint8_t>& frame, const UID& uid) {
    append16(frame, uid.manufacturer);
    append16(frame, uid.device >> 16);
    append16(frame, uid.device);
}

std::vector<std::uint8_t> command(std::uint8_t commandClass, PID pid, const UID& to, std::uint8_t transaction, base::Bytes data) {
    KESTRELYNE_REQUIRE(data.size() <= mostData, "more than a frame can carry");
    std::vector<std::uint8_t> frame;
    frame.reserve(dataAt + data.size() + 2);
    frame.push_back(subStartCode);
    frame.push_back(static_cast<std::uint8_t>(dataAt + data.size() + 1));
    append(frame, to);
    append(frame, controller());
    // No message of others waits, and the root device is meant.
    frame.insert(frame.end(), {transaction, portID, 0, 0, 0, commandClass});
    append16(frame, static_cast<std::uint16_t>(pid));
    frame.push_back(static_cast<std::uint8_t>(data.size()));
    frame.insert(frame.end(), data.begin(), data.end());
    append16(frame, checksum(frame));
    return frame;
}

}  // namespace

const UID& controller() {
    static const UID own = [] {
        std::uint32_t device = 0;
        while (device == 0 || device > lastDevice) {
            const auto bytes = base::randomBytes(sizeof device);
            std::memcpy(&device, bytes.data(), sizeof device);
        }
        return UID{.manufacturer = prototypes, .device = device};
    }();
    return own;
}

std::vector<std::uint8_t> get(PID pid, const UID& to, std::uint8_t transaction, base::Bytes data) {
    return command(getCommand, pid, to, transaction, data);
}

std::vector<std::uint8_t> set(PID pid, const UID& to, std::uint8_t transaction, base::Bytes data) {
    return command(setCommand, pid, to, transaction, data);
}

std::optional<Response> parse(base::Bytes frame) {
    if (frame.size() < dataAt || frame[0] != subStartCode) return std::nullopt;
    const std::size_t length = frame[lengthAt], dataLength = frame[dataLengthAt];
    if (length < dataAt + 1 || frame.size() < length - 1 || dataAt + dataLength >= length) return std::nullopt;
    const auto commandClass = frame[classAt];
    if (commandClass != getResponse && commandClass != setResponse) return std::nullopt;
    // Some nodes hand frames on without their checksum.
    if (frame.size() > length && checksum(frame.first(length - 1)) != big16(frame, length - 1)) return std::nullopt;
    const auto data = frame.subspan(dataAt, dataLength);
    return Response{.source = {.manufacturer = big16(frame, sourceAt), .device = big32(frame, sourceAt + 2)},
                    .transaction = frame[transactionAt],
                    .responseType = frame[responseTypeAt],
                    .pid = big16(frame, pidAt),
                    .data = {data.begin(), data.end()},
                    .isSetResponse = commandClass == setResponse};
}

std::string Response::nackReason() const {
    if (data.size() < 2) return "abgelehnt";
    const auto code = big16(data, 0);
    return code < nackReasons.size() ? nackReasons[code] : "abgelehnt (Code " + std::to_string(code) + ")";
}

}  // namespace netcore::RDM
