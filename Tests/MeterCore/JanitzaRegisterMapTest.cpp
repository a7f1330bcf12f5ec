#include "MeterCore/JanitzaRegisterMap.hpp"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <string>

namespace metercore {

namespace {

/// Registers that hold these singles, high word first.
std::vector<std::uint16_t> floats(const std::vector<float>& values) {
    std::vector<std::uint16_t> registers;
    for (const float value : values) {
        const auto bits = std::bit_cast<std::uint32_t>(value);
        registers.push_back(static_cast<std::uint16_t>(bits >> 16));
        registers.push_back(static_cast<std::uint16_t>(bits));
    }
    return registers;
}

std::vector<std::uint16_t> countingBlock() {
    std::vector<float> values;
    for (int i = 0; i < 61; ++i) values.push_back(static_cast<float>(i) + 0.5f);
    return floats(values);
}

}  // namespace

TEST(JanitzaRegisterMap, TheMainBlockHoldsAFloatAtEveryEvenAddress) {
    const auto rows = JanitzaRegisterMap::measurements();
    ASSERT_EQ(rows.size(), 61u);
    for (std::size_t i = 0; i < rows.size(); ++i) EXPECT_EQ(rows[i].address, 19000 + static_cast<int>(2 * i));
    EXPECT_EQ(JanitzaRegisterMap::startAddress, 19000);
    EXPECT_EQ(JanitzaRegisterMap::registerCount, 122);
}

TEST(JanitzaRegisterMap, NamesOfTheTable) {
    struct Row {
        int address;
        const char* name;
        MeasureUnit unit;
    };
    for (const auto& [address, name, unit] :
         std::initializer_list<Row>{{19004, "Spannung L-N L3", MeasureUnit::volt},
                                    {19010, "Spannung L-L L3-L1", MeasureUnit::volt},
                                    {19018, "Strom N (Vektorsumme)", MeasureUnit::ampere},
                                    {19026, "Wirkleistung Σ", MeasureUnit::watt},
                                    {19034, "Scheinleistung Σ", MeasureUnit::voltAmpere},
                                    {19042, "Blindleistung Σ", MeasureUnit::var_},
                                    {19048, "cos φ L3", MeasureUnit::none},
                                    {19050, "Netz Frequenz", MeasureUnit::hertz},
                                    {19052, "Netz Drehfeld", MeasureUnit::none},
                                    {19060, "Wirkenergie Σ", MeasureUnit::wattHour},
                                    {19068, "Wirkenergie bezogen Σ", MeasureUnit::wattHour},
                                    {19076, "Wirkenergie geliefert Σ", MeasureUnit::wattHour},
                                    {19084, "Scheinenergie Σ", MeasureUnit::voltAmpereHour},
                                    {19092, "Blindenergie Σ", MeasureUnit::varHour},
                                    {19100, "Blindenergie induktiv Σ", MeasureUnit::varHour},
                                    {19108, "Blindenergie kapazitiv Σ", MeasureUnit::varHour},
                                    {19114, "THD Spannung L3", MeasureUnit::percent},
                                    {19120, "THD Strom L3", MeasureUnit::percent},
                                    {802, "Symmetrie Spannung U0 Nullsystem", MeasureUnit::volt},
                                    {90004, "Symmetrie Spannung Sternpunktverschiebung U0/U1", MeasureUnit::percent},
                                    {90002, "Symmetrie Strom Unsymmetrie I2/I1", MeasureUnit::percent},
                                    {10085, "N-Leiter / Differenzstrom I4 gemessen", MeasureUnit::ampere},
                                    {10875, "N-Leiter / Differenzstrom Differenzstrom 2 (RCM)", MeasureUnit::ampere},
                                    {11641, "Crest-Faktor I L3", MeasureUnit::none}}) {
        const auto* row = JanitzaRegisterMap::byAddress(address);
        ASSERT_NE(row, nullptr) << address;
        EXPECT_EQ(row->id(), address);
        EXPECT_EQ(row->name(), name);
        EXPECT_EQ(row->unit, unit) << name;
    }
    for (const int absent : {0, 800, 848, 18998, 19001, 19122, 90001, -1})
        EXPECT_EQ(JanitzaRegisterMap::byAddress(absent), nullptr) << absent;
}

TEST(JanitzaRegisterMap, ExtendedRowsStandInDisplayOrder) {
    std::vector<int> addresses;
    for (const auto& row : JanitzaRegisterMap::extended()) addresses.push_back(row.address);
    EXPECT_EQ(addresses, (std::vector{802, 90004, 804, 806, 90000, 920, 922, 924, 90002, 10085, 10873, 10875, 11631, 11633, 11635,
                                      11637, 11639, 11641}));
    EXPECT_EQ(JanitzaRegisterMap::all().size(), 79u);
    EXPECT_EQ(JanitzaRegisterMap::all()[61].address, 802);
}

TEST(JanitzaRegisterMap, GroupsHoldTheirRowsInTableOrder) {
    std::size_t sum = 0;
    for (const auto group : allMeasureGroups) {
        const auto rows = JanitzaRegisterMap::measurements(group);
        EXPECT_FALSE(rows.empty()) << text(group);
        for (const auto& row : rows) EXPECT_EQ(row.group, group);
        sum += rows.size();
    }
    EXPECT_EQ(sum, JanitzaRegisterMap::all().size());
    const auto symmetry = JanitzaRegisterMap::measurements(MeasureGroup::symmetryU);
    ASSERT_EQ(symmetry.size(), 5u);
    EXPECT_EQ(symmetry[1].address, 90004);
    EXPECT_EQ(JanitzaRegisterMap::measurements(MeasureGroup::current).size(), 4u);
}

TEST(JanitzaRegisterMap, FiftyHertzAtTheFrequencyRegister) {
    std::vector<std::uint16_t> registers(JanitzaRegisterMap::registerCount);
    registers[50] = 0x4248;
    EXPECT_EQ(JanitzaRegisterMap::decode(registers).get(19050), 50.0);
}

TEST(JanitzaRegisterMap, DecodesTheWholeMainBlock) {
    const auto values = JanitzaRegisterMap::decode(countingBlock());
    ASSERT_EQ(values.size(), 61u);
    EXPECT_EQ(values.get(19000), 0.5);
    EXPECT_EQ(values.get(19120), 60.5);
}

TEST(JanitzaRegisterMap, AShortAnswerYieldsFewerRows) {
    auto registers = countingBlock();
    registers.pop_back();
    const auto values = JanitzaRegisterMap::decode(registers);
    EXPECT_EQ(values.size(), 60u);
    EXPECT_FALSE(values.contains(19120));
    EXPECT_EQ(values.get(19118), 59.5);
    EXPECT_TRUE(JanitzaRegisterMap::decode({}).empty());
}

TEST(JanitzaRegisterMap, ALongAnswerYieldsNoRowBeyondTheTable) {
    auto registers = countingBlock();
    registers.insert(registers.end(), 3, 0x4248);
    EXPECT_EQ(JanitzaRegisterMap::decode(registers).size(), 61u);
}

TEST(JanitzaRegisterMap, ABlockYieldsEveryPairNamedOrNot) {
    const auto values = JanitzaRegisterMap::decodeBlock(floats({1, 2, 3}), 846);
    EXPECT_EQ(values, (ValueSet{{846, 1}, {848, 2}, {850, 3}}));
}

TEST(JanitzaRegisterMap, AnOddLastRegisterIsIgnored) {
    auto registers = floats({0.004f});
    registers.push_back(0x4248);
    const auto values = JanitzaRegisterMap::decodeBlock(registers, 10873);
    ASSERT_EQ(values.size(), 1u);
    EXPECT_TRUE(values.contains(10873));
    EXPECT_TRUE(JanitzaRegisterMap::decodeBlock(std::span(registers).first(1), 10873).empty());
    EXPECT_TRUE(JanitzaRegisterMap::decodeBlock({}, 10873).empty());
}

TEST(JanitzaRegisterMap, FindsNothingOutsideTheTable) {
    for (const int address :
         {std::numeric_limits<int>::min(), -1, 0, 800, 18998, 19001, 19121, 19122, 90006, std::numeric_limits<int>::max()})
        EXPECT_EQ(JanitzaRegisterMap::byAddress(address), nullptr) << address;
    for (const auto& row : JanitzaRegisterMap::all()) EXPECT_EQ(JanitzaRegisterMap::byAddress(row.address), &row);
}

TEST(JanitzaRegisterMap, DerivesThePercentages) {
    ValueSet values{{802, 2}, {804, 1}, {806, 200}, {922, 3}, {924, 12}};
    JanitzaRegisterMap::addDerived(values);
    EXPECT_EQ(values.get(90000), 0.5);
    EXPECT_EQ(values.get(90002), 25.0);
    EXPECT_EQ(values.get(90004), 1.0);
}

TEST(JanitzaRegisterMap, AStaleDerivedValueDoesNotSurvive) {
    struct Row {
        const char* why;
        std::optional<double> part, whole;
    };
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    for (const auto& row : std::initializer_list<Row>{{"whole at the limit", 1, 0.001},
                                                      {"whole negative", 1, -5},
                                                      {"part is NaN", nan, 230},
                                                      {"whole infinite", 1, INFINITY},
                                                      {"part absent", std::nullopt, 230},
                                                      {"whole absent", 1, std::nullopt}}) {
        ValueSet values{{90000, 7}, {90002, 8}};
        if (row.part) values.set(804, *row.part);
        if (row.whole) values.set(806, *row.whole);
        JanitzaRegisterMap::addDerived(values);
        EXPECT_FALSE(values.contains(90000)) << row.why;
        EXPECT_FALSE(values.contains(90002)) << row.why;
    }
    ValueSet values{{804, 0.001}, {806, 0.002}};
    JanitzaRegisterMap::addDerived(values);
    EXPECT_EQ(values.get(90000), 50.0) << "just above the limit";
}

TEST(JanitzaRegisterMap, ExtendedBlocksCoverTheirRows) {
    for (const auto& row : JanitzaRegisterMap::extended()) {
        if (row.address >= 90000) continue;
        int covering = 0;
        for (const auto& block : JanitzaRegisterMap::extendedBlocks)
            covering += row.address >= block.address && row.address + 1 < block.address + block.count;
        EXPECT_EQ(covering, 1) << row.name();
    }
    for (const auto& phasors : {JanitzaRegisterMap::voltagePhasors, JanitzaRegisterMap::currentPhasors})
        for (std::size_t k = 0; k < 3; ++k) EXPECT_EQ(phasors.imaginary[k], phasors.real[k] + 6);
}

}  // namespace metercore
