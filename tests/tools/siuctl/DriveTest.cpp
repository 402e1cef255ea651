// The commands that change something on the board, checked on the
// simulator's side of the line.

#include "CtlBench.h"

#include <gtest/gtest.h>

namespace ctltest {
namespace {

void expectDone(const Result& r, const std::string& shown) {
    EXPECT_EQ(0, r.status) << r.err;
    EXPECT_EQ(shown + "\n", r.out);
}

TEST(SiuctlDrive, IndicatorBuzzerKeyMotionAndResetReachTheBoard) {
    Bench b;
    const std::string off(20, '0');
    expectDone(b.siuctl({"indicator", "LED_GREEN", "on"}), "INDICATOR_LED_GREEN on");
    EXPECT_EQ("0001" + off.substr(4), b.output("leds"));
    // every open switches the indicators off first
    expectDone(b.siuctl({"indicator", "INDICATOR_RECEIPT_PRINTER", "blink"}),
               "INDICATOR_RECEIPT_PRINTER blink");
    EXPECT_EQ("002" + off.substr(3), b.output("leds"));

    expectDone(b.siuctl({"buzzer", "blink"}), "buzzer blink");
    EXPECT_EQ("2", b.output("buzzer"));
    expectDone(b.siuctl({"ekey", "on"}), "electronic-key port on");
    EXPECT_EQ("1", b.output("key"));
    expectDone(b.siuctl({"ekey", "off"}), "electronic-key port off");
    EXPECT_EQ("0", b.output("key"));

    expectDone(b.siuctl({"motion", "450"}), "motion time 450 ms");
    EXPECT_EQ("450", b.output("motion"));
    expectDone(b.siuctl({"motion"}), "motion time 450 ms");

    b.sim({"records"});
    expectDone(b.siuctl({"power-cycle", "5", "30"}), "power cycle 5 30: the board answered OK");
    std::string rec = b.sim({"records"}) + " ";
    EXPECT_NE(std::string::npos, rec.find(":R00500030 ")) << "the R command: " << rec;

    expectDone(b.siuctl({"indicator", "led_red", "on"}), "INDICATOR_LED_RED on");
    expectDone(b.siuctl({"reset"}), "every indicator off");
    EXPECT_EQ(off, b.output("leds"));
}

TEST(SiuctlDrive, ResetSensorsClearsALatchedAlarm) {
    Bench b;
    b.sim({"set-flag", "S", "10", "3", "1"});  // heat and seismic share a latched digit
    Result r = b.siuctl({"status", "--json"});
    EXPECT_EQ("ON ON", jq("\"\\(.items.SENSOR_HEAT) \\(.items.SENSOR_SEISMIC)\"", r.out));

    expectDone(b.siuctl({"reset-sensors", "SENSOR_HEAT"}), "reset SENSOR_HEAT");
    EXPECT_EQ("OK 0000000B0000000", b.sim({"get-reply", "S"}));
    r = b.siuctl({"status", "--json"});
    EXPECT_EQ("OFF OFF", jq("\"\\(.items.SENSOR_HEAT) \\(.items.SENSOR_SEISMIC)\"", r.out));
}

}  // namespace
}  // namespace ctltest
