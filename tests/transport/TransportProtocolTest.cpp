#include "transport/TransportProtocol.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "TransportTestSupport.h"
#include "manager/Global.h"
#include "transport/LogicProtocol.h"

using namespace transporttest;

namespace {

unsigned char kData[] = {'A', 'B'};

class Transport : public TransportTest {
protected:
    std::unique_ptr<TestTransport> opened() {
        auto tp = make();
        EXPECT_EQ(0, tp->openPort());
        return tp;
    }

    // One exchange whose attempts give the scripted results in turn.
    static int exchange(TestTransport& tp, std::vector<int> script, int retries) {
        tp.script = std::move(script);
        tp.attempts = 0;
        return tp.sendRecvData(1, kData, 2, nullptr, nullptr, retries);
    }

    // Construction must fail with the given text and leave the given record.
    void expectRefused(const std::string& what, const std::string& record) {
        try {
            make();
            ADD_FAILURE() << "accepted; expected " << what;
        } catch (const std::runtime_error& e) {
            EXPECT_EQ(what, e.what());
        }
        if (!record.empty()) {
            EXPECT_TRUE(wasLogged(lib, record)) << record;
        }
    }
};

}  // namespace

TEST_F(Transport, ReadsEveryLineSettingAndLogsIt) {
    setKey(keys, "DeviceBaudrate", "19200");
    setKey(keys, "DeviceDataBits", "7");
    setKey(keys, "DeviceStopBit", "2");
    setKey(keys, "DeviceParity", "EVEN");
    setKey(keys, "DeviceFlowControl", "XON_XOFF");
    setKey(keys, "DeviceRxTimeout", "0");
    setKey(keys, "DeviceTxTimeout", "0");
    setKey(keys, "DeviceSendBreakTerm", "3");
    auto tp = make();
    // The records show the values as read; the words become enumerators.
    const uart_config_s& c = tp->getUartConfig();
    EXPECT_EQ(PARITY_EVEN, c.parity);
    EXPECT_EQ(FLOW_CONTROL_XON_XOFF, c.flow_control);
    EXPECT_EQ(50, c.rx_timeout);
    EXPECT_EQ(pty.link + " 19200 7EVEN2", tp->portInfo());

    std::vector<std::string> expected = {"DEVICEPORT = " + pty.link, "DEVICEBAUDRATE = 19200",
                                         "DEVICEDATABITS = 7",       "DEVICESTOPBIT = 2",
                                         "DEVICERXTIMEOUT = 50",     "DEVICETXTIMEOUT = 0",
                                         "DEVICEPARITY = EVEN",      "DEVICEFLOWCONTROL = XON_XOFF",
                                         "DEVICESENDBREAKTERM = 3",  "DEVICEIGNORECONFIGUART = 0"};
    EXPECT_EQ(expected, logged(lib));
}

TEST_F(Transport, RefusesAMissingLineSettingNamingIt) {
    const char* names[][2] = {
        {"DevicePort", "DEVICEPORT"},           {"DeviceBaudrate", "DEVICEBAUDRATE"},
        {"DeviceDataBits", "DEVICEDATABITS"},   {"DeviceStopBit", "DEVICESTOPBIT"},
        {"DeviceRxTimeout", "DEVICERXTIMEOUT"}, {"DeviceTxTimeout", "DEVICETXTIMEOUT"},
        {"DeviceParity", "DEVICEPARITY"},       {"DeviceFlowControl", "DEVICEFLOWCONTROL"}};
    for (const auto& name : names) {
        keys = serialKeys(pty.link);
        eraseKey(keys, name[0]);
        expectRefused("Error in getSerialConfig",
                      std::string("getSerialConfig - Error in catch ") + name[1]);
    }
}

