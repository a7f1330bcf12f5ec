#pragma once
// Art-Net datagrams with what they say, used in both directions: bytes to values, and values to bytes where we send them.

#include "NetCore/ArtNet.hpp"
#include "NetCore/PacketBytes.hpp"

namespace netcore::vectors {

// "Art-Net", zero, operation code low byte first.
inline Piece artNet(std::uint16_t opCode) {
    return {0, {'A', 'r', 't', '-', 'N', 'e', 't', 0, static_cast<std::uint8_t>(opCode), static_cast<std::uint8_t>(opCode >> 8)}};
}
inline const Piece version14 = {10, {0x00, 0x0E}};

inline const Bytes poll = packetOf(14, {artNet(0x2000), version14, {12, {0x02, 0x00}}});

struct DmxVector {
    const char* name;
    int universe;
    std::uint8_t sequence;
    Bytes data;  // as given to the builder
    Bytes bytes;
};

inline const Bytes rampOf512 = ramp(512, 0);

inline const std::vector<DmxVector> dmx = {
    {"a full universe", 0x1234, 7, rampOf512,
     with(packetOf(530, {artNet(0x5000), version14, {12, {7, 0, 0x34, 0x12, 0x02, 0x00}}}),
          {{18, std::string_view(reinterpret_cast<const char*>(rampOf512.data()), 512)}})},
    {"three slots, the rest zero",
     0,
     0,
     {255, 128, 1},
     packetOf(530, {artNet(0x5000), version14, {12, {0, 0, 0, 0, 0x02, 0x00}}, {18, {255, 128, 1}}})},
    {"the highest Port-Address, more slots than a universe has", 0x7FFF, 255, Bytes(600, 0x11),
     packetOf(530, {artNet(0x5000), version14, {12, {255, 0, 0xFF, 0x7F, 0x02, 0x00}}, {18, 512, 0x11}})},
};

struct PollReplyVector {
    const char* name;
    ArtNet::PollReplyFields fields;
    ArtNet::PollReply reply;
    Bytes bytes;
};

inline const Bytes mac = {0x0A, 0x0B, 0x0C, 0x12, 0x34, 0xFE};
inline const std::vector<int> twoUniverses = {0x1230, 0x123F}, noUniverses;

inline const std::vector<PollReplyVector> pollReplies = {
    {"two outputs",
     {.ip = "10.0.0.255",
      .mac = mac,
      .shortName = "Bühne links",
      .longName = "Dimmer auf der Bühne links",
      .net = 0x12,
      .subNet = 3,
      .universes = twoUniverses,
      .bindIndex = 1},
     {.ip = "10.0.0.255",
      .shortName = "Bühne links",
      .longName = "Dimmer auf der Bühne links",
      .nodeReport = "#0001 [0000] Brantholme ok",
      .firmware = 1,
      .oem = 0x00FF,
      .estaCode = 0x7FF0,
      .mac = "0A:0B:0C:12:34:FE",
      .bindIndex = 1,
      .ports = {{.universe = 0x1230, .isOutput = true, .active = true}, {.universe = 0x123F, .isOutput = true, .active = true}}},
     packetOf(239, {artNet(0x2100),
                    {10, {10, 0, 0, 255, 0x36, 0x19, 0, 1, 0x12, 3, 0x00, 0xFF, 0, 0xD0, 0xF0, 0x7F}},
                    {26, "B\xC3\xBChne links"},
                    {44, "Dimmer auf der B\xC3\xBChne links"},
                    {108, "#0001 [0000] Brantholme ok"},
                    {172, {0, 2, 0x80, 0x80}},
                    {182, {0x80, 0x80}},
                    {190, {0x00, 0x0F}},
                    {200, {6, 0x0A, 0x0B, 0x0C, 0x12, 0x34, 0xFE, 10, 0, 0, 255, 1, 8}}})},
    {"nothing but what is fixed",
     {.ip = "", .mac = {}, .shortName = "", .longName = "", .net = 0, .subNet = 0, .universes = noUniverses, .bindIndex = 0},
     {.ip = "0.0.0.0",
      .shortName = "",
      .longName = "",
      .nodeReport = "#0001 [0000] Brantholme ok",
      .firmware = 1,
      .oem = 0x00FF,
      .estaCode = 0x7FF0,
      .mac = "00:00:00:00:00:00",
      .bindIndex = 0,
      .ports = {}},
     packetOf(239, {artNet(0x2100),
                    {14, {0x36, 0x19, 0, 1, 0, 0, 0x00, 0xFF, 0, 0xD0, 0xF0, 0x7F}},
                    {108, "#0001 [0000] Brantholme ok"},
                    {200, {6}},
                    {212, {8}}})},
};

// A node of four ports, two of which go both ways; as old as the standard allows: without BindIndex.
inline const ArtNet::PollReply nodeReply = {.ip = "2.11.90.1",
                                            .shortName = "Eighteen bytes all",
                                            .longName = "Rigg",
                                            .nodeReport = "#0001 [0042] ok",
                                            .firmware = 0x0203,
                                            .oem = 0x0431,
                                            .estaCode = 0x7A70,
                                            .mac = "00:50:C2:00:01:02",
                                            .bindIndex = 0,
                                            .ports = {{.universe = 0x0421, .isOutput = true, .active = true},
                                                      {.universe = 0x0425, .isOutput = false, .active = false},
                                                      {.universe = 0x0426, .isOutput = false, .active = true},
                                                      {.universe = 0x0423, .isOutput = true, .active = false},
                                                      {.universe = 0x0424, .isOutput = true, .active = false},
                                                      {.universe = 0x0428, .isOutput = false, .active = true}}};
inline const Bytes nodeReplyBytes =
    packetOf(207, {artNet(0x2100),
                   {10, {2, 11, 90, 1, 0x36, 0x19, 2, 3, 0x84, 0xF2, 0x04, 0x31, 0, 0xD2, 0x70, 0x7A}},
                   {26, "Eighteen bytes all"},
                   {44, " Rigg\t"},
                   {108, "#0001 [0042] ok"},
                   {172, {0xFF, 4, 0xC0, 0x40, 0x80, 0xC5}},
                   {178, {0x08, 0x80, 0x80, 0xFF}},
                   {182, {0x80, 0x80, 0x7F, 0x00}},
                   {186, {0xF5, 0x06, 0x07, 0x08}},
                   {190, {0xA1, 0x02, 0x03, 0x04}},
                   {201, {0x00, 0x50, 0xC2, 0x00, 0x01, 0x02}}});

inline const ArtNet::TimeCode timeCode = {.hours = 23, .minutes = 59, .seconds = 58, .frames = 24, .type = 1};
inline const Bytes timeCodeBytes = packetOf(19, {artNet(0x9700), version14, {14, {24, 58, 59, 23, 1}}});

inline const ArtNet::TodData tod = {.universe = 0x0423, .uids = {{0x7A70, 0x00000001}, {0xFFFE, 0x89ABCDEF}}};
inline const Bytes todBytes = packetOf(40, {artNet(0x8100),
                                            version14,
                                            {12, {1, 1}},
                                            {21, {0x04, 0x00, 0x23, 0x00, 0x02, 0x00, 0x02}},
                                            {28, {0x7A, 0x70, 0x00, 0x00, 0x00, 0x01}},
                                            {34, {0xFF, 0xFE, 0x89, 0xAB, 0xCD, 0xEF}}});

inline const Bytes todRequest = packetOf(56, {artNet(0x8000), version14, {21, {0x12, 0x00, 0x01, 0x34}}});

inline const ArtNet::RdmData rdm = {.universe = 0x0423, .packet = {0x01, 0x18, 0x7A, 0x70, 0x00}};
inline const Bytes rdmBytes =
    packetOf(29, {artNet(0x8300), version14, {12, {1}}, {21, {0x04, 0x00, 0x23}}, {24, {0x01, 0x18, 0x7A, 0x70, 0x00}}});

}  // namespace netcore::vectors
