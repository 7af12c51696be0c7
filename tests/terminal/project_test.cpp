#include "terminal/project.h"

#include <QDir>
#include <QFile>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QVariant>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

using testing::ElementsAre;
using testing::HasSubstr;

const char Header[] = "name,address,type,length\n";

class ProjectFile : public testing::Test
{
protected:
    QString path(const QString &name) const { return m_directory.filePath(name); }

    QString file(const QByteArray &content)
    {
        QFile out(path("project.csv"));
        EXPECT_TRUE(out.open(QIODevice::WriteOnly));
        out.write(content);
        return out.fileName();
    }

    Project load(const QByteArray &content)
    {
        Project project;
        QString error;
        EXPECT_TRUE(loadProject(file(content), &project, &error)) << error.toStdString();
        return project;
    }

    std::string mistake(const QByteArray &content)
    {
        const QString name = file(content);
        Project project;
        QString error;
        EXPECT_FALSE(loadProject(name, &project, &error));
        const QString prefix = "cannot read project " + name + ": ";
        EXPECT_TRUE(error.startsWith(prefix)) << error.toStdString();
        return error.mid(prefix.size()).toStdString();
    }

    std::vector<std::string> names(const Project &project)
    {
        std::vector<std::string> all;
        for (const Tag &tag : project.tags)
            all.push_back(tag.name.toStdString());
        return all;
    }

    QTemporaryDir m_directory;
};

TEST_F(ProjectFile, ListsTagsInItsOrder)
{
    const Project project = load(QByteArray(Header) + "b,NA20,dword,1\na,2-NA21.3,bit,1\n");
    EXPECT_THAT(names(project), ElementsAre("b", "a"));
    EXPECT_EQ(2, project.tags.at(1).station);
    EXPECT_EQ(3, project.tags.at(1).bit);
}

TEST_F(ProjectFile, MayHaveItsColumnsInAnyOrderAndOthersBesides)
{
    const Project project = load("length,unit,address,type,name\n2,K,NA20,word,a\n");
    ASSERT_EQ(1, project.tags.size());
    EXPECT_EQ("a", project.tags.at(0).name);
    EXPECT_EQ(2, project.tags.at(0).length);
}

TEST_F(ProjectFile, MayHaveCommentsBlanksQuotesAMarkAndForeignLineEnds)
{
    const Project project = load("\xEF\xBB\xBF# about\r\n\r\nname, address, type, length\r\n"
                                 "  \"a b\" ,\tNA20 , word , 1\r\n# no\r\nc,NA21,word,1");
    EXPECT_THAT(names(project), ElementsAre("a b", "c"));
}

TEST_F(ProjectFile, NamesTheLineOfAMistake)
{
    const QByteArray good = "a,NA20,dword,1\n";
    EXPECT_EQ("line 3: \"XA1\": no address: expected [station-]NAhex[.bit] or "
              "[station-]PAhhhhex[.bit]",
              mistake(Header + good + "b,XA1,dword,1\n"));
    EXPECT_EQ(
        "line 2: \"qword\" is no type; there are bit, byte, word, dword, block, bits, program",
        mistake(QByteArray(Header) + "b,NA1,qword,1\n"));
    EXPECT_EQ("line 2: \"0\" is no length of a dword tag (1 to 255)",
              mistake(QByteArray(Header) + "b,NA1,dword,0\n"));
    EXPECT_EQ("line 4: there is a tag \"a\" already",
              mistake(Header + good + "#\n" + "a,NA21,dword,1\n"));
    EXPECT_EQ("line 3: there is a tag \"NA20\" already",
              mistake(QByteArray(Header) + ",NA20,word,1\n,NA20,byte,1\n"));
}

TEST_F(ProjectFile, WithoutTagsIsRefused)
{
    EXPECT_EQ("no tags", mistake(Header));
    EXPECT_THAT(mistake(""), HasSubstr("eader"));
    EXPECT_THAT(mistake("# nothing\n"), HasSubstr("eader"));
}

TEST_F(ProjectFile, WithoutOneOfItsColumnsIsRefused)
{
    EXPECT_THAT(mistake("name,address,type\na,NA20,word\n"), HasSubstr("length"));
    EXPECT_THAT(mistake("name,name,address,type,length\na,a,NA20,word,1\n"), HasSubstr("name"));
}