TEST_F(Transport, AcceptsOnlyTheExactParityAndFlowControlWords) {
    setKey(keys, "DeviceParity", "SPACE");
    setKey(keys, "DeviceFlowControl", "DTR_DSR_ENABLE");
    auto tp = make();
    EXPECT_EQ(PARITY_SPACE, tp->getUartConfig().parity);
    EXPECT_EQ(FLOW_CONTROL_DTR_DSR_ENABLE, tp->getUartConfig().flow_control);

    setKey(keys, "DeviceParity", "none");
    expectRefused("Error in getSerialConfig",
                  "getSerialConfig - ERR_CFG_INVALID_VALUE in DEVICEPARITY");
    setKey(keys, "DeviceParity", "ODD");
    setKey(keys, "DeviceFlowControl", "XONXOFF");
    expectRefused("Error in getSerialConfig",
                  "getSerialConfig - ERR_CFG_INVALID_VALUE in DEVICEFLOWCONTROL");
}

TEST_F(Transport, SharesThePortWhenMultipleApplicationStartsWithY) {
    for (const char* yes : {"y", "Yes"}) {
        setKey(keys, "MultipleApplication", yes);
        EXPECT_TRUE(make()->sharing()) << yes;
    }
    for (const char* no : {"n", "No"}) {
        setKey(keys, "MultipleApplication", no);
        EXPECT_FALSE(make()->sharing()) << no;
    }
    eraseKey(keys, "MultipleApplication");
    EXPECT_FALSE(make()->sharing());
    setKey(keys, "MultipleApplication", "true");
    expectRefused("Error in MULTIPLEAPPLICATION", "");
}

TEST_F(Transport, ReadsTheOptionalSettingsAndRequiresAProtocol) {
    auto tp = make();
    EXPECT_FALSE(tp->intervalSet());
    EXPECT_EQ(0u, tp->interval());
    setKey(keys, "DeviceIntervalBetweenCommands", "250");
    tp = make();
    EXPECT_TRUE(tp->intervalSet());
    EXPECT_EQ(250u, tp->interval());

    eraseKey(keys, "DeviceProtocol");
    expectRefused("Error in DEVICEPROTOCOL", "");
}

TEST_F(Transport, SelectsTheExchangeByProtocolName) {
    auto tp = make();
    EXPECT_EQ(0, tp->setCallProtocol());
    EXPECT_TRUE(tp->selected(&TransportProtocol::protocolNorvaDireto));
    for (const char* name : {"Norva485", "Device65A"}) {
        setKey(keys, "DeviceProtocol", name);
        tp = make();
        EXPECT_EQ(0, tp->setCallProtocol());
        EXPECT_TRUE(tp->selected(&TransportProtocol::protocolNorva485)) << name;
    }
    setKey(keys, "DeviceProtocol", "norvadireto");
    tp = make();
    EXPECT_EQ(ERR_SER_INVALID_PROTOCOL, tp->setCallProtocol());
    EXPECT_TRUE(wasLogged(lib, "ERR_SER_INVALID_PROTOCOL"));
    EXPECT_THROW(LogicProtocol{&service->params}, std::runtime_error);
}

