// The board codec against a scripted in-process board that records the exact
// bytes of every command and answers from a script.

#include "device/LLDeviceZT.h"

#include <gtest/gtest.h>

#include <cstring>
#include <deque>
#include <string>
#include <vector>

#include "device/LoggedService.h"
#include "manager/ConstructParams.h"
#include "manager/Global.h"
#include "support/FakePort.h"

namespace {

struct Reply {
    int rc;
    std::string bytes;  // first byte is the board's leading byte
};

class ScriptedBoard : public TransportProtocol {
public:
    ScriptedBoard()
        : TransportProtocol(nullptr, uart_config_s{}, std::make_unique<siutest::FakePort>()) {}

    std::vector<std::string> sent;
    std::deque<Reply> script;  // answered in order; then a one-byte reply

    int callProtocolByHeritage(int, unsigned char* send, int len, unsigned char** recv,
                               int* recvLen) override {
        sent.emplace_back(reinterpret_cast<char*>(send), len);
        Reply reply{SUCCESS, "\x06"};
        if (!script.empty()) {
            reply = script.front();
            script.pop_front();
        }
        if (reply.rc != SUCCESS) return reply.rc;
        *recv = new unsigned char[reply.bytes.size() + 1];
        std::memcpy(*recv, reply.bytes.data(), reply.bytes.size());
        *recvLen = static_cast<int>(reply.bytes.size());
        return SUCCESS;
    }
};

class Codec : public ::testing::Test {
protected:
    // The output state is one buffer for the whole process: start each test
    // with every output off.
    Codec() : board(new ScriptedBoard), ll(&params, board) {
        ll.CmdSetIndicator(0, 0, LLDeviceZT::MAX_LEDS, true);
        board->sent.clear();
    }

    st_constructParams params{nullptr, nullptr};
    ScriptedBoard* board;  // owned by ll
    LLDeviceZT ll;
};

TEST_F(Codec, IndicatorCommandResendsTheLastStateOfEveryOutput) {
    ASSERT_EQ(SUCCESS, ll.CmdSetIndicator(2, 2, 6, false));
    ASSERT_EQ(SUCCESS, ll.CmdSetIndicator(4, 1, 6, false));
    EXPECT_EQ((std::vector<std::string>{"L020000", "L020100"}), board->sent);
}

TEST_F(Codec, ResetSendsTheLetterAndOneZeroPerLed) {
    ASSERT_EQ(SUCCESS, ll.CmdSetIndicator(20, 1, 20, false));
    ASSERT_EQ(SUCCESS, ll.CmdSetIndicator(2, 2, 6, false));
    ASSERT_EQ(SUCCESS, ll.CmdSetIndicator(0, 0, 6, true));
    ASSERT_EQ(SUCCESS, ll.CmdSetIndicator(0, 0, 0, true));
    ASSERT_EQ(SUCCESS, ll.CmdSetIndicator(0, 0, 20, true));
    EXPECT_EQ((std::vector<std::string>{"L" + std::string(19, '0') + "1", "L020000", "L000000", "L",
                                        "L" + std::string(20, '0')}),
              board->sent);
}

TEST_F(Codec, IndicatorOutsideTheOutputsIsRejectedWithoutSending) {
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, ll.CmdSetIndicator(0, 1, 6, false));
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, ll.CmdSetIndicator(7, 1, 6, false));
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, ll.CmdSetIndicator(21, 1, 20, false));
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, ll.CmdSetIndicator(2, 1, 21, false));
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, ll.CmdSetIndicator(0, 0, 21, true));
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, ll.CmdSetIndicator(2, 3, 6, false));
    ASSERT_EQ(SUCCESS, ll.CmdSetIndicator(1, 1, 6, false));
    EXPECT_EQ((std::vector<std::string>{"L100000"}), board->sent);
}

TEST_F(Codec, FailedIndicatorCommandReturnsTheLinkCodeAndKeepsTheChange) {
    board->script.push_back({ERR_SER_TIMEOUT, ""});
    EXPECT_EQ(ERR_SER_TIMEOUT, ll.CmdSetIndicator(3, 1, 6, false));
    ASSERT_EQ(SUCCESS, ll.CmdSetIndicator(6, 2, 6, false));
    EXPECT_EQ((std::vector<std::string>{"L001000", "L001002"}), board->sent);
}

