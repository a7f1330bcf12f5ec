#include "Kestrelyne/App/SimulatorVerbs.hpp"

#include <gtest/gtest.h>

#include "Base/JSONFields.hpp"

namespace kestrelyne {

namespace {

TEST(SimulatorReport, ShowsWhatRunsWithItsFaults) {
    const auto state = base::parseJSON(
        R"({"meter":{"on":false,"faults":{"overload":false}},"light":{"on":true,"faults":{"nodeOffline":true,"sacnConflict":true}},)"
        R"("ups":{"on":true,"faults":{"onBattery":true}}})");
    EXPECT_EQ(simulatorReport(state),
              "Simulator  Zustand  Fehler\n"
              "meter      aus      –\n"
              "light      ein      nodeOffline, sacnConflict\n"
              "ups        ein      onBattery\n");
}

}  // namespace

}  // namespace kestrelyne
