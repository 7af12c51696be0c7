#include "bench/soak/error_texts.h"

#include <gtest/gtest.h>

namespace
{

class DocumentedErrorTexts : public testing::Test
{
protected:
    std::string reason(const char *text) { return texts.reasonOf(QString::fromLatin1(text)); }

    const ErrorTexts texts{DMC50_ERROR_TEXTS};
};

TEST_F(DocumentedErrorTexts, AreSix)
{
    EXPECT_EQ(6, texts.count());
}

TEST_F(DocumentedErrorTexts, AreKnownBehindBothBeginnings)
{
    for (const std::string known : {"DMC50 no response", "read: packet loss", "packet loss",
                                    "checksum error", "invalid station id from DMC50"}) {
        EXPECT_EQ(known, reason(("read station id#1 start address 00002012:" + known).c_str()));
        EXPECT_EQ(known, reason(("write station id#255 address 0000201F" + known).c_str()));
    }
    EXPECT_EQ("end code %02XH", reason("read station id#1 start address 00002012:end code 41H"));
}

TEST_F(DocumentedErrorTexts, AreMatchedWhole)
{
    EXPECT_EQ("", reason(""));
    EXPECT_EQ("", reason("checksum error"));
    EXPECT_EQ("", reason("read station id#1 start address 00002012:"));
    EXPECT_EQ("", reason("read station id#1 start address 00002012:checksum error "));
    EXPECT_EQ("", reason("read station id#1 start address 00002012: checksum error"));
    EXPECT_EQ("", reason("read station id# start address 00002012:checksum error"));
    EXPECT_EQ("", reason("read station id#1 start address 2012:checksum error"));
    EXPECT_EQ("", reason("write station id#1 address 00002012:checksum error"));
    EXPECT_EQ("", reason("read station id#1 start address 00002012:end code 4H"));
}

TEST_F(DocumentedErrorTexts, AreNoneWithoutTheDocument)
{
    EXPECT_EQ(0, ErrorTexts("/nowhere/errors.md").count());
}

} // namespace
