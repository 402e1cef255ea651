#include "common/Utils.h"

#include <gtest/gtest.h>
#include <climits>
#include <unistd.h>

#include <cstring>
#include <string>
#include <thread>

#include "manager/Global.h"
#include "support/TestSupport.h"

namespace {
const unsigned char kCheck[] = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
}

// Check values of the standard CRC definitions over "123456789".
TEST(Checksums, MatchThePublishedCheckValues) {
    unsigned int crc = 0;
    ASSERT_EQ(SUCCESS, GetCRC16_CTcoin(kCheck, 9, &crc));
    EXPECT_EQ(0x31C3u, crc & 0xFFFF);                        // CRC-16/XMODEM
    EXPECT_EQ(0x31C3, GetCRC_Sankyo1775(kCheck, 9));         // CRC-16/XMODEM
    EXPECT_EQ(0x31C3, GetCRC_Sankyo1776(kCheck, 9));         // CRC-16/XMODEM
    EXPECT_EQ(0x29B1, CalculateCRC(kCheck, 9));              // CRC-16/CCITT-FALSE
    EXPECT_EQ(0x29, CalculateCRC_MSB(kCheck, 9));
    EXPECT_EQ(0xB1, CalculateCRC_LSB(kCheck, 9));
    EXPECT_EQ(0xFEE8u, getCrc16(kCheck, 0, 8));              // CRC-16/UMTS (0x8005, init 0)
}

TEST(Checksums, ComputeThePppFrameCheckSequence) {
    // RFC 1662: start at 0xFFFF, send the complement low byte first; the
    // receiver's FCS over data plus FCS is the good value 0xF0B8.
    unsigned short fcs = crc16_ComputeFCS(0xFFFF, kCheck, 9);
    unsigned char frame[11];
    std::memcpy(frame, kCheck, 9);
    crc16_FinishFCS(fcs, frame + 9);
    EXPECT_EQ(0x6E, frame[9]);  // CRC-16/X-25 check value 0x906E
    EXPECT_EQ(0x90, frame[10]);
    EXPECT_EQ(0xF0B8, crc16_ComputeFCS(0xFFFF, frame, 11));
}

TEST(Checksums, ComputeTheRightShiftedCcittVariant) {
    // Reference computed by hand from the definition: crc ^= byte, then eight
    // right shifts XOR-ing 0x1021 when a 1 falls out.
    EXPECT_EQ(0x0C73, crc16_fitec(kCheck, 9));
    EXPECT_EQ(0x0000, crc16_fitec(kCheck, 0));
    EXPECT_EQ(crc16_fitec_update(0, '1'), crc16_fitec(kCheck, 1));
}

TEST(Checksums, ProduceAndVerifyCcTalkSimpleChecksums) {
    // Simple poll from host 1 to address 2: 02 00 01 FE, checksum FF.
    unsigned char msg[5] = {0x02, 0x00, 0x01, 0xFE, 0x00};
    cctalk_calc_simple_checksum(msg);
    EXPECT_EQ(0xFF, msg[4]);
    EXPECT_EQ(0, cctalk_check_simple_checksum(msg));
    msg[2] ^= 0x10;
    EXPECT_EQ(4, cctalk_check_simple_checksum(msg));
}

TEST(Checksums, XorBlockCheckCoversTheInclusiveRange) {
    const unsigned char b[] = {0x02, 0x41, 0x42, 0x03, 0x99};
    EXPECT_EQ(0x42u, GetBCC(b, 2, 2));
    EXPECT_EQ(0x41u ^ 0x42u ^ 0x03u, GetBCC(b, 1, 3));
    EXPECT_EQ(0u, GetBCC(b, 3, 2));
    EXPECT_EQ(0u, GetBCC(nullptr, 0, 4));
    unsigned int msb = 9, lsb = 9;
    Calculate_MSB_LSB(0x01FF, &msb, &lsb);
    EXPECT_EQ(0x01u, msb);
    EXPECT_EQ(1u, lsb);  // 511 % 255, not a mask
    Calculate_MSB_LSB(0x00FF, &msb, &lsb);
    EXPECT_EQ(0u, lsb);  // a mask would give 0xFF
    EXPECT_EQ(ERR_GEN_INVALID_POINTER, GetCRC16_CTcoin(nullptr, 1, &msb));
}

TEST(HexConversions, RoundTripBytesAndText) {
    unsigned char bytes[3] = {0};
    CharToHex(bytes, "0aFf7C", 6);
    EXPECT_EQ(0x0A, bytes[0]);
    EXPECT_EQ(0xFF, bytes[1]);
    EXPECT_EQ(0x7C, bytes[2]);
    char text[7];
    HexToChar(text, bytes, 3);
    EXPECT_STREQ("0AFF7C", text);

    unsigned char* out = nullptr;
    unsigned int n = 0;
    ASSERT_NE(nullptr, bufferToHexa("ABC", 3, &out, &n));
    EXPECT_EQ(2u, n);
    EXPECT_EQ(0xAB, out[0]);
    EXPECT_EQ(0xC0, out[1]);
    delete[] out;
    EXPECT_EQ(nullptr, bufferToHexa("", 0, &out, &n));
    EXPECT_EQ(nullptr, out);
    EXPECT_EQ(0u, n);
}

