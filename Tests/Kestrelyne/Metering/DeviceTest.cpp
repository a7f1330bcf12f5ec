#include "Kestrelyne/Metering/Device.hpp"

#include <gtest/gtest.h>

#include "Base/JSONFields.hpp"
#include "MeterCore/ModbusError.hpp"
#include "MeterCore/ModbusTCPClient.hpp"

using namespace kestrelyne;

namespace {

Device withKind(ConnectionKind kind) {
    Device device;
    device.kind = kind;
    return device;
}

}  // namespace

TEST(Device, TellsHowItIsReached) {
    auto device = withKind(ConnectionKind::tcp);
    EXPECT_EQ(device.connectionSummary(), "192.168.1.100:502 · Adr. 1");
    device.kind = ConnectionKind::rtu;
    EXPECT_EQ(device.connectionSummary(), "keine Schnittstelle · 115200 Bd · Adr. 1");
    device.serialPath = "/dev/serial/by-id/usb-RS485";
    device.baudRate = 9600;
    device.unitID = 7;
    EXPECT_EQ(device.connectionSummary(), "usb-RS485 · 9600 Bd · Adr. 7");
    EXPECT_EQ(withKind(ConnectionKind::demo).connectionSummary(), "Simulation");
}

TEST(Device, RoundTripsWithAllItsFields) {
    Device device;
    device.name = "Aggregat \"Nord\"";
    device.kind = ConnectionKind::rtu;
    device.serialPath = "/dev/ttyUSB0";
    device.baudRate = 19200;
    device.parity = metercore::SerialParity::even;
    device.stopBits = 1;
    device.unitID = 17;
    device.pollInterval = 0.25;
    device.timeout = 3;
    device.autoConnect = true;
    device.profileID = "eastron-sdm630";
    device.interfaceName = "eth1";
    EXPECT_EQ(decodeDevices(encodeDevices({device})), std::vector{device});
}

TEST(Device, MissingKeysTakeTheDefaults) {
    const auto devices = decodeDevices(R"([{"id":"E621E1F8-C36C-495A-93FC-0C247A3E6E5F","name":"Alt","kind":"Demo-Gerät"}])");
    ASSERT_EQ(devices.size(), 1u);
    Device expected;
    expected.id = *base::UUID::parse("E621E1F8-C36C-495A-93FC-0C247A3E6E5F");
    expected.name = "Alt";
    expected.kind = ConnectionKind::demo;
    EXPECT_EQ(devices[0], expected);
    EXPECT_EQ(devices[0].profileID, "janitza-umg");
    EXPECT_EQ(devices[0].interfaceName, "");
}

TEST(Device, StoresItsEnumerationsByTheirTexts) {
    const auto json = base::parseJSON(encodeDevices({withKind(ConnectionKind::demo)}));
    EXPECT_EQ(json[0]["kind"], "Demo-Gerät");
    EXPECT_EQ(json[0]["parity"], "Keine");
    EXPECT_EQ(json[0].size(), 15u);
}

TEST(Device, WhatDoesNotFitRefusesTheWholeList) {
    for (const char* bytes : {"", "{", "{}", "[1]", R"([{"kind":"Modem"}])", R"([{"parity":"Sometimes"}])", R"([{"port":"502"}])",
                              R"([{"port":5.5}])", R"([{"id":"no uuid"}])", R"([{"unitID":99999999999}])", R"([{}, {"name":7}])"})
        EXPECT_THROW(decodeDevices(bytes), base::DecodeError) << bytes;
}

TEST(Device, PortAndUnitAreClampedForTheTransport) {
    struct Row {
        int port, unit, expectedPort, expectedUnit;
    };
    for (const auto& row : {Row{70000, 300, 65535, 255}, Row{-5, -1, 0, 0}, Row{1502, 3, 1502, 3}}) {
        Device device;
        device.port = row.port;
        device.unitID = row.unit;
        const auto client = std::dynamic_pointer_cast<metercore::ModbusTCPClient>(device.makeTransport());
        ASSERT_NE(client, nullptr);
        EXPECT_EQ(client->port(), row.expectedPort);
        EXPECT_EQ(client->unitID(), row.expectedUnit);
    }
}

TEST(Device, ATimeLimitThatIsNoneBecomesTheDefault) {
    Device device;
    device.timeout = -1;
    EXPECT_EQ(std::dynamic_pointer_cast<metercore::ModbusTCPClient>(device.makeTransport())->timeout().count(), 1.5);
}

TEST(Device, EachTransportIsAFreshOne) {
    const Device device;
    EXPECT_NE(device.makeTransport(), device.makeTransport());
}

TEST(Device, ASerialMeterFailsWithAClearText) {
    const auto transport = withKind(ConnectionKind::rtu).makeTransport();
    try {
        transport->readRegisters(3, 19000, 2);
        FAIL();
    } catch (const metercore::ModbusError& error) {
        EXPECT_NE(error.description().find("serielle Zähler (RS485) werden noch nicht unterstützt"), std::string::npos);
    }
}
