#include "MeterCore/ValueFormatter.hpp"

#include <gtest/gtest.h>

#include <cmath>

namespace metercore {

using enum MeasureUnit;

void PrintTo(const FormattedValue& value, std::ostream* out) { *out << value.text << "|" << value.unit; }

TEST(ValueFormatter, JudgesTheDecimalsAfterScaling) {
    struct Row {
        double value;
        MeasureUnit unit;
        const char* text;
        const char* unitText;
    };
    for (const auto& row : std::initializer_list<Row>{
             {999.4, watt, "999,4", "W"},
             {1500, watt, "1,500", "kW"},
             {1000, watt, "1,000", "kW"},
             {-12346, watt, "-12,35", "kW"},
             {999999, watt, "1000,0", "kW"},
             {1e6, watt, "1,000", "MW"},
             {250e6, voltAmpere, "250,0", "MVA"},
             {5e9, var_, "5000", "Mvar"},
             {0, watt, "0,000", "W"},
             {9.5, watt, "9,500", "W"},
             {10, watt, "10,00", "W"},
             {100, watt, "100,0", "W"},
             {230.04, volt, "230,0", "V"},
             {9999, volt, "9999", "V"},
             {10000, volt, "10,00", "kV"},
             {-20000, volt, "-20,00", "kV"},
             {2e6, volt, "2000", "kV"},
             {12500, ampere, "12500", "A"},
             {32.5, ampere, "32,50", "A"},
             {50, hertz, "50,000", "Hz"},
             {0.93, none, "0,930", ""},
             {12345, none, "12345,000", ""},
             {2.347, percent, "2,35", "%"},
             {123.4, percent, "123,40", "%"},
             {500, wattHour, "500,000", "Wh"},
             {1500, wattHour, "1,500", "kWh"},
             {999e3, varHour, "999,000", "kvarh"},
             {12.5e9, wattHour, "12500,00", "MWh"},
             {12.5e6, voltAmpereHour, "12,500", "MVAh"},
         })
        EXPECT_EQ(ValueFormatter::format(row.value, row.unit), (FormattedValue{row.text, row.unitText}))
            << row.value << text(row.unit);
}

TEST(ValueFormatter, WhatIsNoNumberReadsAsADashWithThePlainUnit) {
    const FormattedValue dash{"–", "W"};
    EXPECT_EQ(ValueFormatter::format(std::nullopt, watt), dash);
    EXPECT_EQ(ValueFormatter::format(std::nan(""), watt), dash);
    EXPECT_EQ(ValueFormatter::format(-INFINITY, watt), dash);
    EXPECT_EQ(ValueFormatter::format(std::nullopt, none, "Drehfeld"), (FormattedValue{"–", ""}));
    EXPECT_EQ(ValueFormatter::string(std::nullopt, watt), "– W");
    EXPECT_EQ(ValueFormatter::string(std::nullopt, none), "–");
}

TEST(ValueFormatter, TheRotatingFieldHasWords) {
    struct Row {
        double value;
        const char* expected;
    };
    for (const auto& [value, expected] : std::initializer_list<Row>{{1, "rechts"},
                                                                    {0.6, "rechts"},
                                                                    {-1, "links"},
                                                                    {-1.4, "links"},
                                                                    {0, "keins"},
                                                                    {0.4, "keins"},
                                                                    {2, "keins"},
                                                                    {-2, "keins"}}) {
        EXPECT_EQ(ValueFormatter::format(value, none, "Drehfeld"), (FormattedValue{expected, ""})) << value;
        EXPECT_EQ(ValueFormatter::string(value, volt, "Drehfeld"), expected) << "whatever the unit";
    }
}

TEST(ValueFormatter, JoinsNumberAndUnitWithOneBlank) {
    EXPECT_EQ(ValueFormatter::string(1500, watt, "L1"), "1,500 kW");
    EXPECT_EQ(ValueFormatter::string(0.93, none), "0,930");
}

TEST(ValueFormatter, EnergyNeverShowsAPlainUnit) {
    struct Row {
        double value;
        const char* expected;
    };
    for (const auto& [value, expected] : std::initializer_list<Row>{{500, "0,5 kWh"},
                                                                    {0, "0,0 kWh"},
                                                                    {9999, "10,0 kWh"},
                                                                    {10000, "10 kWh"},
                                                                    {999999, "1000 kWh"},
                                                                    {1e6, "1,00 MWh"},
                                                                    {-2.5e6, "-2,50 MWh"},
                                                                    {INFINITY, "–"},
                                                                    {NAN, "–"}})
        EXPECT_EQ(ValueFormatter::energy(value, "Wh"), expected) << value;
    EXPECT_EQ(ValueFormatter::energy(1500, "varh"), "1,5 kvarh");
}

}  // namespace metercore
