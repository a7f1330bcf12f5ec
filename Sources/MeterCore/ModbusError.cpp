#include "MeterCore/ModbusError.hpp"

namespace metercore {

namespace {

std::string describe(ModbusError::Case kind, std::uint8_t code, const std::string& message) {
    switch (kind) {
        case ModbusError::Case::resolve: return "Host „" + message + "“ konnte nicht aufgelöst werden";
        case ModbusError::Case::connect: return "Verbindung fehlgeschlagen: " + message;
        case ModbusError::Case::exception: return "Modbus-Exception " + std::to_string(code) + ": " + exceptionText(code);
        case ModbusError::Case::invalidResponse: return "Ungültige Antwort: " + message;
        case ModbusError::Case::timeout: return "Zeitüberschreitung – Gerät antwortet nicht";
        case ModbusError::Case::closed: return "Verbindung wurde vom Gerät geschlossen";
    }
    return message;
}

}  // namespace

const char* exceptionText(std::uint8_t code) {
    switch (code) {
        case 1: return "Funktion nicht unterstützt";
        case 2: return "Ungültige Registeradresse";
        case 3: return "Ungültiger Datenwert";
        case 4: return "Gerätefehler";
        case 6: return "Gerät beschäftigt";
        case 10: return "Gateway-Pfad nicht verfügbar";
        case 11: return "Gateway-Zielgerät antwortet nicht";
        default: return "Unbekannt";
    }
}

ModbusError::ModbusError(Case kind, std::uint8_t code, std::string message)
    : std::runtime_error(describe(kind, code, message)), kind_(kind), code_(code), message_(std::move(message)) {}

ModbusError ModbusError::resolve(std::string host) { return {Case::resolve, 0, std::move(host)}; }
ModbusError ModbusError::connect(std::string message) { return {Case::connect, 0, std::move(message)}; }
ModbusError ModbusError::exception(std::uint8_t code) { return {Case::exception, code, {}}; }
ModbusError ModbusError::invalidResponse(std::string message) { return {Case::invalidResponse, 0, std::move(message)}; }
ModbusError ModbusError::timeout() { return {Case::timeout, 0, {}}; }
ModbusError ModbusError::closed() { return {Case::closed, 0, {}}; }

}  // namespace metercore
