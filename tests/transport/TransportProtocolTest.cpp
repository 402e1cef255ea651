// The transport's settings, port, retries and tracing, and processes sharing
// its port.

#include "transport/TransportProtocol.h"

#include "TransportTestSupport.h"
#include "transport/LogicProtocol.h"

using namespace transporttest;

using Transport = TransportTest;
static unsigned char kData[] = {'A', 'B'};

TEST_F(Transport, ReadsEveryLineSettingAndLogsItWithARxTimeOutOfZeroAsFifty) {
    keys.insert({{"DeviceSendBreakTerm", "3"}, {"DeviceIntervalBetweenCommands", "250"}});
    keys["DeviceParity"] = "SPACE";
    keys["DeviceFlowControl"] = "XON_XOFF";
    keys["DeviceRxTimeout"] = keys["DeviceTxTimeout"] = "0";
    auto tp = make();
    EXPECT_EQ(PARITY_SPACE, tp->getUartConfig().parity);
    EXPECT_EQ(FLOW_CONTROL_XON_XOFF, tp->getUartConfig().flow_control);
    EXPECT_EQ(250u, tp->interval());
    EXPECT_EQ((Texts{"DEVICEPORT = " + link, "DEVICEBAUDRATE = 9600", "DEVICEDATABITS = 8",
                     "DEVICESTOPBIT = 1", "DEVICERXTIMEOUT = 50", "DEVICETXTIMEOUT = 0",
                     "DEVICEPARITY = SPACE", "DEVICEFLOWCONTROL = XON_XOFF",
                     "DEVICESENDBREAKTERM = 3", "DEVICEIGNORECONFIGUART = 0"}),
              logged());
}

TEST_F(Transport, RefusesAMissingSettingOrAWordInTheWrongCaseNamingIt) {
    const auto all = keys;
    const struct {
        const char *key, *value, *what, *record;  // value nullptr: missing
    } cases[] = {
        {"DevicePort", nullptr, "getSerialConfig", "Error in catch DEVICEPORT"},
        {"DeviceRxTimeout", nullptr, "getSerialConfig", "Error in catch DEVICERXTIMEOUT"},
        {"DeviceParity", "none", "getSerialConfig", "ERR_CFG_INVALID_VALUE in DEVICEPARITY"},
        {"DeviceFlowControl", "xon_xoff", "getSerialConfig",
         "ERR_CFG_INVALID_VALUE in DEVICEFLOWCONTROL"},
        {"MultipleApplication", "true", "MULTIPLEAPPLICATION", nullptr},
        {"DeviceProtocol", nullptr, "DEVICEPROTOCOL", nullptr},
    };
    for (const auto& c : cases) {
        keys = all;
        c.value ? (void)(keys[c.key] = c.value) : (void)keys.erase(c.key);
        EXPECT_THAT([&] { make(); }, ::testing::ThrowsMessage<std::runtime_error>(
                                         std::string("Error in ") + c.what));
        if (c.record != nullptr) {
            EXPECT_THAT(logged(), Contains(std::string("getSerialConfig - ") + c.record));
        }
    }
}

TEST_F(Transport, RefusesTheOpenForANumberOutsideItsRangeNamingItButReadsNumbersAsBefore) {
    const auto all = keys;
    const struct {
        const char *key, *value, *range;  // range nullptr: accepted, with these values
        int rxTimeout = 20;
        uint64_t interval = 0;
    } cases[] = {
        {"DeviceIntervalBetweenCommands", "-1", "0..60000"},  // once a pause of ULONG_MAX ms
        {"DeviceIntervalBetweenCommands", "99999999999", "0..60000"},
        {"DeviceRxTimeout", "99999999999", "1..60000"},  // once cut to 1215752191
        {"DeviceRxTimeout", "86400000", "1..60000"},
        {"DeviceTxTimeout", "60001", "-2147483648..60000"},
        {"DeviceBaudrate", "4294976896", "150..921600"},  // once cut to 9600
        {"DeviceDataBits", "9", "5..8"},
        {"DeviceStopBit", "0", "1..2"},
        {"DeviceSendBreakTerm", "2147483648", "-2147483648..2147483647"},
        // Trailing text is ignored, "0x" reads as 0 and a receive time-out below 1 as 50.
        {"DeviceIntervalBetweenCommands", "60000ms", nullptr, 20, 60000},
        {"DeviceRxTimeout", "0x7FFFFFFF", nullptr, 50},
        {"DeviceRxTimeout", "-5", nullptr, 50},
        {"DeviceBaudrate", "921600 baud", nullptr},
        {"DeviceParity", "MARK", nullptr},
    };
    for (const auto& c : cases) {
        keys = all;
        keys[c.key] = c.value;
        auto tp = make();
        EXPECT_EQ(c.range ? ERR_CFG_INVALID_VALUE : 0, tp->openPort()) << c.key << " = " << c.value;
        if (c.range != nullptr) {
            EXPECT_FALSE(tp->isPortOpened());
            EXPECT_THAT(logged(), Contains(std::string("ERR_CFG_INVALID_VALUE: ") + c.key + " = " +
                                           c.value + " is outside " + c.range));
        } else {
            EXPECT_EQ(c.rxTimeout, tp->getUartConfig().rx_timeout) << c.value;
            EXPECT_EQ(c.interval, tp->interval()) << c.value;
        }
    }
}

