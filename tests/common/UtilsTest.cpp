#include "common/Checksum.h"
#include "common/Clock.h"
#include "common/Hex.h"
#include "common/Semaphores.h"
#include "common/Strings.h"

#include <gtest/gtest.h>

#include <thread>

#include "manager/Global.h"
#include "support/TestSupport.h"

TEST(Checksums, MatchThePublishedCheckValuesOf123456789AndLsbIsModulo255) {
    const unsigned char kCheck[] = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
    unsigned int crc = 0;
    ASSERT_EQ(SUCCESS, GetCRC16_CTcoin(kCheck, 9, &crc));
    EXPECT_EQ(0x31C3u, crc & 0xFFFF);  // CRC-16/XMODEM
    EXPECT_EQ(0x31C3, GetCRC_Sankyo1775(kCheck, 9));
    EXPECT_EQ(0x31C3, GetCRC_Sankyo1776(kCheck, 9));
    EXPECT_EQ(0x29B1, CalculateCRC(kCheck, 9));  // CRC-16/CCITT-FALSE
    EXPECT_EQ(0xFEE8u, getCrc16(kCheck, 0, 8));  // CRC-16/UMTS (0x8005, initial 0)
    // Worked by hand: crc ^= byte, eight right shifts XOR-ing 0x1021 when a 1 falls out.
    EXPECT_EQ(0x0C73, crc16_fitec(kCheck, 9));

    // PPP FCS: its complement goes low byte first, and the FCS over both is the good value.
    unsigned char frame[11];
    std::memcpy(frame, kCheck, 9);
    crc16_FinishFCS(crc16_ComputeFCS(0xFFFF, kCheck, 9), frame + 9);
    EXPECT_EQ(0x6E, frame[9]);
    EXPECT_EQ(0x90, frame[10]);
    EXPECT_EQ(0xF0B8, crc16_ComputeFCS(0xFFFF, frame, 11));

    // ccTalk simple poll from host 1 to address 2: 02 00 01 FE, checksum FF.
    unsigned char msg[5] = {0x02, 0x00, 0x01, 0xFE, 0x00};
    cctalk_calc_simple_checksum(msg);
    EXPECT_EQ(0xFF, msg[4]);
    EXPECT_EQ(0, cctalk_check_simple_checksum(msg));
    msg[2] ^= 0x10;
    EXPECT_EQ(4, cctalk_check_simple_checksum(msg));
    // The block check character the framings use is pinned by their byte-exact frames.
    unsigned int msb = 9, lsb = 9;
    Calculate_MSB_LSB(0x01FF, &msb, &lsb);
    EXPECT_EQ(0x01u, msb);
    EXPECT_EQ(1u, lsb);  // 511 % 255, where a mask would give 0xFF
}

TEST(TextHelpers, ConvertHexAndTrimWithoutRunningOffTheText) {
    unsigned char bytes[3] = {0};
    char text[7], blanks[] = "  \t ";
    CharToHex(bytes, "0aFf7C", 6);
    HexToChar(text, bytes, 3);
    EXPECT_STREQ("0AFF7C", text);
    rtrim(blanks);  // stops at the first character
    EXPECT_STREQ("", blanks);
}

TEST(Semaphores, TimedLocksKeepTheirClocksAndPlainLocksGiveUpAfterTheirBudget) {
    std::string name = siutest::uniqueName("/siutest.sem");
    sem_t* sem = nullptr;
    ASSERT_EQ(SUCCESS, CreateNamedSem(name.c_str(), &sem));
    EXPECT_EQ(SUCCESS, UnlinkNamedSem(name.c_str()));
    EXPECT_EQ(SUCCESS, LockNamedSem(sem));
    // The deadline is taken on the monotonic clock, so it lies in the past for
    // sem_timedwait: a held semaphore fails at once, whatever the time-out.
    uint64_t start = GetMonotonicTickMs();
    EXPECT_EQ(ERR_SEM_GENERIC_ERROR, LockNamedSemTimeOut(sem, 5000));
    EXPECT_LT(TickElapsedMs(start, GetMonotonicTickMs()), 4000u);
    // The plain lock waits, but only for its budget.
    EXPECT_EQ(ERR_SEM_TIMEOUT, LockNamedSem(sem, 60));
    EXPECT_GE(TickElapsedMs(start, GetMonotonicTickMs()), 60u);
    EXPECT_EQ(SUCCESS, ReleaseNamedSem(sem));
    EXPECT_EQ(SUCCESS, LockNamedSemTimeOut(sem, 0));
    EXPECT_EQ(SUCCESS, DestroyNamedSem(name.c_str(), &sem));

    sem_t unnamed;
    ASSERT_EQ(SUCCESS, CreateUnamedSem(&unnamed));
    ASSERT_EQ(SUCCESS, LockUnamedSem(&unnamed));
    start = GetMonotonicTickMs();
    EXPECT_EQ(ERR_SEM_GENERIC_ERROR, LockUnamedSemTimeOut(&unnamed, 120));
    EXPECT_GE(TickElapsedMs(start, GetMonotonicTickMs()), 100u);
    std::thread poster([&] {
        Sleep_ms(20);
        ReleaseUnamedSem(&unnamed);
    });
    EXPECT_EQ(SUCCESS, LockUnamedSem(&unnamed, 10000));
    poster.join();
    EXPECT_EQ(ERR_SEM_TIMEOUT, LockUnamedSem(&unnamed, 30));
    ReleaseUnamedSem(&unnamed);
    EXPECT_EQ(SUCCESS, DestroyUnamedSem(&unnamed));
}
