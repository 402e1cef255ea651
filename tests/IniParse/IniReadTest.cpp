#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>
#include <vector>

#include "IniParse/IniTestUtil.h"
#include "IniParse/minIni.h"
#include "support/TestSupport.h"

namespace {

struct Lookup {
    const char* file;
    const char* section;
    const char* key;
    const char* expected;  // "?" is the default: not found
};

void expectLookups(const std::vector<Lookup>& cases) {
    siutest::TempDir dir;
    for (const auto& c : cases) {
        std::string path = dir.write("t.ini", c.file);
        char buf[INI_BUFFERSIZE];
        int len = ini_gets(c.section, c.key, "?", buf, sizeof buf, path.c_str());
        EXPECT_EQ(c.expected, std::string(buf))
            << c.file << "[" << (c.section ? c.section : "") << "] " << c.key;
        EXPECT_EQ(std::string(buf).size(), static_cast<size_t>(len));
    }
}

}  // namespace

TEST(IniReading, MatchesNamesCaseInsensitivelyByExactLengthWithinTheirSection) {
    expectLookups({
        {"[device]\nPort=1\n", "DEVICE", "pORT", "1"},
        {"[Device ]\nPort=1\n", "Device", "Port", "?"},  // names are not trimmed
        {"[Device]\nPort=1\n", "Dev", "Port", "?"},
        {"[Device]\nPortA=1\n", "Device", "Port", "?"},
        {"  [A]  text after the bracket\n  k  =1\n", "A", "k", "1"},
        {"[A\nk=1\n", "A", "k", "?"},  // no "]": no header
        {"k=top\n[A]\nk=a\n", "", "k", "top"},
        {"k=top\n[A]\nk=a\n", nullptr, "k", "top"},
        {"k=top\n[A]\nk=a\n", "A", "k", "a"},
        {"[A]\nx=1\n[B]\nk=b\n", "A", "k", "?"},
        {"[A]\nk=first\nK=second\n[a]\nk=third\n", "A", "k", "first"},
    });
}

TEST(IniReading, TakesEqualsOrElseColonAndSkipsCommentsAndLinesWithoutDelimiter) {
    expectLookups({
        {"[A]\nKey : value\n", "A", "Key", "value"},
        {"[A]\nKey value\nKey=x\n", "A", "Key", "x"},
        {"[A]\nk:v=w\n", "A", "k:v", "w"},
        {"[A]\n;k=c\n  #k=d\nk=e\n", "A", "k", "e"},
        {"[A]\n\tk\t=\t  v  \r\n", "A", "k", "v"},
        {"[A]\nk=\n", "A", "k", ""},
        {"[A]\nk=v\xE9\n", "A", "k", "v"},  // bytes from 128 up count as white space
    });
}

TEST(IniReading, CutsTrailingCommentsOutsideQuotesAndUndoesEscapes) {
    expectLookups({
        {"[A]\nk=\"a;b\" ; comment\n", "A", "k", "a;b"},
        {"[A]\nk=a;b\n", "A", "k", "a"},
        {"[A]\nk=9600 # baud\n", "A", "k", "9600"},
        {"[A]\nk=\"say \\\"hi\\\"\"\n", "A", "k", "say \"hi\""},
        {"[A]\nk=\"x\"\"y\"\n", "A", "k", "x\"y"},
        {"[A]\nk=\"  padded  \"\n", "A", "k", "  padded  "},
        {"[A]\nk=it\\\"s;x\n", "A", "k", "it\\\"s"},  // unquoted: escapes stay
        {"[A]\nk=\"\n", "A", "k", "\""},
    });
}

TEST(IniReading, ConvertsNumbersAndBooleansByTheirLeadingText) {
    siutest::TempDir dir;
    std::string path = dir.write("t.ini",
                                 "hex=0x10\nX=0X1f\noct=010\nneg=-7\nmix=12abc\nabc=abc\nempty=\n"
                                 "big=99999999999999999999\nf=2.5\n"
                                 "t=true\ny=Yes\none=1x\nfa=FALSE\nn=no\nz=0\nm=maybe\noff=off\n");
    const char* p = path.c_str();
    const std::pair<const char*, long> numbers[] = {{"hex", 16},   {"X", 31},        {"oct", 10},
                                                    {"neg", -7},   {"mix", 12},      {"abc", 0},
                                                    {"empty", -1}, {"big", LONG_MAX}};
    for (const auto& [key, value] : numbers) EXPECT_EQ(value, ini_getl("", key, -1, p)) << key;
    EXPECT_FLOAT_EQ(2.5f, ini_getf(nullptr, "f", 0.0f, p));
    EXPECT_FLOAT_EQ(1.5f, ini_getf(nullptr, "empty", 1.5f, p));
    for (const char* key : {"t", "y", "one"}) EXPECT_EQ(1, ini_getbool("", key, 7, p)) << key;
    for (const char* key : {"fa", "n", "z"}) EXPECT_EQ(0, ini_getbool("", key, 7, p)) << key;
    for (const char* key : {"m", "off", "none"}) EXPECT_EQ(7, ini_getbool("", key, 7, p)) << key;
}

