// What a record looks like, whichever entry point wrote it.

#include <gtest/gtest.h>

#include <regex>

#include "LogSoSupport.h"

using siutest::TempDir;
using Lines = std::vector<std::string>;

namespace {

// The lines of the only file in dir, which must be today's file of prefix,
// with the local stamp of each record line checked against the file's date
// and removed.
Lines recordsIn(const TempDir& dir, const std::string& prefix) {
    auto names = namesIn(dir.path());
    if (names.size() != 1) return {"files: " + std::to_string(names.size())};
    const std::regex stamp(R"((\d{4})-(\d\d)-(\d\d) \d\d:\d\d:\d\d\.\d{3} (.*))");
    Lines lines;
    for (const auto& line : linesOf(siutest::readWholeFile(dir.file(names[0])))) {
        std::smatch m;
        if (!std::regex_match(line, m, stamp)) {
            lines.push_back(line);
            continue;
        }
        EXPECT_EQ(prefix + "_" + m[1].str() + m[2].str() + m[3].str() + ".log", names[0]);
        lines.push_back(m[4]);
    }
    return lines;
}

}  // namespace

TEST(SessionRecords, AreOneLineOfLocalStampLevelGivenColumnsAndMessage) {
    TempDir dir;
    Session s(dir.file("App"), 10, 1 << 20, ~0u);
    ASSERT_GE(s.index, 1);
    char lib[] = "NorvaSensorBoard.so", none[] = "";
    EXPECT_EQ(0, logSo().writeToFile2(s.index, 5, lib, "ThrId: 7 |Manager|newObject", "Begin"));
    EXPECT_EQ(0, logSo().writeToFile2(s.index, 3, none, nullptr, "no columns"));
    EXPECT_EQ(0, logSo().writeToFile2(s.index, 2, nullptr, "openPort", "two\nlines\r\n"));
    EXPECT_EQ(0, logSo().writeToFile(s.index, 0, "plain"));
    EXPECT_EQ((Lines{"INF [NorvaSensorBoard.so] [ThrId: 7 |Manager|newObject] Begin",
                     "ERR no columns", "WRN [openPort] two lines", "INI plain"}),
              recordsIn(dir, "App"));
}

TEST(SessionRecords, NameTheLevelByTokenOrNumberAndKeepOnlyThoseOfTheMask) {
    auto levelsWritten = [](unsigned mask) {
        TempDir dir;
        Session s(dir.file("App"), 10, 1 << 20, mask);
        for (int level = -1; level <= 40; ++level) {
            EXPECT_EQ(0, logSo().writeToFile(s.index, level, "m")) << level;
        }
        return recordsIn(dir, "App");
    };
    Lines all = {"L-1 m", "INI m", "FIM m", "WRN m", "ERR m", "DBG m",
                 "INF m", "STA m", "DBX m", "CFG m", "STR m", "PRM m"};
    for (int level = 11; level <= 40; ++level) all.push_back("L" + std::to_string(level) + " m");
    EXPECT_EQ(all, levelsWritten(~0u));
    // WRN, ERR and bit 11, as a level list of ERR|WRN becomes.
    EXPECT_EQ((Lines{"WRN m", "ERR m", "L11 m"}), levelsWritten(0x80C));
    EXPECT_EQ(Lines{}, levelsWritten(0));
}

TEST(HexRecords, FollowTheirLineWithADumpOfSixteenBytesARow) {
    TempDir dir;
    Session s(dir.file("App"), 10, 1 << 20, ~0u);
    const unsigned char bytes[] =
        "\x02Hello, board!\x03\x7f\xff\x00"
        "ABC";
    char lib[] = "lib";
    EXPECT_EQ(0, logSo().writeToFileHex2(s.index, 4, lib, "Cls::fn", "frame", bytes, 21));
    EXPECT_EQ(0, logSo().writeToFileHex(s.index, 4, "empty", bytes, 0));
    EXPECT_EQ(0, logSo().writeToFileHex(s.index, 4, "no buffer", nullptr, 100));
    EXPECT_EQ((Lines{"DBG [lib] [Cls::fn] frame",
                     "    0000  02 48 65 6C 6C 6F 2C 20  62 6F 61 72 64 21 03 7F  .Hello, board!..",
                     "    0010  FF 00 41 42 43 " + std::string(35, ' ') + "..ABC", "DBG empty",
                     "DBG no buffer"}),
              recordsIn(dir, "App"));
}

TEST(OlderInterface, WritesTheSameRecordsToPathAndPrefixWithoutASession) {
    TempDir dir;
    std::string path = dir.path(), slashed = dir.path() + "/";
    char prefix[] = "Old", lib[] = "lib", none[] = "", text[] = "text", nine[] = "nine";
    const unsigned char bytes[] = {0x41, 0x00, 0x42};
    logSo().add(path.data(), prefix, 5, lib, "Cls|fn", text);
    logSo().logBuffer(slashed.data(), prefix, 4, none, nullptr, "dump", bytes, 3);
    logSo().add(slashed.data(), prefix, 9, nullptr, nullptr, nine);
    EXPECT_EQ((Lines{"INF [lib] [Cls|fn] text", "DBG dump",
                     "    0000  41 00 42 " + std::string(41, ' ') + "A.B", "STR nine"}),
              recordsIn(dir, "Old"));
}