TEST_F(Transport, OpensAndClosesThePortUnderASemaphoreNamedAfterTheDevice) {
    auto tp = make();
    lib.clear();
    ASSERT_EQ(0, tp->openPort());
    EXPECT_EQ(pty.semaphoreName(), tp->getSemName());
    std::vector<std::string> opening = {"Started",
                                        "Open Port \"Physical Layer\": [SERIAL]",
                                        "UnlinkNamedSem(" + pty.semaphoreName() + ") = -30004",
                                        "Port Opened !!!",
                                        "Create \"Named Semaphore\": [" + pty.semaphoreName() + "]",
                                        "\"Named Semaphore\" Created !!!",
                                        "Finished: Return=0"};
    auto records = logged(lib);
    EXPECT_EQ(opening.front(), records.front());
    for (const auto& text : opening) EXPECT_TRUE(wasLogged(lib, text)) << text;
    EXPECT_EQ(opening.back(), records.back());

    lib.clear();
    EXPECT_EQ(0, tp->openPort());
    EXPECT_TRUE(wasLogged(lib, "Port Allready Open !!!"));

    EXPECT_EQ(2, tp->sendData(kData, 2));
    EXPECT_EQ("AB", pty.receive(2));
    pty.send("Q");
    unsigned char in[4] = {0};
    EXPECT_TRUE(siutest::waitFor([&] { return tp->recvData(in, 4) == 1; }));
    EXPECT_EQ('Q', in[0]);

    EXPECT_EQ(0, tp->closePort());
    EXPECT_FALSE(tp->isPortOpened());
    EXPECT_TRUE(wasLogged(lib, "Port Closed !!!"));
    EXPECT_TRUE(wasLogged(lib, "\"Named Semaphore\" Destroyed !!!"));
    EXPECT_EQ(ERR_TRP_PORT_NOT_OPENED, tp->closePort());
    EXPECT_TRUE(wasLogged(lib, "Port Not Opened !!!"));
}

TEST_F(Transport, RefusesEveryPortOperationWhileClosed) {
    auto tp = make();
    unsigned char* reply = nullptr;
    int replyLen = 0;
    EXPECT_EQ(ERR_TRP_PORT_NOT_OPENED, tp->sendRecvData(1, kData, 2, &reply, &replyLen, 3));
    EXPECT_EQ(0, tp->attempts);
    EXPECT_EQ(ERR_TRP_PORT_NOT_OPENED, tp->flush(5));
    EXPECT_EQ(ERR_TRP_PORT_NOT_OPENED, tp->sendData(kData, 2));
    EXPECT_EQ(ERR_TRP_PORT_NOT_OPENED, tp->recvData(kData, 2));
    EXPECT_EQ(ERR_TRP_PORT_NOT_OPENED, tp->sendData(static_cast<void*>(kData)));
}

TEST_F(Transport, ReportsAPortThatCannotBeOpened) {
    setKey(keys, "DevicePort", cwd.dir.file("missing"));
    auto tp = make();
    EXPECT_EQ(ERR_SER_OPEN_FAILED, tp->openPort());
    EXPECT_TRUE(wasLogged(lib, "ERROR -> Port Not Opened !!!"));
    EXPECT_FALSE(tp->isPortOpened());
    EXPECT_STREQ("", tp->getSemName());

    setKey(keys, "PhysicalLayer", "USB");
    eraseKey(keys, "DevicePort");  // only a serial layer needs its settings
    tp = make();
    EXPECT_EQ(ERR_TRP_UNKNOWN_PHYSICALLAYER, tp->openPort());
    EXPECT_TRUE(wasLogged(lib, "ERROR -> Unknown \"Physical Layer\" !!!"));
}

TEST_F(Transport, RetriesZeroMakesExactlyOneAttempt) {
    auto tp = opened();
    EXPECT_EQ(ERR_SER_TIMEOUT, exchange(*tp, {ERR_SER_TIMEOUT}, 0));
    EXPECT_EQ(1, tp->attempts);
}

TEST_F(Transport, RetriesLinkErrorsUpToTheGivenNumberOfAttempts) {
    auto tp = opened();
    for (int code :
         {ERR_SER_INVALID_RESPONSE, ERR_SER_TIMEOUT, ERR_SER_ACK, ERR_SER_NACK, ERR_SER_CMD,
          ERR_SER_DATALEN, ERR_SER_ETX, ERR_SER_STX, ERR_SER_CRC16_WRONG, ERR_SER_BCC_WRONG}) {
        lib.clear();
        EXPECT_EQ(code, exchange(*tp, {code}, 3));
        EXPECT_EQ(3, tp->attempts) << code;
    }
    EXPECT_TRUE(wasLogged(lib, "Retry: [1]"));
    EXPECT_FALSE(wasLogged(lib, "Retry: [2]"));

    EXPECT_EQ(0, exchange(*tp, {ERR_SER_TIMEOUT, ERR_SER_NACK, 0}, 3));
    EXPECT_EQ(3, tp->attempts);
    EXPECT_EQ(ERR_SER_NACK, exchange(*tp, {ERR_SER_TIMEOUT, ERR_SER_NACK, 0}, 2));
    EXPECT_EQ(2, tp->attempts);
}

