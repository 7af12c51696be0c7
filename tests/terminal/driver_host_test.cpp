#include "terminal/driver_host.h"

#include <QFile>
#include <QTemporaryDir>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

using testing::HasSubstr;

typedef DriverHost::Road Road;

class DriverHostTest : public testing::TestWithParam<Road>
{
protected:
    std::string mistake(const QString &file)
    {
        DriverHost host;
        QString error;
        EXPECT_FALSE(host.load(file, GetParam(), &error));
        EXPECT_EQ(nullptr, host.driver());
        EXPECT_FALSE(error.contains('\n')) << error.toStdString();
        const QString prefix = "cannot use plug-in " + file + ": ";
        EXPECT_TRUE(error.startsWith(prefix)) << error.toStdString();
        return error.mid(prefix.size()).toStdString();
    }
};

TEST_P(DriverHostTest, LoadsTheDriverAndEndsIt)
{
    DriverHost host;
    QString error;
    ASSERT_TRUE(host.load(DMC50_PLUGIN_FILE, GetParam(), &error)) << error.toStdString();
    EXPECT_EQ("DMC50 v3", host.driver()->name());
    host.destroyDriver();
    EXPECT_EQ(nullptr, host.driver());
}

TEST_P(DriverHostTest, NamesAFileThatIsNotThere)
{
    EXPECT_EQ("no such file", mistake("/nowhere/libdmc50v3.so"));
    EXPECT_EQ("no such file", mistake(""));
    EXPECT_EQ("no such file", mistake("/tmp"));
}

TEST_P(DriverHostTest, RefusesAFileThatIsNoLibrary)
{
    QTemporaryDir directory;
    QFile file(directory.filePath("text.so"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("no library");
    file.close();
    EXPECT_NE("", mistake(file.fileName()));
}

TEST_P(DriverHostTest, RefusesALibraryThatIsNoDriver)
{
    EXPECT_NE("", mistake(DMC50_OTHER_LIBRARY));
}

INSTANTIATE_TEST_SUITE_P(BothRoads, DriverHostTest,
                         testing::Values(Road::PluginRoot, Road::CreateDriver),
                         [](const testing::TestParamInfo<Road> &each) {
                             return each.param == Road::PluginRoot ? "PluginRoot" : "CreateDriver";
                         });

class Unusable : public testing::Test
{
protected:
    std::string mistake(const QString &file, Road road)
    {
        DriverHost host;
        QString error;
        EXPECT_FALSE(host.load(file, road, &error));
        return error.toStdString();
    }
};

TEST_F(Unusable, PluginWithAnotherInterfaceIsRefused)
{
    EXPECT_THAT(mistake(DMC50_OTHER_PLUGIN, Road::PluginRoot),
                HasSubstr("no driver with the interface "
                          "com.tarnwick.drivers.DriverInterface/1.1"));
}

TEST_F(Unusable, DriverWithoutSessionsIsRefused)
{
    EXPECT_THAT(mistake(DMC50_MUTE_DRIVER, Road::CreateDriver),
                HasSubstr("the driver does not poll announced tags"));
}

TEST_F(Unusable, CreateDriverThatGivesNothingIsRefused)
{
    EXPECT_THAT(mistake(DMC50_NO_DRIVER, Road::CreateDriver),
                HasSubstr("CreateDriver gave no driver"));
}

} // namespace
