#include "terminal/report.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <memory>

namespace
{

using testing::HasSubstr;
using testing::Not;

TagView view(const char *name, const char *address, const char *type, int length,
             const QList<quint32> &items, qint64 ageMs = 80, TagState state = TagState::Ok)
{
    TagView result;
    QString error;
    EXPECT_TRUE(parseTag(name, address, type, QString::number(length), &result.tag, &error));
    result.station = result.tag.station == Tag::DefaultStation ? 1 : result.tag.station;
    result.items = items;
    result.ageMs = ageMs;
    result.state = state;
    return result;
}

SessionSummary figures()
{
    SessionSummary summary;
    summary.tags = 2;
    summary.reads = 10;
    summary.writes = 1;
    summary.cycleMs = 98.5;
    summary.line.exchanges = 34;
    summary.line.failed = 3;
    summary.line.busyShare = 0.5;
    StationReport station;
    station.station = 2;
    station.requests = 12;
    station.goodReplies = 9;
    station.noAnswer = 1;
    station.endCodes = 2;
    station.lastEndCode = 0x41;
    station.bytesOut = 300;
    station.bytesIn = 400;
    station.leastRoundTripUs = 13400;
    station.medianRoundTripUs = 13450;
    station.greatestRoundTripUs = 21100;
    summary.line.stations.push_back(station);
    summary.lastError = "read station id#2 start address 00000020:DMC50 no response";
    return summary;
}

QJsonObject object(const QByteArray &line)
{
    EXPECT_FALSE(line.contains('\n'));
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(line, &error);
    EXPECT_EQ(QJsonParseError::NoError, error.error) << line.constData();
    return document.object();
}

// ---- Texts

TEST(ValueText, IsDecimalAndHexadecimalInTheWidthOfTheType)
{
    const TagView dword = view("a", "NA20", "dword", 1, {0xFFFFFFFFU});
    EXPECT_EQ("4294967295", decimalText(dword));
    EXPECT_EQ("FFFFFFFF", hexText(dword));
    const TagView words = view("a", "NA20", "word", 2, {1, 0xABCD});
    EXPECT_EQ("1 43981", decimalText(words));
    EXPECT_EQ("0001 ABCD", hexText(words));
    EXPECT_EQ("0F", hexText(view("a", "NA20", "byte", 1, {15})));
    EXPECT_EQ("0F 10", hexText(view("a", "NA20", "block", 2, {15, 16})));
}

TEST(ValueText, ShowsBitsAsSuchTheHighestFirst)
{
    const TagView bits = view("a", "NA20.0", "bits", 9, {0x005});
    EXPECT_EQ("000000101", decimalText(bits));
    EXPECT_EQ("005", hexText(bits));
    EXPECT_EQ("1", decimalText(view("a", "NA20.0", "bit", 1, {1})));
    EXPECT_EQ(QString(32, '1'), decimalText(view("a", "NA20.0", "bits", 32, {0xFFFFFFFFU})));
}

TEST(ValueText, IsADashBeforeTheFirstValue)
{
    EXPECT_EQ("-", decimalText(view("a", "NA20", "dword", 1, {})));
    EXPECT_EQ("-", hexText(view("a", "NA20", "dword", 1, {})));
}

TEST(AgeText, HasTheUnitThatSuits)
{
    EXPECT_EQ("never", ageText(-1));
    EXPECT_EQ("0 ms", ageText(0));
    EXPECT_EQ("9999 ms", ageText(9999));
    EXPECT_EQ("10.0 s", ageText(10000));
    EXPECT_EQ("123.5 s", ageText(123456));
}

TEST(TagStateName, NamesAll)
{
    EXPECT_STREQ("waiting", tagStateName(TagState::Waiting));
    EXPECT_STREQ("ok", tagStateName(TagState::Ok));
    EXPECT_STREQ("stale", tagStateName(TagState::Stale));
    EXPECT_STREQ("failed", tagStateName(TagState::Failed));
}

// ---- Table

TEST(TableLines, StandInColumnsAsWideAsTheirWidestCell)
{
    const QStringList lines = tableLines({view("first", "NA20", "dword", 1, {4200}),
                                          view("b", "2-PA0000031", "word", 2, {1, 65535}, 12345)},
                                         figures());
    EXPECT_EQ("address      station    value        hex     age  state  name",
              lines.at(0).toStdString());
    EXPECT_EQ("NA20               1     4200   00001068   80 ms  ok     first",
              lines.at(1).toStdString());
    EXPECT_EQ("2-PA0000031        2  1 65535  0001 FFFF  12.3 s  ok     b",
              lines.at(2).toStdString());
}

TEST(TableLines, MarkADoubtfulValueWhereItStands)
{
    for (const TagState state : {TagState::Stale, TagState::Failed}) {
        const QStringList lines =
            tableLines({view("a", "NA20", "dword", 1, {42}, 80, state)}, figures());
        EXPECT_THAT(lines.at(1).toStdString(), HasSubstr("?42"));
    }
    const QStringList good = tableLines({view("a", "NA20", "dword", 1, {42})}, figures());
    EXPECT_THAT(good.at(1).toStdString(), Not(HasSubstr("?")));
    const QStringList none =
        tableLines({view("a", "NA20", "dword", 1, {}, -1, TagState::Failed)}, figures());
    EXPECT_THAT(none.at(1).toStdString(), Not(HasSubstr("?")));
}

TEST(TableLines, HaveTheFiguresBelow)
{
    const std::string text =
        tableLines({view("a", "NA20", "dword", 1, {42})}, figures()).join('\n').toStdString();
    for (const char *const part :
         {"exchanges 34, failed 3, cycle 98.5 ms, line busy 50.0 %",
          "station 2: 12 requests, 9 good, 1 no answer, 2 end code; round trip 13.4 / 13.4 / 21.1 "
          "ms",
          "last error: read station id#2 start address 00000020:DMC50 no response"})
        EXPECT_THAT(text, HasSubstr(part));
    SessionSummary flawless = figures();
    flawless.lastError.clear();
    EXPECT_THAT(tableLines({}, flawless).join('\n').toStdString(), HasSubstr("last error: none"));
}

TEST(InPlace, CutsLinesToTheWindowAndErasesWhatStoodThere)
{
    EXPECT_EQ("\033[Habc\033[K\nde\033[K\n\033[J",
              inPlace({"abcdef", "de", "third", "fourth"}, 3, 3).toStdString());
    EXPECT_EQ("\033[Habcdef\033[K\nde\033[K\n\033[J",
              inPlace({"abcdef", "de"}, 0, 0).toStdString());
    EXPECT_EQ("\033[H\033[J", inPlace({"abc"}, 10, 1).toStdString());
}

// ---- JSON

TEST(TagJson, HoldsTheTag)
{
    const QJsonObject tag =
        object(tagJson(view("a", "2-NA20", "dword", 1, {0xFFFFFFFFU}), "2026-01-02T03:04:05.678Z"));
    EXPECT_EQ("2026-01-02T03:04:05.678Z", tag["time"].toString());
    EXPECT_EQ("a", tag["tag"].toString());
    EXPECT_EQ("2-NA20", tag["address"].toString());
    EXPECT_EQ(2, tag["station"].toInt());
    EXPECT_EQ(4294967295.0, tag["value"].toDouble());
    EXPECT_EQ(80, tag["age_ms"].toInt());
    EXPECT_EQ("ok", tag["state"].toString());
}

TEST(TagJson, HasAListOfSeveralItemsAndNullForNone)
{
    const QJsonObject several = object(tagJson(view("a", "NA20", "word", 2, {1, 2}), "t"));
    EXPECT_EQ((QJsonArray{1, 2}), several["value"].toArray());
    const QJsonObject none =
        object(tagJson(view("a", "NA20", "word", 2, {}, -1, TagState::Waiting), "t"));
    EXPECT_TRUE(none["value"].isNull());
    EXPECT_TRUE(none["age_ms"].isNull());
    EXPECT_EQ("waiting", none["state"].toString());
}

TEST(TagJson, SurvivesNamesWithQuotesAndForeignLetters)
{
    const QJsonObject tag = object(tagJson(view("\"Öfen\\", "NA20", "word", 1, {1}), "t"));
    EXPECT_EQ(QString("\"Öfen\\"), tag["tag"].toString());
}

TEST(SummaryJson, HoldsTheFigures)
{
    const QJsonObject summary = object(summaryJson(figures()))["summary"].toObject();
    EXPECT_EQ(2, summary["tags"].toInt());
    EXPECT_EQ(10, summary["reads"].toInt());
    EXPECT_EQ(1, summary["writes"].toInt());
    EXPECT_EQ(34, summary["exchanges"].toInt());
    EXPECT_EQ(3, summary["failed"].toInt());
    EXPECT_EQ(98.5, summary["cycle_ms"].toDouble());
    EXPECT_EQ(0.5, summary["line_busy"].toDouble());
    EXPECT_EQ(figures().lastError, summary["last_error"].toString());
    EXPECT_EQ(1, summary["stations"].toArray().size());
}

TEST(SummaryJson, HoldsEachStationsFailuresByKind)
{
    const QJsonObject station = object(summaryJson(figures()))["summary"]
                                    .toObject()["stations"]
                                    .toArray()
                                    .first()
                                    .toObject();
    const std::vector<std::pair<const char *, double>> expected = {{"station", 2},
                                                                   {"requests", 12},
                                                                   {"good", 9},
                                                                   {"failed", 3},
                                                                   {"no_answer", 1},
                                                                   {"short", 0},
                                                                   {"checksum", 0},
                                                                   {"other_station", 0},
                                                                   {"end_code", 2},
                                                                   {"last_end_code", 0x41},
                                                                   {"round_trip_least_ms", 13.4},
                                                                   {"round_trip_median_ms", 13.45},
                                                                   {"round_trip_greatest_ms", 21.1},
                                                                   {"bytes_out", 300},
                                                                   {"bytes_in", 400}};
    for (const auto &each : expected)
        EXPECT_EQ(each.second, station[each.first].toDouble(-1)) << each.first;
}

TEST(SummaryJson, HasNullForARoundTripThatNeverWas)
{
    SessionSummary summary;
    summary.line.stations.push_back(StationReport());
    const QJsonObject station =
        object(summaryJson(summary))["summary"].toObject()["stations"].toArray().first().toObject();
    EXPECT_TRUE(station["round_trip_least_ms"].isNull());
}

// ---- Storage

StorageState stick(quint64 freeBytes, quint64 totalBytes, bool busy = false)
{
    StorageState state;
    state.mounted = true;
    state.busy = busy;
    state.path = "/media/usb1";
    state.freeBytes = freeBytes;
    state.totalBytes = totalBytes;
    return state;
}

std::string storageLine(StorageKind kind, const StorageState &state)
{
    return storageText(kind, state).toStdString();
}

TEST(StorageText, SaysWhereAndHowFull)
{
    EXPECT_EQ("USB stick: none", storageLine(StorageKind::UsbStick, StorageState()));
    EXPECT_EQ("SD card: none", storageLine(StorageKind::SdCard, StorageState()));
    EXPECT_EQ("USB stick at /media/usb1: 14.2 MB of 16.0 MB free",
              storageLine(StorageKind::UsbStick, stick(14200000, 16000000)));
    EXPECT_EQ("SD card at /media/usb1: 0 bytes of 16.0 MB free, busy",
              storageLine(StorageKind::SdCard, stick(0, 16000000, true)));
    EXPECT_EQ("USB stick at /media/usb1", storageLine(StorageKind::UsbStick, stick(0, 0)));
}

TEST(StorageJson, HoldsTheDevice)
{
    const QJsonObject line =
        object(storageJson(StorageKind::SdCard, stick(14, 16, true), "2026-01-01T00:00:00.000Z"));
    const QJsonObject storage = line["storage"].toObject();
    EXPECT_EQ("2026-01-01T00:00:00.000Z", line["time"].toString());
    EXPECT_EQ("card", storage["kind"].toString());
    EXPECT_TRUE(storage["mounted"].toBool());
    EXPECT_TRUE(storage["busy"].toBool());
    EXPECT_EQ("/media/usb1", storage["path"].toString());
    EXPECT_EQ(14, storage["free_bytes"].toInt());
    EXPECT_EQ(16, storage["total_bytes"].toInt());
}

TEST(StorageJson, HasNullForASpaceThatIsNotKnown)
{
    const QJsonObject storage =
        object(storageJson(StorageKind::UsbStick, stick(0, 0), QString()))["storage"].toObject();
    EXPECT_EQ("usb", storage["kind"].toString());
    EXPECT_TRUE(storage["free_bytes"].isNull());
    EXPECT_TRUE(storage["total_bytes"].isNull());
}

// ---- Output

class Output : public testing::Test
{
protected:
    Output() : m_file(std::tmpfile()) {}
    ~Output() override { std::fclose(m_file); }