TEST_F(ProjectFile, HostileContentIsRefused)
{
    const std::vector<QByteArray> all = {
        QByteArray(Header) + "a,NA20,word\n",     // a field is missing
        QByteArray(Header) + "a,NA20,word,1,2\n", // one too many
        QByteArray(Header) + "\"a,NA20,word,1\n", // a quote stays open
        QByteArray(Header) + "a,NA20,word,99999999999999999999\n",
        QByteArray(Header) + QByteArray(100000, 'x') + ",NA20,word,1\n",
        QByteArray(Header) + "a," + QByteArray(100000, 'F') + ",word,1\n",
        QByteArray(Header) + "a\x1b[2J,NA20,word,1\n",
        QByteArray(Header) + QByteArray("a,NA20,wo\0rd,1\n", 15),
        QByteArray(4096, '\0'),
        QByteArray("\xff\xfe\x00\x00", 4),
        QByteArray(100000, ','),
        QByteArray(100000, '"'),
    };
    for (const QByteArray &content : all)
        EXPECT_NE("", mistake(content)) << content.left(60).constData();
}

TEST_F(ProjectFile, IsRefusedWhereverItIsCutOffInATag)
{
    const QByteArray content = QByteArray(Header) + "a,NA20,dword,12";
    for (int size = 0; size < content.size() - 1; ++size)
        EXPECT_NE("", mistake(content.left(size))) << size;
}

TEST_F(ProjectFile, ThatIsNotThereIsNamed)
{
    Project project;
    QString error;
    EXPECT_FALSE(loadProject(path("nowhere.csv"), &project, &error));
    EXPECT_THAT(error.toStdString(), HasSubstr(path("nowhere.csv").toStdString()));
    EXPECT_THAT(error.toStdString(), HasSubstr("No such file"));
    EXPECT_FALSE(loadProject(m_directory.path(), &project, &error));
}

TEST_F(ProjectFile, FindsTagsByNameBeforeAddress)
{
    const Project project =
        load(QByteArray(Header) + "NA21,NA20,word,1\nb,NA21,word,1\nc,2-na20.5,bit,1\n");
    ASSERT_NE(nullptr, project.find("NA21", 1));
    EXPECT_EQ("NA20", project.find("NA21", 1)->text);
    EXPECT_EQ("NA21", project.find("b", 1)->text);
    EXPECT_EQ("c", project.find("2-NA20.5", 1)->name);
    EXPECT_EQ(nullptr, project.find("B", 1));
    EXPECT_EQ(nullptr, project.find("3-NA20", 1));
    EXPECT_EQ(nullptr, project.find("", 1));
}

TEST_F(ProjectFile, FindsTagsWithAndWithoutTheDefaultStation)
{
    const Project project = load(QByteArray(Header) + "a,NA20,word,1\nb,2-NA20,word,1\n");
    EXPECT_EQ("a", project.find("NA20", 1)->name);
    EXPECT_EQ("a", project.find("1-na20", 1)->name);
    EXPECT_EQ("b", project.find("2-NA20", 1)->name);
    EXPECT_EQ(nullptr, project.find("11-NA20", 1));
}

// ---- The sample

TEST(SampleProject, HasWhatANewcomerShouldSee)
{
    Project project;
    QString error;
    ASSERT_TRUE(loadProject(DMC50_SAMPLE_PROJECT, &project, &error)) << error.toStdString();
    std::set<int> stations, types;
    bool pa = false, na = false, lowLatency = false;
    for (const Tag &tag : project.tags) {
        lowLatency = lowLatency || tag.isDriverTag;
        if (tag.isDriverTag)
            continue;
        stations.insert(tag.station == Tag::DefaultStation ? 1 : tag.station);
        types.insert(tag.type);
        pa = pa || tag.address.startsWith("PA");
        na = na || tag.address.startsWith("NA");
    }
    EXPECT_THAT(stations, ElementsAre(1, 2, 3));
    EXPECT_TRUE(types.count(CommunicatorCommand::WordType) > 0 &&
                types.count(CommunicatorCommand::DoubleWordType) > 0 &&
                types.count(CommunicatorCommand::BitType) > 0);
    EXPECT_TRUE(pa && na && lowLatency);
}

// ---- The database

class ProjectDatabase : public ProjectFile
{
protected:
    std::string databaseFile() const { return path("compile/database/database").toStdString(); }