TEST_F(Transport, SharesTheSemaphoreOfAnotherHolderOnlyWhenMultipleApplicationStartsWithY) {
    for (const char* value : {"y", "Yes", "n", "No", ""}) {
        keys["MultipleApplication"] = value;
        if (*value == '\0') keys.erase("MultipleApplication");
        auto first = make();
        ASSERT_EQ(0, first->openPort());
        first->lockSem(first->semaphore());
        // Without sharing, the second open unlinks the name and makes a semaphore of its own.
        Service other(lib);
        TestTransport second(&other.params);
        ASSERT_EQ(0, second.openPort());
        EXPECT_EQ(tolower(value[0]) == 'y' ? 0 : 1, second.semValue()) << value;
        first->releaseSem(first->semaphore());
    }
}

TEST_F(Transport, SelectsTheExchangeByItsExactName) {
    for (const char* name : {"NorvaDireto", "Norva485", "Device65A"}) {
        keys["DeviceProtocol"] = name;
        auto tp = make();
        EXPECT_EQ(0, tp->setCallProtocol());
        EXPECT_TRUE(tp->selected(name[5] == 'D' ? &TransportProtocol::protocolNorvaDireto
                                                : &TransportProtocol::protocolNorva485))
            << name;
    }
    keys["DeviceProtocol"] = "norvadireto";
    EXPECT_EQ(ERR_SER_INVALID_PROTOCOL, make()->setCallProtocol());
    EXPECT_THAT(logged(), Contains("ERR_SER_INVALID_PROTOCOL"));
    EXPECT_THROW(LogicProtocol{&service->params}, std::runtime_error);
}

TEST_F(Transport, OpensUsesAndClosesThePortUnderASemaphoreNamedAfterTheDevice) {
    keys["PhysicalLayer"] = "USB";
    EXPECT_EQ(ERR_TRP_UNKNOWN_PHYSICALLAYER, make()->openPort());
    keys["PhysicalLayer"] = "SERIAL";
    auto tp = make();
    EXPECT_EQ(ERR_TRP_PORT_NOT_OPENED, tp->sendRecvData(1, kData, 2, nullptr, nullptr, 3));
    ASSERT_EQ(0, tp->openPort());
    EXPECT_EQ(semName, tp->getSemName());
    EXPECT_EQ(0, tp->openPort());
    EXPECT_THAT(logged(), Contains("Port Allready Open !!!"));
    // The raw port calls trace the bytes only when asked.
    unsigned char in[4] = {0};
    lib.clear();
    EXPECT_EQ(2, tp->Write(kData, 2, false));
    EXPECT_EQ(2, tp->Write(kData, 2, true));
    EXPECT_EQ(ERR_GEN_INTERNAL_ERROR, tp->Write(nullptr, 2, true));
    EXPECT_EQ("ABAB", pty.receive(4));
    EXPECT_EQ(0, tp->Read(in, 4, true));
    pty.send("Z");
    EXPECT_EQ(1, tp->Read(in, 4, true));
    EXPECT_EQ((Texts{"WDATA: 4142", "WDATA:", "RDATA: NULL", "RDATA: 5a"}), logged());

    EXPECT_EQ(0, tp->sendRecvData(1, kData, 2, nullptr, nullptr, 1));
    EXPECT_EQ(0, tp->semValueInExchange);
    EXPECT_EQ(getpid(), tp->slotInExchange);
    EXPECT_EQ(1, tp->semValue());
    EXPECT_EQ(0, tp->slot());
    // A flush that works answers ERR_TRP_GENERIC; one that fails keeps the semaphore.
    EXPECT_EQ(ERR_TRP_GENERIC, tp->flush(0x105));
    EXPECT_EQ(1, tp->semValue());
    EXPECT_EQ(ERR_SER_FLUSH_FAILED, tp->flush(0x100));  // only the low byte counts
    EXPECT_THAT(logged(), Contains("Command error: [-40014]"));
    EXPECT_EQ(0, tp->semValue());
    tp->releaseSem(tp->semaphore());

    EXPECT_EQ(0, tp->closePort());
    EXPECT_THAT(logged(), Contains("\"Named Semaphore\" Destroyed !!!"));
    EXPECT_EQ(ERR_TRP_PORT_NOT_OPENED, tp->closePort());
}

