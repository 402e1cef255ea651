#include "manager/Global.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

TEST(ResultCodeTexts, NameEachCodeAtBlockBoundaries) {
    EXPECT_STREQ("SUCCESS", getGlobalStrErrors(SUCCESS));
    EXPECT_STREQ("ERR_MGR_MAX_SERVICES", getGlobalStrErrors(-10001));
    EXPECT_STREQ("ERR_MGR_DEVICE_NOT_FOUND", getGlobalStrErrors(-10006));
    EXPECT_STREQ("ERR_CFG_INVALID_PARAMETER_VALUE", getGlobalStrErrors(-20007));
    EXPECT_STREQ("ERR_SER_CMD", getGlobalStrErrors(-40023));
    EXPECT_STREQ("ERR_CBI_UNSUPPORTED", getGlobalStrErrors(-100001));
    EXPECT_STREQ("ERR_TRP_NOT_DEFINED_PHYSICALLAYER", getGlobalStrErrors(-110004));
    EXPECT_STREQ("ERR_FLE_DEV_FLUSH_FAILED", getGlobalStrErrors(-160009));
}

TEST(ResultCodeTexts, KeepTheThreeDeliberateExceptions) {
    EXPECT_STREQ("ERR_USB_DEV_ERROR_ACCESS", getGlobalStrErrors(ERR_USB_DEV_ERROR_ACCESS));
    EXPECT_STREQ("ERR_USB_DEV_ERROR_ACCESS", getGlobalStrErrors(ERR_USB_DEV_NO_DEVICE));
    EXPECT_STREQ("NULL", getGlobalStrErrors(ERR_CMD_UNABLE_TO_EXECUTE_2));
    EXPECT_STREQ("NULL", getGlobalStrErrors(ERR_CMD_INVALID_EXECUTION_ORDER));
    EXPECT_STREQ("ERR_CMD_ERROR_WHEN_EXECUTING", getGlobalStrErrors(-50011));
}

TEST(ResultCodeTexts, AnswerNullForValuesThatAreNoCode) {
    for (int v : {1, -1, -10000, -10007, -15000, -19999, -20008, -40024, -50013, -100002,
                  -160010, -170001, -2147483647 - 1, 2147483647}) {
        EXPECT_STREQ("NULL", getGlobalStrErrors(v)) << v;
    }
}

TEST(ResultCodeTexts, AreTheCodeNamesForEveryCodeInTheTable) {
    // Every value inside a block up to its last code must have a text naming
    // its own block; a typo in a case label would show up as a wrong prefix.
    struct Block { int base; int count; const char* prefix; };
    const Block blocks[] = {
        {10000, 6, "ERR_MGR_"},  {20000, 7, "ERR_CFG_"},  {30000, 8, "ERR_SEM_"},
        {40000, 23, "ERR_SER_"}, {50000, 12, "ERR_CMD_"}, {60000, 2, "ERR_LOG_"},
        {70000, 1, "ERR_INT_"},  {80000, 10, "ERR_GEN_"}, {90000, 22, "ERR_USB_DEV_"},
        {100000, 1, "ERR_CBI_"}, {110000, 4, "ERR_TRP_"}, {120000, 4, "ERR_DEV_"},
        {130000, 6, "ERR_MFR_DEV_"}, {140000, 5, "ERR_LIB_"}, {150000, 9, "ERR_SKT_DEV_"},
        {160000, 9, "ERR_FLE_DEV_"},
    };
    int named = 0;
    for (const auto& b : blocks) {
        for (int n = 1; n <= b.count; ++n) {
            std::string text = getGlobalStrErrors(-(b.base + n));
            if (text == "NULL") continue;
            EXPECT_EQ(0u, text.rfind(b.prefix, 0)) << -(b.base + n) << " " << text;
            ++named;
        }
        EXPECT_STREQ("NULL", getGlobalStrErrors(-(b.base + b.count + 1)));
    }
    EXPECT_EQ(129 - 2, named);  // every code but SUCCESS and the two "NULL" rows
}

static unsigned long version(const char* text, int size) {
    char buf[64];
    std::strncpy(buf, text, sizeof buf);
    return convertStringVersionToLongInt(buf, size);
}

TEST(VersionPacking, PutsOneFieldPerByteFirstFieldHighest) {
    EXPECT_EQ(0x01000302UL, version("1.0.3.2", 7));
    EXPECT_EQ(0x01000000UL, version("1.0.3.2", 3));
    EXPECT_EQ(0x01020304UL, version("1.2.3.4.5", 9));
    EXPECT_EQ(0x01020000UL, version("1.2.", 4));
    EXPECT_EQ(0x01020000UL, version("1.2", 3));
    EXPECT_EQ(0UL, version("", 0));
    EXPECT_EQ(0UL, convertStringVersionToLongInt(nullptr, 5));
}

TEST(VersionPacking, TakesFieldsModulo256AndNonNumbersAsZero) {
    EXPECT_EQ(0x2CFF0000UL, version("300.-1", 6));
    EXPECT_EQ(0x00050000UL, version("x.5", 3));
    EXPECT_EQ(0xFFFFFFFFUL, version("255.255.255.255", 15));
}

TEST(VersionPacking, ReadsNoFurtherThanTheGivenSize) {
    // Not terminated within the size: only those bytes are seen.
    char raw[4] = {'7', '.', '8', '9'};
    EXPECT_EQ(0x07080000UL, convertStringVersionToLongInt(raw, 3));
}
