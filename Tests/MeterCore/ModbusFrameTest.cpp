#include "MeterCore/ModbusFrame.hpp"

#include <gtest/gtest.h>

#include "MeterCore/ModbusVectors.hpp"

namespace metercore {

namespace {

using Bytes = std::vector<std::uint8_t>;
using Registers = std::vector<std::uint16_t>;

base::Bytes body(const Bytes& frame) { return base::Bytes(frame).subspan(ModbusFrame::headerSize); }

std::string readFailure(const Bytes& answer, std::uint8_t function, std::uint16_t count) {
    const auto result = ModbusFrame::parseReadAnswer(answer, function, count);
    const auto* error = std::get_if<ModbusError>(&result);
    return error == nullptr ? "" : error->description();
}

}  // namespace

TEST(ModbusFrame, RequestsToBytesAndBack) {
    for (const auto& vector : vectors::requests) {
        SCOPED_TRACE(vector.name);
        const auto encoded = ModbusFrame::encodeRequest(vector.header.transactionID, vector.header.unitID, vector.function,
                                                        vector.address, vector.value);
        EXPECT_EQ(Bytes(encoded.begin(), encoded.end()), vector.bytes);

        EXPECT_EQ(ModbusFrame::parseHeader(vector.bytes), vector.header);
        const auto request = ModbusFrame::parseRequest(body(vector.bytes));
        if (vector.function == ModbusFrame::writeSingleRegister)
            EXPECT_EQ(request, ModbusFrame::Request(ModbusFrame::WriteRequest{vector.address, vector.value}));
        else
            EXPECT_EQ(request, ModbusFrame::Request(ModbusFrame::ReadRequest{vector.function, vector.address, vector.value}));
    }
}

TEST(ModbusFrame, ReadAnswersToBytesAndBack) {
    for (const auto& vector : vectors::readAnswers) {
        SCOPED_TRACE(vector.name);
        EXPECT_EQ(ModbusFrame::encodeReadAnswer(vector.header, vector.function, vector.registers), vector.bytes);

        EXPECT_EQ(ModbusFrame::parseHeader(vector.bytes), vector.header);
        EXPECT_EQ(ModbusFrame::frameSize(vector.header), vector.bytes.size());
        const auto answer =
            ModbusFrame::parseReadAnswer(body(vector.bytes), vector.function, static_cast<std::uint16_t>(vector.registers.size()));
        ASSERT_TRUE(std::holds_alternative<Registers>(answer));
        EXPECT_EQ(std::get<Registers>(answer), vector.registers);
    }
}

TEST(ModbusFrame, ExceptionsToBytesAndBack) {
    for (const auto& vector : vectors::exceptions) {
        SCOPED_TRACE(vector.name);
        EXPECT_EQ(ModbusFrame::encodeException(vector.header, vector.function, vector.code), vector.bytes);

        EXPECT_EQ(ModbusFrame::parseHeader(vector.bytes), vector.header);
        const auto answer = ModbusFrame::parseReadAnswer(body(vector.bytes), vector.function, 1);
        ASSERT_TRUE(std::holds_alternative<ModbusError>(answer));
        EXPECT_EQ(std::get<ModbusError>(answer), ModbusError::exception(vector.code));
    }
}

TEST(ModbusFrame, AWriteIsConfirmedByItsOwnRequest) {
    const auto& vector = vectors::writeRequest;
    EXPECT_EQ(ModbusFrame::encodeWriteAnswer(vector.header, vector.address, vector.value), vector.bytes);
    EXPECT_EQ(ModbusFrame::checkWriteAnswer(body(vector.bytes), vector.address, vector.value), std::nullopt);
}

TEST(ModbusFrame, AWriteAnswerThatDiffersIsNoConfirmation) {
    const auto text = [](const Bytes& answer) {
        const auto error = ModbusFrame::checkWriteAnswer(answer, 506, 1);
        return error ? error->description() : "";
    };
    const char* refused = "Ungültige Antwort: Ungültige Bestätigung beim Schreiben";
    EXPECT_EQ(text({6, 0x01, 0xFA, 0x00, 0x01}), "");
    EXPECT_EQ(text({6, 0x01, 0xFA, 0x00, 0x01, 0xFF}), "") << "at least five bytes";
    EXPECT_EQ(text({6, 0x01, 0xFA, 0x00, 0x02}), refused) << "another value";
    EXPECT_EQ(text({6, 0x01, 0xFB, 0x00, 0x01}), refused) << "another address";
    EXPECT_EQ(text({6, 0x01, 0xFA, 0x00}), refused) << "four bytes";
    EXPECT_EQ(text({6}), refused);
    EXPECT_EQ(text({0x86, 6}), "Modbus-Exception 6: Gerät beschäftigt");
    EXPECT_EQ(text({3, 0x01, 0xFA, 0x00, 0x01}), "Ungültige Antwort: Funktionscode 3");
}

TEST(ModbusFrame, AReadAnswerMustHoldWhatWasAsked) {
    struct Row {
        const char* why;
        Bytes answer;
        std::uint8_t function;
        std::uint16_t count;
        const char* expected;
    };
    for (const auto& row : std::initializer_list<Row>{
             {"one byte with bit 7", {0x83}, 3, 1, "Modbus-Exception 0: Unbekannt"},
             {"exception of another function", {0x84, 2}, 3, 1, "Ungültige Antwort: Funktionscode 132"},
             {"another function", {4, 2, 0, 0}, 3, 1, "Ungültige Antwort: Funktionscode 4"},
             {"too few registers", {3, 2, 0, 0}, 3, 2, "Ungültige Antwort: Byteanzahl 2, erwartet 4"},
             {"too many registers", {3, 4, 0, 0, 0, 0}, 3, 1, "Ungültige Antwort: Byteanzahl 4, erwartet 2"},
             // Odd as it reads: the count is right, the bytes are not all there.
             {"body shorter than its count", {3, 4, 0, 0, 0}, 3, 2, "Ungültige Antwort: Byteanzahl 4, erwartet 4"},
             {"no byte count", {3}, 3, 1, "Ungültige Antwort: Byteanzahl 0, erwartet 2"},
             {"bytes behind the registers", {3, 2, 0, 7, 9}, 3, 1, ""},
         })
        EXPECT_EQ(readFailure(row.answer, row.function, row.count), row.expected) << row.why;
}

TEST(ModbusFrame, A122RegisterAnswerHas244Bytes) {
    const auto frame =
        ModbusFrame::encodeReadAnswer({.transactionID = 1, .protocolID = 0, .length = 6, .unitID = 1}, 3, Registers(122, 0x0102));
    EXPECT_EQ(frame.size(), 7u + 2 + 244);
    EXPECT_EQ(frame[8], 244);
    EXPECT_EQ(readFailure(Bytes(body(frame).begin(), body(frame).end()), 3, 122), "");
}

TEST(ModbusFrame, SendsAtMost127Registers) {
    const auto frame = ModbusFrame::encodeReadAnswer({}, 4, Registers(200, 1));
    EXPECT_EQ(frame[8], 254);
    EXPECT_EQ(frame.size(), 7u + 2 + 254);
}

TEST(ModbusFrame, AHeaderNeedsSevenBytes) {
    const auto& bytes = vectors::requests.front().bytes;
    EXPECT_EQ(ModbusFrame::parseHeader(base::Bytes(bytes).first(6)), std::nullopt);
    EXPECT_NE(ModbusFrame::parseHeader(base::Bytes(bytes).first(7)), std::nullopt);
}

TEST(ModbusFrame, LengthsFrom2To260AreValid) {
    const auto valid = [](std::uint16_t length) {
        return ModbusFrame::lengthIsValid({.transactionID = 0, .protocolID = 0, .length = length, .unitID = 0});
    };
    EXPECT_FALSE(valid(0));
    EXPECT_FALSE(valid(1));
    EXPECT_TRUE(valid(2));
    EXPECT_TRUE(valid(260));
    EXPECT_FALSE(valid(261));
    EXPECT_FALSE(valid(0xFFFF));
}

TEST(ModbusFrame, RefusesRequestsItDoesNotKnow) {
    using ModbusFrame::Refusal;
    struct Row {
        const char* why;
        Bytes request;
        Refusal expected;
    };
    for (const auto& row : std::initializer_list<Row>{
             {"write several", {16, 0, 0, 0, 1, 2, 0, 0}, {16, 1}},
             {"coils", {1, 0, 0, 0, 1}, {1, 1}},
             {"nothing", {}, {0, 1}},
             {"count 0", {3, 0, 0, 0, 0}, {3, 2}},
             {"count 126", {4, 0, 0, 0, 126}, {4, 2}},
             {"count 65535", {3, 0, 0, 0xFF, 0xFF}, {3, 2}},
             {"short read", {3, 0, 0, 0}, {3, 3}},
             {"short write", {6, 0, 0}, {6, 3}},
         })
        EXPECT_EQ(ModbusFrame::parseRequest(row.request), ModbusFrame::Request(row.expected)) << row.why;
    EXPECT_EQ(ModbusFrame::parseRequest(Bytes{3, 0, 0, 0, 125}), ModbusFrame::Request(ModbusFrame::ReadRequest{3, 0, 125}));
}

}  // namespace metercore