TEST_F(Transport, RetriesLinkErrorsUpToTheGivenNumberOfAttemptsAndOthersNever) {
    auto tp = make();
    ASSERT_EQ(0, tp->openPort());
    auto exchange = [&](std::vector<int> script, int retries) {
        tp->script = std::move(script);
        tp->attempts = 0;
        lib.clear();
        return tp->sendRecvData(1, kData, 2, nullptr, nullptr, retries);
    };
    int n = 0;  // the first ten are the link errors
    for (int code :
         {ERR_SER_INVALID_RESPONSE, ERR_SER_TIMEOUT, ERR_SER_ACK, ERR_SER_NACK, ERR_SER_CMD,
          ERR_SER_DATALEN, ERR_SER_ETX, ERR_SER_STX, ERR_SER_CRC16_WRONG, ERR_SER_BCC_WRONG,
          ERR_SER_READ_FAILED, ERR_SER_WRITE_FAILED, ERR_CMD_NOT_SUPPORTED}) {
        EXPECT_EQ(code, exchange({code}, 3));
        EXPECT_EQ(n++ < 10 ? 3 : 1, tp->attempts) << code;
    }
    EXPECT_EQ(0, exchange({ERR_SER_TIMEOUT, ERR_SER_NACK, 0}, 3));
    EXPECT_EQ((Texts{"Return: [-40012]", "Retry: [0]", "Return: [-40019]", "Retry: [1]"}),
              logged());
    EXPECT_EQ(ERR_SER_NACK, exchange({ERR_SER_TIMEOUT, ERR_SER_NACK, 0}, 2));
    EXPECT_EQ(ERR_SER_TIMEOUT, exchange({ERR_SER_TIMEOUT}, 0));
    EXPECT_EQ(1, tp->attempts);
    tp->addRetryable(ERR_CMD_NOT_SUPPORTED);
    EXPECT_EQ(ERR_CMD_NOT_SUPPORTED, exchange({ERR_CMD_NOT_SUPPORTED}, 3));
    EXPECT_EQ(3, tp->attempts);
}

TEST_F(PortSharing, TwoProcessesNeverInterleaveTheirExchanges) {
    auto exchanger = [&](const char* mark) {
        return child([&, mark] {
            auto tp = make(false);
            tp->mark = mark[0];
            if (tp->openPort() != 0) return 10;
            std::ofstream{cwd.file(mark)};  // opened
            int failures = 0;
            for (int i = 0; i < 10; ++i)
                failures += tp->sendRecvData(1, nullptr, 0, nullptr, nullptr, 1) != 0;
            return failures;
        });
    };
    // Opening a line discards what is queued on it: no exchange starts before
    // both processes have opened it.
    watch->lockSem(watch->semaphore());
    pid_t a = exchanger("a"), b = exchanger("b");
    EXPECT_TRUE(siutest::waitFor([&] { return access("a", F_OK) == 0 && access("b", F_OK) == 0; }));
    watch->releaseSem(watch->semaphore());
    const std::string line = pty.receive(80, 20000);
    EXPECT_EQ(0, exitStatus(a));
    EXPECT_EQ(0, exitStatus(b));
    ASSERT_EQ(80u, line.size()) << line;
    for (size_t i = 0; i < line.size(); i += 4) {
        EXPECT_TRUE(line[i] == '<' && line[i + 1] == line[i + 2] && line[i + 3] == '>') << line;
    }
}

