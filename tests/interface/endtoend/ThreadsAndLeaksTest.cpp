// Threads on services of two lines at once, and many open, status and close
// cycles, through the public functions against siusim. The tsan and asan
// presets run these under ThreadSanitizer and LeakSanitizer, which turn a
// race or a lost allocation into a failure.

#include <malloc.h>

#include <array>
#include <memory>
#include <thread>

#include "support/ServiceFixture.h"
#include "tools/siusim/SimHarness.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
// The sanitizers' allocator replaces malloc's; gcc ships no header for it.
extern "C" size_t __sanitizer_get_current_allocated_bytes();
#endif
#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

namespace {

using simtest::Wire;

// Bytes the process holds on the heap.
size_t heapInUse() {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    return __sanitizer_get_current_allocated_bytes();
#else
    return mallinfo2().uordblks;
#endif
}

class ThreadsAndLeaks : public siutest::ServiceTest {
protected:
    void SetUp() override {
        ServiceTest::SetUp();
        if (IsSkipped() || HasFatalFailure()) return;
        createDeviceZT = savedFactory;  // the real device
    }

    // A service on a new simulator of the given framing, with a sensor on
    // each get-sensor command and the green lamp.
    std::string service(const std::string& name, Wire wire) {
        sims.push_back(std::make_unique<simtest::Sim>(
            wire, std::vector<std::string>{"--board", SIU_SOURCE_DIR "/examples/siusim-board.ini"}));
        return section(name, "DevicePort=" + sims.back()->link() + "\nDeviceProtocol=" +
                                 (wire == Wire::Direct ? "NorvaDireto" : "Norva485") +
                                 "\nDeviceBaudrate=9600\nDeviceParity=NONE\nDeviceDataBits=8\n"
                                 "DeviceStopBit=1\nDeviceRxTimeout=200\nDeviceTxTimeout=200\n"
                                 "DeviceFlowControl=NONE\nDeviceIntervalBetweenCommands=1\n") +
               "[" + name + ".NORVA_SIU_DOOR_SAFE_BOX]\ncommand=S\ncommand_position=1\n" +
               "[" + name + ".NORVA_SIU_SENSOR_CASSETTE_A]\ncommand=P\ncommand_position=6\n" +
               "[" + name + ".NORVA_SIU_INDICATOR_LED_GREEN]\ncommand_position=4\n";
    }

    // Opens the service, reads every sensor and closes it: the first failing
    // step's result, or SUCCESS.
    static int cycle(const char* name, bool more) {
        std::string service = name;
        int idx = -1;
        std::array<std::array<unsigned int, NORVA_SIU_ARRAY_SIZE>, 7> a{};
        unsigned int time = 0;
        int rc = SIU_Open(&service[0], &idx);
        if (rc == SUCCESS)
            rc = SIU_GetSensorStatus(idx, a[0].data(), a[1].data(), a[2].data(), a[3].data(),
                                     a[4].data(), a[5].data(), a[6].data());
        if (rc == SUCCESS && more) rc = SIU_SetIndicator(idx, 14, NORVA_SIU_INDICATOR_VALUE_ON);
        if (rc == SUCCESS && more) rc = SIU_GetSensorMotionTime(idx, &time);
        const int closed = idx >= 0 ? SIU_Close(&service[0], &idx) : SUCCESS;
        return rc != SUCCESS ? rc : closed;
    }

    std::vector<std::unique_ptr<simtest::Sim>> sims;
};

TEST_F(ThreadsAndLeaks, TwoThreadsEachOnItsOwnServiceAndLineOpenCommandAndCloseSideBySide) {
    writeIni(service("A", Wire::Direct) + service("B", Wire::Rs485));
    std::string held = "A";
    int heldIdx = -1;
    // A service held open by the main thread, so that the threads' opens and
    // closes also meet a table in use.
    ASSERT_EQ(SUCCESS, SIU_Open(&held[0], &heldIdx));
    std::array<std::vector<int>, 2> results;
    std::vector<std::thread> threads;
    for (int t = 0; t < 2; ++t)
        threads.emplace_back([&results, t] {
            for (int i = 0; i < 30; ++i) results[t].push_back(cycle(t == 0 ? "A" : "B", true));
        });
    for (std::thread& th : threads) th.join();
    EXPECT_EQ(std::vector<int>(30, SUCCESS), results[0]);
    EXPECT_EQ(std::vector<int>(30, SUCCESS), results[1]);
    EXPECT_EQ(SUCCESS, SIU_Close(&held[0], &heldIdx));
}

TEST_F(ThreadsAndLeaks, AThousandOpenStatusAndCloseCyclesLoseNoMemory) {
    writeIni(service("A", Wire::Direct));
    // The first cycles set up what lives as long as the process (the service
    // manager, the loaded Log.so, the C library's own tables); the heap stops
    // growing within ten cycles.
    for (int i = 0; i < 100; ++i) cycle("A", false);
    // Counted without allocating, so that only the library's memory is
    // measured. A loaded machine may fail an exchange now and then; the
    // cycles must still almost all run the whole way.
    int failures = 0, lastFailure = SUCCESS;
    const size_t before = heapInUse();
    for (int i = 0; i < 1000; ++i) {
        const int rc = cycle("A", false);
        if (rc != SUCCESS) ++failures, lastFailure = rc;
    }
    EXPECT_LE(failures, 10) << "the last failure: " << lastFailure;
    EXPECT_EQ(before, heapInUse());
#if defined(__SANITIZE_ADDRESS__)
    // Nothing unreachable either; what lives as long as the process is
    // reachable and not counted.
    EXPECT_EQ(0, __lsan_do_recoverable_leak_check());
#endif
}

}  // namespace