    void produce(TerminalOptions::Format format)
    {
        const std::unique_ptr<Report> report = Report::create(format, m_file);
        report->round({view("a", "NA20", "word", 1, {1}), view("b", "NA21", "word", 1, {2})},
                      figures());
        report->end(figures());
    }

    QList<QByteArray> lines()
    {
        std::rewind(m_file);
        QByteArray text(100000, '\0');
        text.resize(
            static_cast<int>(std::fread(text.data(), 1, static_cast<size_t>(text.size()), m_file)));
        EXPECT_TRUE(text.endsWith('\n'));
        text.chop(1);
        return text.split('\n');
    }

    FILE *m_file;
};

TEST_F(Output, InJsonIsAnObjectALineTheSummaryLast)
{
    produce(TerminalOptions::Json);
    const QList<QByteArray> all = lines();
    ASSERT_EQ(3, all.size());
    EXPECT_EQ("a", object(all.at(0))["tag"].toString());
    EXPECT_EQ("b", object(all.at(1))["tag"].toString());
    EXPECT_TRUE(object(all.at(2))["summary"].isObject());
}

TEST_F(Output, TellsOfStorageOnlyWhatIsNews)
{
    const std::unique_ptr<Report> report = Report::create(TerminalOptions::Table, m_file);
    report->storage(StorageKind::UsbStick, stick(14000000, 16000000));
    report->storage(StorageKind::UsbStick, stick(13000000, 16000000)); // its free space only
    report->storage(StorageKind::UsbStick, stick(13000000, 16000000, true));
    report->storage(StorageKind::SdCard, stick(1000000, 2000000));
    report->storage(StorageKind::UsbStick, StorageState());
    EXPECT_EQ(
        (QList<QByteArray>{"USB stick at /media/usb1: 14.0 MB of 16.0 MB free",
                           "USB stick at /media/usb1: 13.0 MB of 16.0 MB free, busy",
                           "SD card at /media/usb1: 1.0 MB of 2.0 MB free", "USB stick: none"}),
        lines());
}

TEST_F(Output, TellsOfStorageInAnObjectOfItsOwn)
{
    const std::unique_ptr<Report> report = Report::create(TerminalOptions::Json, m_file);
    report->storage(StorageKind::UsbStick, stick(14, 16));
    const QJsonObject line = object(lines().at(0));
    EXPECT_TRUE(line["storage"].toObject()["mounted"].toBool());
    EXPECT_TRUE(line.contains("time"));
}

TEST_F(Output, AsATableIntoAFileHasNoTerminalCodes)
{
    produce(TerminalOptions::Table);
    const QByteArray text = lines().join('\n');
    EXPECT_FALSE(text.contains('\033'));
    EXPECT_THAT(text.toStdString(), HasSubstr("address  station"));
    EXPECT_THAT(text.toStdString(), HasSubstr("2 tags, 10 reads, 1 writes"));
}

} // namespace
