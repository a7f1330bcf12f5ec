#pragma once
// Frames of Modbus TCP with what they say, used in both directions: bytes to values and values to bytes. The bodies of those marked
// with a section are the examples of the Modbus Application Protocol V1.1b3.

#include <cstdint>
#include <vector>

#include "MeterCore/ModbusFrame.hpp"

namespace metercore::vectors {

struct RequestVector {
    const char* name;
    ModbusFrame::Header header;
    std::uint8_t function;
    std::uint16_t address;
    std::uint16_t value;  // count of a read, value of a write
    std::vector<std::uint8_t> bytes;
};

inline const std::vector<RequestVector> requests = {
    {"holding registers 107 to 109 (6.3)",
     {.transactionID = 1, .protocolID = 0, .length = 6, .unitID = 1},
     3,
     0x006B,
     3,
     {0x00, 0x01, 0x00, 0x00, 0x00, 0x06, 0x01, 0x03, 0x00, 0x6B, 0x00, 0x03}},
    {"input register 8 (6.4)",
     {.transactionID = 0x1234, .protocolID = 0, .length = 6, .unitID = 17},
     4,
     0x0008,
     1,
     {0x12, 0x34, 0x00, 0x00, 0x00, 0x06, 0x11, 0x04, 0x00, 0x08, 0x00, 0x01}},
    {"the main block of a meter",
     {.transactionID = 0xFFFF, .protocolID = 0, .length = 6, .unitID = 255},
     3,
     19000,
     122,
     {0xFF, 0xFF, 0x00, 0x00, 0x00, 0x06, 0xFF, 0x03, 0x4A, 0x38, 0x00, 0x7A}},
    {"the most registers of one read",
     {.transactionID = 0, .protocolID = 0, .length = 6, .unitID = 0},
     3,
     0xFF83,
     125,
     {0x00, 0x00, 0x00, 0x00, 0x00, 0x06, 0x00, 0x03, 0xFF, 0x83, 0x00, 0x7D}},
    {"write register 1 (6.6)",
     {.transactionID = 2, .protocolID = 0, .length = 6, .unitID = 1},
     6,
     0x0001,
     0x0003,
     {0x00, 0x02, 0x00, 0x00, 0x00, 0x06, 0x01, 0x06, 0x00, 0x01, 0x00, 0x03}},
};

struct ReadAnswerVector {
    const char* name;
    ModbusFrame::Header header;
    std::uint8_t function;
    std::vector<std::uint16_t> registers;
    std::vector<std::uint8_t> bytes;
};

inline const std::vector<ReadAnswerVector> readAnswers = {
    {"holding registers 107 to 109 (6.3)",
     {.transactionID = 1, .protocolID = 0, .length = 9, .unitID = 1},
     3,
     {0x022B, 0x0000, 0x0064},
     {0x00, 0x01, 0x00, 0x00, 0x00, 0x09, 0x01, 0x03, 0x06, 0x02, 0x2B, 0x00, 0x00, 0x00, 0x64}},
    {"input register 8 (6.4)",
     {.transactionID = 0x1234, .protocolID = 0, .length = 5, .unitID = 17},
     4,
     {0x000A},
     {0x12, 0x34, 0x00, 0x00, 0x00, 0x05, 0x11, 0x04, 0x02, 0x00, 0x0A}},
    {"50 Hz as a meter's float",
     {.transactionID = 7, .protocolID = 0, .length = 7, .unitID = 1},
     3,
     {0x4248, 0x0000},
     {0x00, 0x07, 0x00, 0x00, 0x00, 0x07, 0x01, 0x03, 0x04, 0x42, 0x48, 0x00, 0x00}},
};

struct ExceptionVector {
    const char* name;
    ModbusFrame::Header header;
    std::uint8_t function;
    std::uint8_t code;
    std::vector<std::uint8_t> bytes;
};

inline const std::vector<ExceptionVector> exceptions = {
    {"a register that the meter lacks",
     {.transactionID = 3, .protocolID = 0, .length = 3, .unitID = 1},
     3,
     2,
     {0x00, 0x03, 0x00, 0x00, 0x00, 0x03, 0x01, 0x83, 0x02}},
    {"a gateway whose meter is silent",
     {.transactionID = 4, .protocolID = 0, .length = 3, .unitID = 9},
     4,
     11,
     {0x00, 0x04, 0x00, 0x00, 0x00, 0x03, 0x09, 0x84, 0x0B}},
};

/// The answer to a write repeats the request (6.6).
inline const RequestVector& writeRequest = requests.back();

}  // namespace metercore::vectors
