#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/ServiceFixture.h"

using siutest::FakeCall;
typedef std::vector<FakeCall> Calls;

// An automatic base AUTO that stands for the numbered services SIU0..SIU9.
class AutomaticService : public siutest::ServiceTest {
protected:
    void SetUp() override {
        siutest::ServiceTest::SetUp();
        if (IsSkipped()) return;
        std::string ini = "[AUTO]\nAutomatic=SIU\n";
        for (int i = 0; i < 10; ++i) ini += section("SIU" + std::to_string(i));
        writeIni(ini);
    }
};

TEST_F(AutomaticService, OpensTheFirstNumberedServiceWhoseDeviceAnswersAndOpensItTwice) {
    setAnswer([](const std::string& service, int cmd, void*) {
        bool dead = service == "SIU0" || service == "SIU1";
        return cmd == CMD_OPEN && dead ? ERR_SER_TIMEOUT : SUCCESS;
    });
    int idx = -1;
    ASSERT_EQ(SUCCESS, open("AUTO", &idx));
    EXPECT_EQ(0, idx);
    // Each failed probe is closed again; the one that answers is opened by
    // the probe and once more by SIU_Open.
    EXPECT_EQ(Calls({{"SIU0", CMD_OPEN},
                     {"SIU0", CMD_CLOSE},
                     {"SIU1", CMD_OPEN},
                     {"SIU1", CMD_CLOSE},
                     {"SIU2", CMD_OPEN},
                     {"SIU2", CMD_OPEN}}),
              calls());
    EXPECT_EQ(1, devicesAlive());
    EXPECT_NE(std::string::npos, logOf("SIU2").find("SERVICE:[SIU2]"));

    EXPECT_EQ(SUCCESS, close("AUTO", &idx));
    EXPECT_EQ(-1, idx);
    EXPECT_EQ((FakeCall{"SIU2", CMD_CLOSE}), calls().back());
    EXPECT_EQ(0, devicesAlive());
}

TEST_F(AutomaticService, TriesExactlyTenNamesAndReturnsTheLastError) {
    setAnswer([](const std::string& service, int cmd, void*) {
        if (cmd != CMD_OPEN) return SUCCESS;
        return service == "SIU9" ? ERR_SER_NACK : ERR_SER_TIMEOUT;
    });
    int idx = 3;
    EXPECT_EQ(ERR_SER_NACK, open("AUTO", &idx));
    EXPECT_EQ(-1, idx);
    Calls expected;
    for (int i = 0; i < 10; ++i) {
        expected.push_back({"SIU" + std::to_string(i), CMD_OPEN});
        expected.push_back({"SIU" + std::to_string(i), CMD_CLOSE});
    }
    EXPECT_EQ(expected, calls());
    EXPECT_EQ(0, devicesAlive());
}

TEST_F(AutomaticService, ReopeningTheBaseCountsTheServiceItResolvedTo) {
    int first = -1, idx = -1;
    ASSERT_EQ(SUCCESS, open("AUTO", &first));
    ASSERT_EQ(SUCCESS, open("AUTO", &idx));
    EXPECT_EQ(first, idx);
    EXPECT_EQ(Calls({{"SIU0", CMD_OPEN}, {"SIU0", CMD_OPEN}}), calls());
    EXPECT_EQ(SUCCESS, close("AUTO", &idx));
    EXPECT_EQ(first, idx);
    // A wrong name drops the count but closes nothing; the right one then does.
    EXPECT_EQ(ERR_CFG_INVALID_SERVICE_NAME, close("SIU1", &idx));
    EXPECT_EQ(SUCCESS, close("SIU0", &idx));
    EXPECT_EQ(-1, idx);
}