    bool write(const QByteArray &tags, const QString &port = "COM2", int station = 1)
    {
        return writeProjectDatabase(path("compile/database/database"),
                                    load(QByteArray(Header) + tags), port, station, &m_error);
    }

    /// The rows of a query, values separated by blanks.
    std::vector<std::string> rows(const QString &query)
    {
        std::vector<std::string> result;
        {
            QSqlDatabase database = QSqlDatabase::addDatabase("QSQLITE", "check");
            database.setDatabaseName(path("compile/database/database"));
            database.setConnectOptions("QSQLITE_OPEN_READONLY");
            EXPECT_TRUE(database.open());
            QSqlQuery row(query, database);
            EXPECT_TRUE(row.isActive()) << query.toStdString();
            while (row.next())
                result.push_back(text(row));
        }
        QSqlDatabase::removeDatabase("check");
        return result;
    }

    QString m_error;

private:
    static std::string text(const QSqlQuery &row)
    {
        QStringList values;
        for (int i = 0; row.value(i).isValid(); ++i)
            values << row.value(i).toString();
        return values.join(' ').toStdString();
    }
};

TEST_F(ProjectDatabase, HoldsALinkItsDefaultStationAndEveryAddress)
{
    ASSERT_TRUE(write("a,NA20,dword,1\nb,2-NA1E,word,5\nc,PA0011234.31,bits,2\n"
                      "d,3-LOWLATENCY0,word,1\n"));
    EXPECT_THAT(rows("SELECT LINKID, HMIPORT FROM LINK"), ElementsAre("1 1003"));
    EXPECT_THAT(rows("SELECT LINKID, STATIONID, ISDEFAULT FROM NODE"), ElementsAre("1 1 1"));
    EXPECT_THAT(rows("SELECT IP, PORT FROM NODE"), testing::SizeIs(1));
    EXPECT_THAT(rows("SELECT address, connector_id FROM custom_tag_table"),
                ElementsAre("NA20 1", "2-NA1E 1", "2-NA1F 1", "2-NA20 1", "PA0011234.31 1",
                            "PA0011235 1", "3-LOWLATENCY0 1"));
}

TEST_F(ProjectDatabase, HoldsAnAddressOnceHoweverManyTagsTouchIt)
{
    ASSERT_TRUE(write("a,NA20,dword,2\nb,NA20,word,1\nc,NA21,dword,1\n"));
    EXPECT_THAT(rows("SELECT address FROM custom_tag_table"), ElementsAre("NA20", "NA21"));
}

TEST_F(ProjectDatabase, TakesPortAndStationFromTheLink)
{
    ASSERT_TRUE(write("a,NA20,dword,1\n", "COM1", 44));
    EXPECT_THAT(rows("SELECT HMIPORT FROM LINK"), ElementsAre("1002"));
    EXPECT_THAT(rows("SELECT STATIONID FROM NODE WHERE ISDEFAULT = 1"), ElementsAre("44"));
}

TEST_F(ProjectDatabase, ReplacesAnOlderOneAndLeavesNothingBeside)
{
    ASSERT_TRUE(write("a,NA20,dword,1\n"));
    ASSERT_TRUE(write("a,NA30,dword,1\n"));
    EXPECT_THAT(rows("SELECT address FROM custom_tag_table"), ElementsAre("NA30"));
    EXPECT_EQ(QStringList("database"),
              QDir(path("compile/database")).entryList(QDir::Files | QDir::Hidden));
}

TEST_F(ProjectDatabase, ThatCannotBeWrittenIsNamed)
{
    file("in the way");
    QString error;
    const Project project = load(QByteArray(Header) + "a,NA20,dword,1\n");
    const QString inTheWay = path("project.csv") + "/database";
    EXPECT_FALSE(writeProjectDatabase(inTheWay, project, "COM2", 1, &error));
    EXPECT_EQ("cannot make the directory of " + inTheWay.toStdString(), error.toStdString());
}

TEST_F(ProjectDatabase, TakesManyTagsInReasonableTime)
{
    QByteArray tags;
    for (int i = 0; i < 5000; ++i)
        tags += ",NA" + QByteArray::number(i, 16) + ",dword,1\n";
    ASSERT_TRUE(write(tags));
    EXPECT_THAT(rows("SELECT count(*) FROM custom_tag_table"), ElementsAre("5000"));
}

} // namespace