TEST(IntegerConversions, PackLengthPrefixedBigEndianFields) {
    unsigned char buf[8];
    std::memset(buf, 0xEE, sizeof buf);
    ASSERT_EQ(0, insertIntInBuffer(buf, 0, 0x1234, 2, 3));
    const unsigned char expect[] = {0x00, 0x00, 0x02, 0x12, 0x34, 0xEE};
    EXPECT_EQ(0, std::memcmp(expect, buf, sizeof expect));
    EXPECT_EQ(-1, insertIntInBuffer(buf, 0, 1, 5, 1));
    EXPECT_EQ(0x1234u, bufferHexToint(buf + 3, 2));
    EXPECT_EQ(0u, bufferHexToint(buf, 5));

    char bits[9];
    EXPECT_STREQ("00000101", uIntToBinaryString(5, bits, 9));
    EXPECT_STREQ("11", uIntToBinaryString(0xFFFFFFFF, bits, 3));
    EXPECT_EQ(nullptr, uIntToBinaryString(5, bits, 1));
    EXPECT_EQ(nullptr, uIntToBinaryString(5, nullptr, 9));
}

TEST(StringHelpers, TrimAndRemoveWithoutRunningOffTheString) {
    char a[] = "  \t ";
    rtrim(a);
    EXPECT_STREQ("", a);
    char b[] = "ab c \t";
    rtrim(b);
    EXPECT_STREQ("ab c", b);
    char* t = strTrim(" a b\tc ");
    EXPECT_STREQ("ab\tc", t);
    delete[] t;
    EXPECT_EQ(nullptr, strTrim(""));
    EXPECT_EQ(nullptr, strTrim(nullptr));
    char c[] = "a.b.c";
    EXPECT_EQ(0, removeCharFromString(c, '.'));
    EXPECT_STREQ("abc", c);
    EXPECT_EQ(-1, removeCharFromString(nullptr, '.'));
    EXPECT_EQ(0, stricmp("NorvaDireto", "NORVADIRETO"));
    EXPECT_NE(0, stricmp("Norva", "Norva485"));
}

TEST(Paths, ModulePathIsTheDirectoryOfTheRunningBinaryWithSlash) {
    getModulePath();
    char exe[PATH_MAX] = {0};
    ASSERT_NE(nullptr, realpath("/proc/self/exe", exe));
    std::string dir(exe);
    dir = dir.substr(0, dir.rfind('/') + 1);
    EXPECT_EQ(dir, std::string(modulePath));

    char small[4];
    EXPECT_EQ(small, getCurrentPath(small, sizeof small));
    EXPECT_EQ(3u, std::strlen(small));
    EXPECT_EQ(nullptr, getCurrentPath(small, 0));
}

TEST(Files, ReadBackWhatWasWrittenAndReportMissingFiles) {
    siutest::TempDir dir;
    std::string path = dir.file("blob");
    const unsigned char data[] = {0, 1, 2, 0xFF, 0x80};
    ASSERT_EQ(0, writeFile(path.c_str(), data, sizeof data));
    unsigned char* buf = nullptr;
    unsigned int len = 99;
    readFile(path.c_str(), &buf, &len);
    ASSERT_EQ(sizeof data, len);
    EXPECT_EQ(0, std::memcmp(data, buf, len));
    delete[] buf;

    buf = nullptr;
    readFile(dir.file("missing").c_str(), &buf, &len);
    EXPECT_EQ(0u, len);
    EXPECT_EQ(nullptr, buf);
    EXPECT_EQ(-1, writeFile(dir.file("no/such/dir").c_str(), data, 1));
}