TEST_F(Codec, GenericCommandWritesOnlyAPayloadIntoTheBuffer) {
    char rsp[100] = "untouched";
    board->script = {{SUCCESS, "x"}, {SUCCESS, ""}, {ERR_SER_NACK, "x1"}, {SUCCESS, "x0A1F"}};
    EXPECT_EQ(SUCCESS, ll.CmdGenericCommand("m", rsp));
    EXPECT_EQ(SUCCESS, ll.CmdGenericCommand("m", rsp));
    EXPECT_EQ(ERR_SER_NACK, ll.CmdGenericCommand("m", rsp));
    EXPECT_STREQ("untouched", rsp);
    ASSERT_EQ(SUCCESS, ll.CmdGenericCommand("S1", rsp));
    EXPECT_STREQ("0A1F", rsp);
    EXPECT_EQ((std::vector<std::string>{"m", "m", "m", "S1"}), board->sent);
}

TEST_F(Codec, RepliesLongerThanTheCallersBufferAreCut) {
    char rsp[4];
    char version[LLDeviceZT::VERSION_SIZE + 10];
    std::memset(version, '#', sizeof version);
    board->script = {{SUCCESS, "x123456"}, {SUCCESS, "x" + std::string(80, 'V')}};
    ASSERT_EQ(SUCCESS, ll.CmdGenericCommand("m", rsp));
    EXPECT_STREQ("123", rsp);
    ASSERT_EQ(SUCCESS, ll.CmdGetVersion(version));
    EXPECT_EQ(std::string(LLDeviceZT::VERSION_SIZE - 1, 'V'), version);
    EXPECT_EQ('#', version[LLDeviceZT::VERSION_SIZE]);
}

TEST_F(Codec, VersionDropsTheLeadingByteAndAnEmptyReplyGivesAnEmptyText) {
    char version[LLDeviceZT::VERSION_SIZE] = "old";
    board->script = {{SUCCESS, "xV1.02"}, {SUCCESS, ""}, {ERR_TRP_PORT_NOT_OPENED, ""}};
    ASSERT_EQ(SUCCESS, ll.CmdGetVersion(version));
    EXPECT_STREQ("V1.02", version);
    ASSERT_EQ(SUCCESS, ll.CmdGetVersion(version));
    EXPECT_STREQ("", version);
    std::strcpy(version, "old");
    EXPECT_EQ(ERR_TRP_PORT_NOT_OPENED, ll.CmdGetVersion(version));
    EXPECT_STREQ("old", version);
    EXPECT_EQ((std::vector<std::string>{"V", "V", "V"}), board->sent);
}

TEST_F(Codec, NullArgumentsAreRejectedWithoutSending) {
    char rsp[10];
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, ll.CmdGenericCommand(nullptr, rsp));
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, ll.CmdGenericCommand("m", nullptr, 10));
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, ll.CmdGenericCommand("m", rsp, 0));
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, ll.CmdGetVersion(nullptr));
    EXPECT_TRUE(board->sent.empty());
}

TEST(CodecLog, IndicatorCommandLogsThePrinterAndLampOutputsAfterSuccessOnly) {
    if (devicetest::systemFilesPresent()) GTEST_SKIP() << "files in /Norva/NorvaAPI shadow ours";
    devicetest::LoggedService service;
    service.configure("");
    auto* board = new ScriptedBoard;
    LLDeviceZT ll(&service.params, board);
    ASSERT_EQ(SUCCESS, ll.CmdSetIndicator(0, 0, 6, true));
    ASSERT_EQ(SUCCESS, ll.CmdSetIndicator(3, 2, 6, false));
    service.lib.clear();
    board->script.push_back({ERR_SER_TIMEOUT, ""});
    EXPECT_EQ(ERR_SER_TIMEOUT, ll.CmdSetIndicator(1, 1, 6, false));
    EXPECT_TRUE(service.records().empty());
    ASSERT_EQ(SUCCESS, ll.CmdSetIndicator(5, 1, 6, false));
    EXPECT_EQ((std::vector<std::string>{
                  "NORVA_SIU_INDICATOR_PRINTER_VALUE_BLINK", "NORVA_SIU_INDICATOR_VALUE_OFF_GREEN",
                  "NORVA_SIU_INDICATOR_VALUE_ON_RED", "NORVA_SIU_INDICATOR_VALUE_OFF_ORANGE"}),
              service.records());
}

}  // namespace