TEST_F(Transport, EndsAtOnceOnAnErrorThatIsNotInTheRetrySet) {
    auto tp = opened();
    for (int code :
         {ERR_SER_READ_FAILED, ERR_SER_WRITE_FAILED, ERR_CMD_NOT_SUPPORTED, ERR_SER_INVALID_SIZE}) {
        EXPECT_EQ(code, exchange(*tp, {code}, 3));
        EXPECT_EQ(1, tp->attempts) << code;
    }
    tp->addRetryable(ERR_CMD_NOT_SUPPORTED);
    EXPECT_EQ(ERR_CMD_NOT_SUPPORTED, exchange(*tp, {ERR_CMD_NOT_SUPPORTED}, 3));
    EXPECT_EQ(3, tp->attempts);
}

TEST_F(Transport, HoldsThePortSemaphoreOnlyDuringAnExchange) {
    auto tp = opened();
    EXPECT_EQ(0, tp->sendRecvData(1, kData, 2, nullptr, nullptr, 1));
    EXPECT_EQ(0, tp->semValueInExchange);
    EXPECT_EQ(getpid(), tp->slotInExchange);
    EXPECT_EQ(1, tp->semValue());
    EXPECT_EQ(0, *tp->slot());
}

TEST_F(Transport, FlushAnswersGenericErrorAndKeepsTheSemaphoreWhenItFails) {
    auto tp = opened();
    EXPECT_EQ(ERR_TRP_GENERIC, tp->flush(0x105));
    EXPECT_EQ(1, tp->semValue());
    EXPECT_EQ(ERR_SER_FLUSH_FAILED, tp->flush(0x100));  // only the low byte counts
    EXPECT_TRUE(wasLogged(lib, "Command error: [-40014]"));
    EXPECT_EQ(0, tp->semValue());
    tp->releaseSem(tp->semaphore());
}

TEST_F(Transport, TracesRawWritesAndReadsOnlyWhenAsked) {
    auto tp = opened();
    lib.clear();
    EXPECT_EQ(2, tp->Write(kData, 2, false));
    EXPECT_EQ(0u, lib.calls().size());
    EXPECT_EQ(2, tp->Write(kData, 2, true));
    EXPECT_EQ(ERR_GEN_INTERNAL_ERROR, tp->Write(nullptr, 2, true));
    unsigned char in[4] = {0};
    EXPECT_EQ(0, tp->Read(in, 4, true));
    pty.send("Z");
    EXPECT_EQ(1, tp->Read(in, 4, true));
    auto calls = lib.calls();
    ASSERT_EQ(4u, calls.size());
    EXPECT_EQ((siutest::Call{"WDATA:", "4142"}), (siutest::Call{calls[0][5], calls[0][6]}));
    EXPECT_EQ("WDATA:", calls[1][5]);
    EXPECT_EQ("RDATA: NULL", calls[2][5]);
    EXPECT_EQ((siutest::Call{"RDATA:", "5a"}), (siutest::Call{calls[3][5], calls[3][6]}));
}

TEST_F(Transport, LogicProtocolForwardsToItsTransport) {
    auto* tp = make().release();
    LogicProtocol logic(&service->params, tp);
    ASSERT_EQ(0, tp->openPort());
    tp->script = {ERR_SER_NACK};
    EXPECT_EQ(ERR_SER_NACK, logic.sendRecvData(1, kData, 2, nullptr, nullptr, 2));
    EXPECT_EQ(2, tp->attempts);
}
