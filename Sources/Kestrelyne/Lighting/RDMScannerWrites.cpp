// How the scanner changes devices.

#include <fmt/format.h>

#include <algorithm>

#include "Kestrelyne/Lighting/RDMReading.hpp"
#include "Kestrelyne/Lighting/RDMScanner.hpp"

namespace kestrelyne {

namespace RDM = netcore::RDM;
using RDM::PID;

namespace {

constexpr const char* locked = "Schreiben ist gesperrt";
constexpr const char* unknownDevice = "Gerät nicht gefunden";
// ANSI E1.20, 10.5.2
constexpr std::size_t mostLabelBytes = 32;
// ANSI E1.20, 10.11.2
constexpr std::uint8_t warmReset = 0x01, coldReset = 0xFF;

std::uint8_t byteOf(int value) { return static_cast<std::uint8_t>(std::clamp(value, 0, 0xFF)); }

// At the end of a character. The text is valid UTF-8.
std::string cutToBytes(std::string text, std::size_t most) {
    if (text.size() <= most) return text;
    while (most > 0 && (static_cast<unsigned char>(text[most]) & 0xC0) == 0x80) --most;
    text.resize(most);
    return text;
}

RDMScanner::Failure failureOf(const std::optional<RDM::Response>& response, PID pid) {
    if (!response) return "keine Antwort";
    if (response->responseType == RDM::nack) return response->nackReason();
    if (response->responseType == RDM::ack && response->pid == static_cast<std::uint16_t>(pid)) return std::nullopt;
    return "unerwartete Antwort";
}

}  // namespace

RDMScanner::Failure RDMScanner::refuse(const char* text) {
    lastWriteResult_.set(text);
    return text;
}

base::Co<RDMScanner::Failure> RDMScanner::set(PID pid, RDM::UID uid, std::vector<std::uint8_t> data, std::string describe,
                                              bool remote) {
    if (!*writeEnabled_) co_return refuse(locked);
    const auto* written = device(uid);
    if (written == nullptr) co_return refuse(unknownDevice);
    const auto response = co_await exchange(pid, placeOf(*written), true, std::move(data));
    const auto failure = failureOf(response, pid);
    auto line = "RDM " + describe;
    if (failure) line += fmt::format("{} fehlgeschlagen – {}", remote ? " [Web-App]" : "", *failure);
    lastWriteResult_.set(line);
    link_.log(failure ? NetEvent::Level::warning : NetEvent::Level::info, std::move(line));
    if (!failure) {
        ++writes_;
        co_await reread(uid);
    }
    co_return failure;
}

base::Co<RDMScanner::Failure> RDMScanner::identify(RDM::UID uid, bool on, bool remote) {
    return set(PID::identify, uid, {static_cast<std::uint8_t>(on)}, on ? "Identify an" : "Identify aus", remote);
}

base::Co<RDMScanner::Failure> RDMScanner::setAddress(RDM::UID uid, int address, bool remote) {
    // The device decides what it can take.
    const auto sent = std::clamp(address, 0, 0xFFFF);
    return set(PID::startAddress, uid, {static_cast<std::uint8_t>(sent >> 8), static_cast<std::uint8_t>(sent)},
               fmt::format("DMX-Adresse {}", address), remote);
}

base::Co<RDMScanner::Failure> RDMScanner::setPersonality(RDM::UID uid, int personality, bool remote) {
    return set(PID::personality, uid, {byteOf(personality)}, fmt::format("Modus {}", personality), remote);
}

base::Co<RDMScanner::Failure> RDMScanner::setLabel(RDM::UID uid, std::string label) {
    label = cutToBytes(std::move(label), mostLabelBytes);
    return set(PID::deviceLabel, uid, {label.begin(), label.end()}, fmt::format("Gerätename → „{}“", label), false);
}

base::Co<RDMScanner::Failure> RDMScanner::setLamp(RDM::UID uid, int state) {
    return set(PID::lampState, uid, {byteOf(state)}, fmt::format("Lampe {}", state), false);
}

base::Co<RDMScanner::Failure> RDMScanner::reset(RDM::UID uid, bool cold, bool remote) {
    return set(PID::resetDevice, uid, {cold ? coldReset : warmReset}, cold ? "Kaltstart (Neustart)" : "Warmstart", remote);
}

base::Co<std::vector<std::string>> RDMScanner::addressSequential(std::vector<RDM::UID> uids, int start, int gap) {
    std::vector<std::string> report;
    const auto plan = sequentialPlan(uids, start, gap);
    for (const auto& placing : plan) {
        if (!placing.fits()) {
            report.push_back(placing.name + ": passt nicht mehr ins Universum");
            continue;
        }
        const auto failure = co_await setAddress(placing.uid, placing.first, false);
        if (failure) report.push_back(placing.name + ": " + *failure);
    }
    co_return report;
}

}  // namespace kestrelyne
