#include "manager/Global.h"

#include <gtest/gtest.h>

#include <string>

TEST(ResultCodeTexts, NameEveryCodeAfterItsBlockOfTenThousand) {
    const char* prefixes[] = {"ERR_MGR_",     "ERR_CFG_", "ERR_SEM_",     "ERR_SER_",
                              "ERR_CMD_",     "ERR_LOG_", "ERR_INT_",     "ERR_GEN_",
                              "ERR_USB_DEV_", "ERR_CBI_", "ERR_TRP_",     "ERR_DEV_",
                              "ERR_MFR_DEV_", "ERR_LIB_", "ERR_SKT_DEV_", "ERR_FLE_DEV_"};
    int named = 0;
    for (int block = 1; block <= 16; ++block) {
        for (int code = -block * 10000; code > -(block + 1) * 10000; --code) {
            std::string text = getGlobalStrErrors(code);
            if (text == "NULL") continue;
            // A typo in a case label shows up as a text of the wrong block.
            EXPECT_EQ(0u, text.rfind(prefixes[block - 1], 0)) << code << " " << text;
            ++named;
        }
    }
    // Deliberately: two codes without a text, and one sharing another's.
    EXPECT_EQ(129 - 2, named);
    EXPECT_STREQ("NULL", getGlobalStrErrors(ERR_CMD_UNABLE_TO_EXECUTE_2));
    EXPECT_STREQ("NULL", getGlobalStrErrors(ERR_CMD_INVALID_EXECUTION_ORDER));
    EXPECT_STREQ("ERR_USB_DEV_ERROR_ACCESS", getGlobalStrErrors(ERR_USB_DEV_NO_DEVICE));
    EXPECT_STREQ("SUCCESS", getGlobalStrErrors(SUCCESS));
    for (int v : {1, -1, -170001, -2147483647 - 1, 2147483647})
        EXPECT_STREQ("NULL", getGlobalStrErrors(v)) << v;
}

TEST(VersionPacking, PutsOneFieldModulo256PerByteFirstFieldHighestWithinTheSize) {
    char version[] = "300.-1.3.2.9", word[] = "x.5";
    EXPECT_EQ(0x2CFF0302UL, convertStringVersionToLongInt(version, 12));
    EXPECT_EQ(0x2CFF0000UL, convertStringVersionToLongInt(version, 6));
    EXPECT_EQ(0x00050000UL, convertStringVersionToLongInt(word, 3));
    EXPECT_EQ(0UL, convertStringVersionToLongInt(nullptr, 5));
}
