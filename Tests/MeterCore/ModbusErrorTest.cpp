#include "MeterCore/ModbusError.hpp"

#include <gtest/gtest.h>

#include "MeterCore/UnavailableTransport.hpp"

namespace metercore {

TEST(ModbusError, SaysWhatUsersRead) {
    struct Row {
        ModbusError error;
        const char* expected;
    };
    for (const auto& [error, expected] :
         std::initializer_list<Row>{{ModbusError::resolve("umg"), "Host „umg“ konnte nicht aufgelöst werden"},
                                    {ModbusError::connect("Connection refused"), "Verbindung fehlgeschlagen: Connection refused"},
                                    {ModbusError::invalidResponse("Länge 261"), "Ungültige Antwort: Länge 261"},
                                    {ModbusError::timeout(), "Zeitüberschreitung – Gerät antwortet nicht"},
                                    {ModbusError::closed(), "Verbindung wurde vom Gerät geschlossen"},
                                    {ModbusError::exception(0), "Modbus-Exception 0: Unbekannt"},
                                    {ModbusError::exception(1), "Modbus-Exception 1: Funktion nicht unterstützt"},
                                    {ModbusError::exception(2), "Modbus-Exception 2: Ungültige Registeradresse"},
                                    {ModbusError::exception(3), "Modbus-Exception 3: Ungültiger Datenwert"},
                                    {ModbusError::exception(4), "Modbus-Exception 4: Gerätefehler"},
                                    {ModbusError::exception(5), "Modbus-Exception 5: Unbekannt"},
                                    {ModbusError::exception(6), "Modbus-Exception 6: Gerät beschäftigt"},
                                    {ModbusError::exception(10), "Modbus-Exception 10: Gateway-Pfad nicht verfügbar"},
                                    {ModbusError::exception(11), "Modbus-Exception 11: Gateway-Zielgerät antwortet nicht"},
                                    {ModbusError::exception(255), "Modbus-Exception 255: Unbekannt"}}) {
        EXPECT_EQ(error.description(), expected);
        EXPECT_STREQ(error.what(), expected);
    }
}

TEST(ModbusError, AnExceptionKeepsItsCodeApart) {
    const auto error = ModbusError::exception(2);
    EXPECT_TRUE(error.isException());
    EXPECT_EQ(error.code(), 2);
    EXPECT_FALSE(ModbusError::invalidResponse("Modbus-Exception 2").isException());
}

TEST(UnavailableTransport, FailsEachCallWithItsReason) {
    UnavailableTransport transport(UnavailableTransport::serialReason);
    const auto expected = ModbusError::connect("serielle Zähler (RS485) werden noch nicht unterstützt");
    try {
        transport.readRegisters(3, 19000, 122);
        FAIL() << "a read went through";
    } catch (const ModbusError& error) {
        EXPECT_EQ(error, expected);
    }
    EXPECT_THROW(transport.writeSingleRegister(506, 1), ModbusError);
    transport.close();
}

}  // namespace metercore