TEST_F(PortSharing, AnExchangeThatThrowsStillGivesThePortBack) {
    watch->script = {TestTransport::kThrows, 0};
    EXPECT_THROW(watch->sendRecvData(1, nullptr, 0, nullptr, nullptr, 1), std::runtime_error);
    EXPECT_EQ(1, watch->semValue());
    EXPECT_EQ(SUCCESS, watch->sendRecvData(1, nullptr, 0, nullptr, nullptr, 1));
}

TEST_F(PortSharing, AHolderKilledInAnExchangeHandsThePortToWaitersAlreadyBlockedInAnyDirectory) {
    pid_t holder = child([&] {
        auto tp = make(false);
        if (tp->openPort() == 0) tp->lockSem(tp->semaphore());  // as an exchange does
        return pause();
    });
    EXPECT_TRUE(siutest::waitFor([&] { return watch->slot() == holder; }));

    // Waiters from this directory and from another (whose slot cannot show the holder).
    siutest::TempDir other;
    auto waiter = [&](const std::string& dir, const char* mark) {
        return child([&, dir, mark] {
            if (chdir(dir.c_str()) != 0) return 9;
            auto tp = make(false);
            if (tp->openPort() != 0) return 10;
            std::ofstream{cwd.file(mark)};
            return tp->sendRecvData(1, nullptr, 0, nullptr, nullptr, 1);
        });
    };
    pid_t here = waiter(cwd.path(), "a"), there = waiter(other.path(), "b");
    EXPECT_TRUE(siutest::waitFor([&] { return access("a", F_OK) == 0 && access("b", F_OK) == 0; }));
    usleep(2 * ProcessLock::kSliceMs * 1000);  // both asleep on the semaphore
    kill(holder, SIGKILL);
    EXPECT_EQ(0, exitStatus(here));
    EXPECT_EQ(0, exitStatus(there));
    EXPECT_EQ(128 + SIGKILL, exitStatus(holder));
    shmctl(shmget(ftok(other.path().c_str(), '/'), sizeof(int), 0), IPC_RMID, nullptr);
    // Still the one semaphore, given back once.
    EXPECT_EQ(0, watch->sendRecvData(1, nullptr, 0, nullptr, nullptr, 1));
    EXPECT_EQ(1, watch->semValue());
}

TEST_F(PortSharing, WithoutPsALiveHolderKeepsThePortAndAWaiterGivesUpNamingItAfterTheBudget) {
    keys["DeviceBaudrate"] = "115200";
    keys["DeviceIntervalBetweenCommands"] = "0";
    pid_t holder = child([&] {
        auto tp = make();
        if (tp->openPort() == 0) tp->lockSem(tp->semaphore());
        return pause();
    });
    EXPECT_TRUE(siutest::waitFor([&] { return watch->slot() == holder; }));
    const std::string path = getenv("PATH");
    setenv("PATH", cwd.path().c_str(), 1);
    Service other(lib);
    auto tp = std::make_unique<TestTransport>(&other.params);
    ASSERT_EQ(0, tp->openPort());
    setenv("PATH", path.c_str(), 1);
    EXPECT_EQ(holder, tp->slot());
    const unsigned int budget = tp->portWaitBudgetMs();
    // 115200 baud 8N1, 20 ms receive time-out, no pause: the RS-485 deadline,
    // 3 x (174 ms on the wire + 51 silent reads of 20 ms), is the longer.
    EXPECT_EQ(2 * (3 * (174 + 51 * 20) + 1000), static_cast<int>(budget));
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(ERR_SEM_TIMEOUT, tp->sendRecvData(1, nullptr, 0, nullptr, nullptr, 1));
    auto waited = std::chrono::steady_clock::now() - start;
    EXPECT_GE(waited, std::chrono::milliseconds(budget));
    EXPECT_LT(waited, std::chrono::milliseconds(budget + 1000));
    EXPECT_THAT(logged(), Contains("ERR_SEM_TIMEOUT: port [" + semName + "] held by process " +
                                   std::to_string(holder) + " for over " +
                                   std::to_string(budget) + " ms"));
    EXPECT_EQ(0, tp->attempts);
    kill(holder, SIGKILL);
    EXPECT_EQ(128 + SIGKILL, exitStatus(holder));
    EXPECT_EQ(0, tp->sendRecvData(1, nullptr, 0, nullptr, nullptr, 1));
    EXPECT_THAT(logged(), Contains("Port [" + semName + "] taken over from process " +
                                   std::to_string(holder) + ", which died holding it"));
}