TEST(IniReading, BoundsEveryCopyAndReadsLongLinesInPieces) {
    siutest::TempDir dir;
    std::string path = dir.write(
        "t.ini", "long=" + std::string(600, 'v') + "\nx=" + std::string(509, 'a') + "k=piece\n");
    char buf[INI_BUFFERSIZE] = "default";
    EXPECT_EQ(511 - 5, ini_gets("", "long", "", buf, sizeof buf, path.c_str()));
    EXPECT_EQ(3, ini_gets("", "long", "", buf, 4, path.c_str()));
    EXPECT_EQ(0, ini_gets("", "long", "", buf, 1, path.c_str()));
    EXPECT_EQ(5, ini_gets("", "k", "", buf, sizeof buf, path.c_str()));  // the 2nd piece
    std::strcpy(buf, "default");
    EXPECT_EQ(3, ini_gets("", "missing", buf, buf, 4, path.c_str()));  // default in the buffer
    EXPECT_STREQ("def", buf);
}

TEST(IniReading, GivesDefaultsForBadArgumentsAndUnreadableFiles) {
    siutest::TempDir dir;
    std::string path = dir.write("t.ini", "[A]\nk=1\n");
    const char* p = path.c_str();
    char buf[8] = "x";
    EXPECT_EQ(0, ini_gets("A", "k", "d", nullptr, 8, p));
    EXPECT_EQ(0, ini_gets("A", "k", "d", buf, 0, p));
    EXPECT_EQ(0, ini_gets("A", nullptr, "d", buf, 8, p));
    EXPECT_EQ(0, ini_getsection(-1, buf, 8, p));
    EXPECT_EQ(0, ini_getkey("A", -1, buf, 8, p));
    EXPECT_STREQ("x", buf);
    EXPECT_EQ(0, ini_section_is_valid(nullptr, p));
    EXPECT_EQ(0, ini_browse(nullptr, nullptr, p));
    EXPECT_EQ(0, ini_gets("A", "missing", nullptr, buf, 8, p));
    for (const char* file : {static_cast<const char*>(nullptr), "", "/nonexistent/t.ini",
                             dir.path().c_str()}) {  // a directory opens but cannot be read
        EXPECT_EQ(1, ini_gets("A", "k", "d", buf, 8, file));
        EXPECT_STREQ("d", buf);
        EXPECT_EQ(5, ini_getl("A", "k", 5, file));
        EXPECT_EQ(0, ini_getsection(0, buf, 8, file));
        EXPECT_STREQ("", buf);
        EXPECT_EQ(0, ini_section_is_valid("A", file));
    }
}

TEST(IniEnumerating, ListsHeadersKeyLinesAndEveryEntryInFileOrder) {
    siutest::TempDir dir;
    std::string path = dir.write(
        "t.ini", "top = 0\n;c=1\n[First]\n a = \"q;\\\"\" ; c\nno delimiter\n b : 2\n[]\n[S ]\n");
    const char* p = path.c_str();
    char buf[16];
    std::vector<std::string> names;
    for (int i = 0; i < 4; ++i) names.push_back(ini_getsection(i, buf, sizeof buf, p) ? buf : "-");
    EXPECT_EQ((std::vector<std::string>{"First", "-", "S ", "-"}), names);
    EXPECT_EQ(2, ini_getsection(0, buf, 3, p));
    EXPECT_EQ(1, ini_getkey("first", 1, buf, sizeof buf, p));
    EXPECT_STREQ("b", buf);
    EXPECT_EQ(0, ini_getkey("First", 2, buf, sizeof buf, p));
    EXPECT_EQ(3, ini_getkey(nullptr, 0, buf, sizeof buf, p));
    int result = -1;
    EXPECT_EQ((std::vector<initest::Entry>{
                  {"", "top", "0"}, {"First", "a", "q;\""}, {"First", "b", "2"}}),
              initest::browse(path, SIZE_MAX, &result));
    EXPECT_EQ(1, result);
    EXPECT_EQ(1u, initest::browse(path, 1).size());  // the callback said stop
    initest::browse(path + "~", SIZE_MAX, &result);
    EXPECT_EQ(0, result);
}

TEST(IniEnumerating, BrowsesShorterLinesBehindALongSectionName) {
    siutest::TempDir dir;
    std::string name(500, 's');
    std::string path = dir.write("t.ini", "[" + name + "]\nabc=defghijklmnop\n[B]\nk=v\n");
    // Ten bytes remain for each line piece behind the 500-byte name.
    EXPECT_EQ((std::vector<initest::Entry>{{name, "abc", "defghi"}, {"B", "k", "v"}}),
              initest::browse(path));
}
