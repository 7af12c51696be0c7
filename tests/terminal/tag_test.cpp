#include "terminal/tag.h"

#include <gtest/gtest.h>

namespace
{

Tag tag(const QString &address, const QString &type, int length)
{
    Tag result;
    QString error;
    EXPECT_TRUE(parseTag("t", address, type, QString::number(length), &result, &error))
        << error.toStdString();
    return result;
}

std::string mistake(const QString &address, const QString &type, const QString &length,
                    const QString &name = "t")
{
    Tag unchanged;
    unchanged.name = "before";
    QString error;
    EXPECT_FALSE(parseTag(name, address, type, length, &unchanged, &error));
    EXPECT_EQ("before", unchanged.name);
    return error.toStdString();
}

QByteArray bytes(const char *hex)
{
    return QByteArray::fromHex(hex);
}

std::string written(const Tag &tag, const QString &value)
{
    QByteArray data;
    QString error;
    return tagData(tag, value, &data, &error) ? data.toHex().toStdString() : error.toStdString();
}

// ---- Addresses

struct AddressCase {
    const char *text;
    const char *type;
    int station;
    const char *withoutPrefix;
    quint32 address;
    int bit;
};

class TagAddress : public testing::TestWithParam<AddressCase>
{
};

TEST_P(TagAddress, IsTakenApart)
{
    const Tag result = tag(GetParam().text, GetParam().type, 1);
    EXPECT_EQ(GetParam().text, result.text);
    EXPECT_EQ(GetParam().station, result.station);
    EXPECT_EQ(GetParam().withoutPrefix, result.address);
    EXPECT_EQ(GetParam().address, result.firstAddress);
    EXPECT_EQ(GetParam().bit, result.bit);
}

INSTANTIATE_TEST_SUITE_P(
    All, TagAddress,
    testing::Values(AddressCase{"NA1000", "dword", -1, "NA1000", 0x1000, 0},
                    AddressCase{"na1000", "word", -1, "na1000", 0x1000, 0},
                    AddressCase{"3-NA20", "dword", 3, "NA20", 0x20, 0},
                    AddressCase{"0-NA20", "dword", 0, "NA20", 0x20, 0},
                    AddressCase{"255-NA20", "dword", 255, "NA20", 0x20, 0},
                    AddressCase{"PA0011234", "block", -1, "PA0011234", 0x00101234, 0},
                    AddressCase{"pa00a0", "byte", -1, "pa00a0", 0x00A00000, 0},
                    AddressCase{"12-PA0010100000", "dword", 12, "PA0010100000", 0x00200000, 0},
                    AddressCase{"PAFFFFFFFFFFF", "dword", -1, "PAFFFFFFFFFFF", 0xFFEFFFFF, 0},
                    AddressCase{"NAFFFFFFFF", "dword", -1, "NAFFFFFFFF", 0xFFFFFFFF, 0},
                    AddressCase{"2-NA23.0", "bit", 2, "NA23.0", 0x23, 0},
                    AddressCase{"PA0011234.31", "bits", -1, "PA0011234.31", 0x00101234, 31}));

TEST(ParseTag, RefusesAddressesThatTheDriverWouldDieOf)
{
    const char *const all[] = {"",         "XA100",  "NA",       "PA001",   "NAG",    "NA20 ",
                               " NA20",    "-NA20",  "x-NA20",   "NA20.",   "NA20.x", "NA100000000",
                               "1000-NA1", "NA20\n", "NA20.1.2", "1-2-NA1", "NA-20"};
    for (const char *const address : all) {
        EXPECT_EQ("\"" + std::string(address) +
                      "\": no address: expected [station-]NAhex[.bit] or [station-]PAhhhhex[.bit]",
                  mistake(address, "bit", "1"));
    }
}

TEST(ParseTag, RefusesNumbersThatDoNotFit)
{
    EXPECT_EQ("\"256-NA20\": the station goes from 0 to 255", mistake("256-NA20", "word", "1"));
    EXPECT_EQ("\"NA20.32\": the bit goes from 0 to 31", mistake("NA20.32", "bit", "1"));
}

TEST(ParseTag, WantsABitNumberForBitsAndForNothingElse)
{
    EXPECT_EQ("\"NA20\": a bit tag needs a bit number, as in NA20.4", mistake("NA20", "bit", "1"));
    EXPECT_EQ("\"NA20\": a bit tag needs a bit number, as in NA20.4", mistake("NA20", "bits", "1"));
    for (const char *const type : {"byte", "word", "dword", "block"})
        EXPECT_EQ("\"NA20.4\": only bit tags have a bit number", mistake("NA20.4", type, "1"));
}

TEST(ParseTag, KnowsSixTypes)
{
    EXPECT_EQ((QStringList{"bit", "byte", "word", "dword", "block", "bits", "program"}),
              tagTypeNames());
    for (const char *const type : {"", "qword", "Word", "long"})
        EXPECT_EQ("\"" + std::string(type) +
                      "\" is no type; there are bit, byte, word, dword, block, bits, program",
                  mistake("NA20", type, "1"));
}

TEST(ParseTag, BoundsTheLengthByWhatTheDriverReadsInOneGo)
{
    const struct {
        const char *type;
        int most;
    } all[] = {{"byte", 1020}, {"word", 510}, {"dword", 255}, {"block", 1020}};
    for (const auto &each : all) {
        EXPECT_EQ(255, tag("NA20", each.type, each.most).doubleWords());
        const std::string tooMuch = std::to_string(each.most + 1);
        EXPECT_EQ("\"" + tooMuch + "\" is no length of a " + each.type + " tag (1 to " +
                      std::to_string(each.most) + ")",
                  mistake("NA20", each.type, QString::fromStdString(tooMuch)));
    }
    EXPECT_EQ(2, tag("NA20.1", "bits", 32).doubleWords());
    EXPECT_EQ("\"33\" is no length of a bits tag (1 to 32)", mistake("NA20.0", "bits", "33"));
    for (const char *const length : {"", "0", "-1", "x", "1.0", "99999999999"})
        EXPECT_EQ("\"" + std::string(length) + "\" is no length of a dword tag (1 to 255)",
                  mistake("NA20", "dword", length));
}

// ---- Names

TEST(ParseTag, CallsATagWithoutANameByItsAddress)
{
    Tag result;
    QString error;
    ASSERT_TRUE(parseTag("", "2-NA20", "word", "1", &result, &error));
    EXPECT_EQ("2-NA20", result.name);
}

TEST(ParseTag, RefusesNamesThatWouldGarbleTheTableOrAnOption)
{
    for (const char *const name : {"a,b", "a=b", "a\x1b[2Jb", "a\tb", "\x7f"}) {
        EXPECT_NE(std::string::npos,
                  mistake("NA20", "word", "1", name)
                      .find("a name has no comma, equals sign or control character"));
    }
    EXPECT_NE(
        std::string::npos,
        mistake("NA20", "word", "1", QString(65, 'x')).find("a name has at most 64 characters"));
    Tag result;
    QString error;
    EXPECT_TRUE(parseTag(QString(64, 'x'), "NA20", "word", "1", &result, &error));
    EXPECT_TRUE(parseTag("Ofen über 3 °C", "NA20", "word", "1", &result, &error));
}

// ---- The driver's own tags

TEST(ParseTag, KeepsLowLatencyTagsForTheProjectOnly)
{
    for (const char *const address :
         {"LOWLATENCY", "LOWLATENCY0", "3-LOWLATENCY0", "255-LOWLATENCY"}) {
        const Tag result = tag(address, "word", 1);
        EXPECT_TRUE(result.isDriverTag);
        EXPECT_EQ(QStringList(address), result.projectAddresses());
    }
    EXPECT_FALSE(tag("NA20", "word", 1).isDriverTag);
}

TEST(ParseTag, RefusesLowLatencyTagsThatTheDriverWouldMisread)
{
    for (const char *const address :
         {"3LOWLATENCY0", "256-LOWLATENCY0", "LOWLATENCY-3", "LOWLATENCY0\n", "-LOWLATENCY"})
        EXPECT_NE("", mistake(address, "word", "1")) << address;
}

// ---- Commands

TEST(Tag, IsAnnouncedWithItsPrefixAndAccessedWithout)
{
    const Tag words = tag("3-NA20", "word", 10);
    EXPECT_EQ("3-NA20", words.announcement().address);
    EXPECT_EQ("NA20", words.access().address);
    for (const CommunicatorCommand &command : {words.announcement(), words.access()}) {
        EXPECT_EQ(CommunicatorCommand::WordType, command.dataType);
        EXPECT_EQ(10, command.length);
    }
}

TEST(Tag, ListsOneAddressForEachDoubleWordItTouches)
{
    EXPECT_EQ((QStringList{"3-NA1E", "3-NA1F", "3-NA20"}),
              tag("3-NA1E", "word", 5).projectAddresses());
    EXPECT_EQ((QStringList{"PA0011234", "PA0011235"}),
              tag("PA0011234", "dword", 2).projectAddresses());
    EXPECT_EQ((QStringList{"NA9", "NAA"}), tag("NA9", "block", 5).projectAddresses());
    EXPECT_EQ((QStringList{"NA23.31", "NA24"}), tag("NA23.31", "bits", 2).projectAddresses());
    EXPECT_EQ((QStringList{"NA23.30"}), tag("NA23.30", "bits", 2).projectAddresses());
    EXPECT_EQ(24, tag("NA1000", "program", 1).projectAddresses().size());
    const QStringList program = tag("2-NA1000", "program", 32).projectAddresses();
    EXPECT_EQ(32 * 24, program.size());
    EXPECT_EQ("2-NA1000", program.first());
    EXPECT_EQ("2-NA1017", program.at(23));
    EXPECT_EQ("2-NA1020", program.at(24));
    EXPECT_EQ("2-NA13F7", program.last());
}

TEST(Tag, CountsAddressesUpIn32Bits)
{
    EXPECT_EQ((QStringList{"NAFFFFFFFF", "NA0"}), tag("NAFFFFFFFF", "dword", 2).projectAddresses());
}

// ---- Values

TEST(TagItems, ReadTheDriversBytesLeastSignificantFirst)
{
    EXPECT_EQ((QList<quint32>{0x04030201U}), tagItems(tag("NA1", "dword", 1), bytes("01020304")));
    EXPECT_EQ((QList<quint32>{0xFFFFFFFFU, 1U}),
              tagItems(tag("NA1", "dword", 2), bytes("ffffffff01000000")));
    EXPECT_EQ((QList<quint32>{0x0201U, 0xFFFEU}),
              tagItems(tag("NA1", "word", 2), bytes("0102feff")));
    EXPECT_EQ((QList<quint32>{0x80U, 0xFFU}), tagItems(tag("NA1", "byte", 2), bytes("80ff")));
    EXPECT_EQ((QList<quint32>{0U, 0x7FU, 0x80U}),
              tagItems(tag("NA1", "block", 3), bytes("007f80")));
    EXPECT_EQ((QList<quint32>{1U}), tagItems(tag("NA1.3", "bit", 1), bytes("01")));
    EXPECT_EQ((QList<quint32>{0x1FFU}), tagItems(tag("NA1.0", "bits", 9), bytes("ff01")));
    EXPECT_EQ((QList<quint32>{0x80000001U}), tagItems(tag("NA1.0", "bits", 32), bytes("01000080")));
}

struct WrittenCase {
    const char *type;
    int length;
    const char *value;
    const char *result; ///< the bytes in hex, or the range
};

class WrittenValue : public testing::TestWithParam<WrittenCase>
{
};

TEST_P(WrittenValue, BecomesBytesOrIsRefusedWithItsRange)
{
    const WrittenCase &each = GetParam();
    const bool bits = QString(each.type).startsWith("bit") && QString(each.type).size() <= 4;
    const QString address = bits ? "2-NA20.0" : "2-NA20";
    const QString result = each.result;
    const std::string expected = result.startsWith('(')
                                     ? "\"" + std::string(each.value) + "\" is no value for " +
                                           address.toStdString() + " " + each.result
                                     : each.result;
    EXPECT_EQ(expected, written(tag(address, each.type, each.length), each.value));
}

INSTANTIATE_TEST_SUITE_P(
    All, WrittenValue,
    testing::Values(
        WrittenCase{"dword", 1, "1", "01000000"}, WrittenCase{"dword", 1, "0xDEADBEEF", "efbeadde"},
        WrittenCase{"dword", 1, "0Xff", "ff000000"},
        WrittenCase{"dword", 1, "4294967295", "ffffffff"},
        WrittenCase{"dword", 1, "4294967296", "(-2147483648 to 4294967295)"},
        WrittenCase{"dword", 1, "-2147483648", "00000080"},
        WrittenCase{"dword", 1, "-2147483649", "(-2147483648 to 4294967295)"},
        WrittenCase{"dword", 2, "5", "0500000005000000"}, WrittenCase{"word", 1, "65535", "ffff"},
        WrittenCase{"word", 1, "65536", "(-32768 to 65535)"}, WrittenCase{"word", 1, "-5", "fbff"},
        WrittenCase{"word", 1, "-32769", "(-32768 to 65535)"}, WrittenCase{"byte", 1, "255", "ff"},
        WrittenCase{"byte", 1, "-128", "80"}, WrittenCase{"byte", 1, "256", "(-128 to 255)"},
        WrittenCase{"block", 3, "-1", "ffffff"}, WrittenCase{"bit", 1, "1", "01"},
        WrittenCase{"bit", 1, "2", "(0 to 1)"}, WrittenCase{"bit", 1, "-1", "(0 to 1)"},
        WrittenCase{"bits", 9, "0x1FF", "ff01"}, WrittenCase{"bits", 9, "512", "(0 to 511)"},
        WrittenCase{"bits", 32, "4294967295", "ffffffff"},
        WrittenCase{"byte", 1, "", "(-128 to 255)"}, WrittenCase{"byte", 1, " 1", "(-128 to 255)"},
        WrittenCase{"byte", 1, "1 ", "(-128 to 255)"},
        WrittenCase{"byte", 1, "+1", "(-128 to 255)"},
        WrittenCase{"byte", 1, "0x", "(-128 to 255)"},
        WrittenCase{"byte", 1, "0x-5", "(-128 to 255)"},
        WrittenCase{"byte", 1, "0x+5", "(-128 to 255)"},
        WrittenCase{"byte", 1, "-0x5", "(-128 to 255)"},
        WrittenCase{"byte", 1, "1.0", "(-128 to 255)"},
        WrittenCase{"byte", 1, "1,2", "(-128 to 255)"},
        WrittenCase{"byte", 1, "99999999999999999999", "(-128 to 255)"}));

TEST(TagData, ComesBackAsTheSameItems)
{
    for (const char *const type : {"byte", "word", "dword", "block"}) {
        const Tag each = tag("NA20", type, 3);
        QByteArray data;
        QString error;
        ASSERT_TRUE(tagData(each, "0x5A", &data, &error));
        EXPECT_EQ(each.dataSize(), data.size());
        EXPECT_EQ((QList<quint32>{0x5A, 0x5A, 0x5A}), tagItems(each, data));
    }
}

} // namespace