TEST(NamedSemaphores, LockReleaseAndReportNullHandles) {
    std::string name = siutest::uniqueName("/siutest.sem");
    sem_t* sem = nullptr;
    ASSERT_EQ(SUCCESS, CreateNamedSem(name.c_str(), &sem));
    ASSERT_NE(nullptr, sem);
    EXPECT_EQ(SUCCESS, LockNamedSem(sem));
    // The deadline is taken on the monotonic clock, so it lies in the past for
    // sem_timedwait: a held semaphore fails at once, whatever the time-out.
    uint64_t start = GetMonotonicTickMs();
    EXPECT_EQ(ERR_SEM_GENERIC_ERROR, LockNamedSemTimeOut(sem, 5000));
    EXPECT_LT(TickElapsedMs(start, GetMonotonicTickMs()), 4000u);
    EXPECT_EQ(SUCCESS, ReleaseNamedSem(sem));
    EXPECT_EQ(SUCCESS, LockNamedSemTimeOut(sem, 0));
    EXPECT_EQ(SUCCESS, ReleaseNamedSem(sem));
    EXPECT_EQ(SUCCESS, DestroyNamedSem(name.c_str(), &sem));
    EXPECT_EQ(SUCCESS, UnlinkNamedSem(name.c_str()));
    EXPECT_EQ(ERR_SEM_ERROR_CLOSE_SEM, UnlinkNamedSem(name.c_str()));

    sem_t* none = nullptr;
    EXPECT_EQ(ERR_SEM_INVALID, LockNamedSem(nullptr));
    EXPECT_EQ(ERR_SEM_INVALID, LockNamedSemTimeOut(nullptr, 1));
    EXPECT_EQ(ERR_SEM_INVALID, ReleaseNamedSem(nullptr));
    EXPECT_EQ(ERR_SEM_INVALID, DestroyNamedSem("x", &none));
    EXPECT_EQ(ERR_SEM_ERROR_CREATE_SEM, CreateNamedSem("bad/name/with/slashes", &none));
    EXPECT_EQ(nullptr, none);
}

TEST(UnnamedSemaphores, TimedWaitFailsAfterTheTimeOutAndSucceedsWhenPostedInTime) {
    sem_t sem;
    ASSERT_EQ(SUCCESS, CreateUnamedSem(&sem));
    ASSERT_EQ(SUCCESS, LockUnamedSem(&sem));
    uint64_t start = GetMonotonicTickMs();
    EXPECT_EQ(ERR_SEM_GENERIC_ERROR, LockUnamedSemTimeOut(&sem, 120));
    EXPECT_GE(TickElapsedMs(start, GetMonotonicTickMs()), 100u);

    std::thread poster([&] {
        Sleep_ms(20);
        ReleaseUnamedSem(&sem);
    });
    EXPECT_EQ(SUCCESS, LockUnamedSemTimeOut(&sem, 10000));
    poster.join();
    EXPECT_EQ(SUCCESS, ReleaseUnamedSem(&sem));
    EXPECT_EQ(SUCCESS, DestroyUnamedSem(&sem));
    EXPECT_EQ(ERR_SEM_INVALID, DestroyUnamedSem(nullptr));
    EXPECT_EQ(ERR_SEM_INVALID, LockUnamedSem(nullptr));
    EXPECT_EQ(ERR_SEM_INVALID, ReleaseUnamedSem(nullptr));
}

TEST(Threads, RunAndJoin) {
    static int ran = 0;
    unsigned long t = 0;
    ASSERT_EQ(0, ThreadCreate(&t, [](void*) -> void* { ran = 1; return nullptr; }, nullptr));
    EXPECT_EQ(0, ThreadWait(t));
    EXPECT_EQ(1, ran);
    EXPECT_EQ(-1, ThreadCreate(nullptr, nullptr, nullptr));
}

TEST(NamedEvents, AreInertPlaceholders) {
    void* h = nullptr;
    EXPECT_EQ(0, CreateNamedEvent("e", &h, true, false));
    EXPECT_EQ(ERR_INT_INVALID_POINTER, CreateNamedEvent("e", nullptr, true, false));
    EXPECT_EQ(ERR_INT_INVALID_POINTER, SetNamedEvent(static_cast<void*>(nullptr)));
    EXPECT_EQ(0, SetNamedEvent(&h));
    EXPECT_FALSE(IsNamedEventSetted(nullptr));
    EXPECT_EQ(0, DestroyHandle(nullptr));
}

TEST(DynamicLibraries, ReportMissingLibrariesAndSymbols) {
    void* h = reinterpret_cast<void*>(1);
    EXPECT_EQ(-1, OpenLibrary(&h, "/nonexistent/lib.so"));
    EXPECT_EQ(0, CloseLibrary(nullptr));
    ASSERT_EQ(0, OpenLibrary(&h, "libz.so.1"));
    void* sym = nullptr;
    EXPECT_EQ(SUCCESS, GetSymbolAddress(h, "crc32", &sym));
    EXPECT_NE(nullptr, sym);
    EXPECT_EQ(ERR_GEN_INTERNAL_ERROR, GetSymbolAddress(h, "no_such_symbol", &sym));
    EXPECT_EQ(0, CloseLibrary(h));
}

TEST(Clocks, CurrentTimeCountsFromThe30YearEpoch) {
    uint64_t tick = GetTickMs();
    uint64_t cur = GetCurrentTime();
    uint64_t diff = tick - cur;
    EXPECT_NEAR(static_cast<double>(diff), 946080000.0 * 1000, 5000.0);
    EXPECT_EQ(0u, TickElapsedMs(10, 5));
}
