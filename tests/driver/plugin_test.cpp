// The built plug-in, as the runtime's loaders find it. Nothing of the driver is linked in here.

#include "driver/drv_dev_setting.h"
#include "hmi/driverinterface.h"
#include "project_database.h"
#include "tests/support/bytes.h"
#include "tests/support/fake_link.h"
#include "tests/support/frames.h"

#include <QFile>
#include <QJsonObject>
#include <QPluginLoader>
#include <QPointer>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <cxxabi.h>
#include <dlfcn.h>
#include <link.h>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace
{

using testing::ElementsAre;

const char PluginFile[] = DMC50_PLUGIN_FILE;
const char VerificationText[] = "pattern=QT_PLUGIN_VERIFICATION_DATA\n"
                                "version=4.8.6\n"
                                "debug=false\n"
                                "buildkey=arm linux g++-4 no-pkg-config";

// ---- The file ------------------------------------------------------------------------------

/// The sections of an ELF file of this machine's kind.
class ElfFile
{
public:
    explicit ElfFile(const char *path)
    {
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << path;
        m_bytes = file.readAll();
    }

    /// The bytes of a section; empty when there is none of that name.
    std::string section(const std::string &name) const
    {
        const std::string names = content(sectionHeader(at<ElfW(Ehdr)>(0).e_shstrndx));
        for (unsigned i = 0; i < at<ElfW(Ehdr)>(0).e_shnum; ++i) {
            const ElfW(Shdr) header = sectionHeader(i);
            if (name == &names[header.sh_name])
                return content(header);
        }
        return std::string();
    }

    /// The names of what others may link to.
    std::set<std::string> exports() const
    {
        const std::string symbols = section(".dynsym");
        const std::string names = section(".dynstr");
        std::set<std::string> exported;
        for (size_t at = 0; at + sizeof(ElfW(Sym)) <= symbols.size(); at += sizeof(ElfW(Sym))) {
            ElfW(Sym) symbol;
            std::memcpy(&symbol, &symbols[at], sizeof symbol);
            // An ARM linker lists sections as well, which are local.
            const bool local = ELF32_ST_BIND(symbol.st_info) == STB_LOCAL; // of both kinds of file
            if (symbol.st_shndx != SHN_UNDEF && !local)
                exported.insert(&names[symbol.st_name]);
        }
        return exported;
    }

private:
    template <typename T>
    T at(size_t position) const
    {
        T value;
        if (position + sizeof value > size_t(m_bytes.size())) {
            ADD_FAILURE() << "the file ends early";
            std::memset(&value, 0, sizeof value);
        } else {
            std::memcpy(&value, m_bytes.constData() + position, sizeof value);
        }
        return value;
    }

    ElfW(Shdr) sectionHeader(unsigned number) const
    {
        const ElfW(Ehdr) header = at<ElfW(Ehdr)>(0);
        return at<ElfW(Shdr)>(header.e_shoff + size_t(number) * header.e_shentsize);
    }

    std::string content(const ElfW(Shdr) & header) const
    {
        return m_bytes.mid(int(header.sh_offset), int(header.sh_size)).toStdString();
    }

    QByteArray m_bytes;
};

/// The class that a symbol belongs to: of "vtable for ZDevice" and "ZDevice::run()" it is ZDevice.
std::string classOf(const std::string &symbol)
{
    int status = 0;
    char *const text = abi::__cxa_demangle(symbol.c_str(), nullptr, nullptr, &status);
    const std::string readable = text == nullptr ? symbol : text;
    std::free(text);
    const size_t end = std::min(readable.find("::"), readable.size());
    const size_t blank = readable.rfind(' ', end);
    const size_t begin = blank == std::string::npos ? 0 : blank + 1;
    return readable.substr(begin, end - begin);
}

TEST(PluginFile, ExportsWhatTheRuntimesLoadersResolveAndTheServicesAndNothingElse)
{
    std::set<std::string> names;
    for (const std::string &symbol : ElfFile(PluginFile).exports())
        names.insert(classOf(symbol));
    EXPECT_THAT(names,
                ElementsAre("AbstractBuzzerInterface", "ArmLinuxHmi", "CreateDriver",
                            "MessageCenter", "MessageCenterItemWidget", "MessageCenterListWidget",
                            "PlatformInterface", "SpiFram", "X86LinuxHmi", "ZBuzzer", "ZDevice",
                            "ZSetting", "g_pSpiFram", "qt_plugin_instance",
                            "qt_plugin_query_metadata", "qt_plugin_query_verification_data"));
}

/// Otherwise it would use its own services beside those of its host.
TEST(PluginFile, LetsItsHostStandInForItsServices)
{
    const std::string dynamic = ElfFile(PluginFile).section(".dynamic");
    for (size_t at = 0; at + sizeof(ElfW(Dyn)) <= dynamic.size(); at += sizeof(ElfW(Dyn))) {
        ElfW(Dyn) entry;
        std::memcpy(&entry, &dynamic[at], sizeof entry);
        EXPECT_NE(DT_SYMBOLIC, entry.d_tag);
        if (entry.d_tag == DT_FLAGS) {
            EXPECT_EQ(0U, entry.d_un.d_val & DF_SYMBOLIC);
        }
    }
    EXPECT_FALSE(dynamic.empty());
}

TEST(PluginFile, CarriesTheVerificationTextInItsSection)
{
    // The zero byte at the end is part of it.
    EXPECT_EQ(std::string(VerificationText, sizeof VerificationText),
              ElfFile(PluginFile).section(".qtplugin"));
}

TEST(PluginFile, HasTheNameThatTheRuntimeLooksFor)
{
    const QString name = QString(PluginFile).section('/', -1);
    EXPECT_EQ("libdmc50v3.so", name);
}

// ---- The C library's loader ----------------------------------------------------------------

/// The plug-in as a plain shared library.
class Library
{
public:
    Library() : m_handle(::dlopen(PluginFile, RTLD_NOW | RTLD_LOCAL))
    {
        EXPECT_NE(nullptr, m_handle) << ::dlerror();
    }
    ~Library()
    {
        if (m_handle != nullptr)
            ::dlclose(m_handle);
    }

    template <typename Function>
    Function *resolve(const char *name) const
    {
        return reinterpret_cast<Function *>(::dlsym(m_handle, name));
    }

private:
    Q_DISABLE_COPY(Library)
    void *m_handle;
};

TEST(PluginLibrary, CreatesANewDriverEachTime)
{
    const Library library;
    const auto create = library.resolve<DriverInterface *()>("CreateDriver");
    ASSERT_NE(nullptr, create);
    const std::unique_ptr<DriverInterface> one(create());
    const std::unique_ptr<DriverInterface> other(create());
    ASSERT_NE(nullptr, one);
    EXPECT_NE(one, other);
    EXPECT_EQ("DMC50 v3", one->name());
}

TEST(PluginLibrary, TellsItsVerificationText)
{
    const Library library;
    const auto query = library.resolve<const char *()>("qt_plugin_query_verification_data");
    ASSERT_NE(nullptr, query);
    EXPECT_STREQ(VerificationText, query());
}

TEST(PluginLibrary, HasOneRoot)
{
    const Library library;
    const auto instance = library.resolve<QObject *()>("qt_plugin_instance");
    ASSERT_NE(nullptr, instance);
    std::unique_ptr<QObject> root(instance());
    ASSERT_NE(nullptr, root);
    EXPECT_EQ(root.get(), instance());
    root->setObjectName("the first");
    root.reset();
    root.reset(instance());
    EXPECT_EQ("", root->objectName());
}

TEST(PluginLibrary, KeepsTheRestToItself)
{
    const Library library;
    for (const char *name : {"_ZTV12DriverDMC50v3", "_ZN12DriverDMC50v3C1Ev",
                             "_ZN13PollingThread3runEv", "_Z9HexToUIntPKci", "_Z12CreateDriverv"})
        EXPECT_EQ(nullptr, library.resolve<void()>(name)) << name;
}

// ---- The framework's loader ----------------------------------------------------------------

class LoadedPlugin : public testing::Test
{
protected:
    LoadedPlugin() : loader(PluginFile) { removeProject(); }
    ~LoadedPlugin() override
    {
        delete loader.instance();
        EXPECT_TRUE(loader.unload()) << qPrintable(loader.errorString());
        removeProject();
    }

    DriverInterface *driver()
    {
        DriverInterface *const driver = qobject_cast<DriverInterface *>(loader.instance());
        EXPECT_NE(nullptr, driver) << qPrintable(loader.errorString());
        return driver;
    }

    QPluginLoader loader;
};

TEST_F(LoadedPlugin, NamesItsInterfaceBeforeItIsLoaded)
{
    EXPECT_EQ("com.tarnwick.drivers.DriverInterface/1.1",
              loader.metaData().value("IID").toString());
    EXPECT_EQ("DriverDMC50v3", loader.metaData().value("className").toString());
    EXPECT_FALSE(loader.isLoaded());
}

TEST_F(LoadedPlugin, HasOneRoot)
{
    QObject *const root = loader.instance();
    ASSERT_NE(nullptr, root) << qPrintable(loader.errorString());
    EXPECT_EQ(root, loader.instance());
    EXPECT_EQ(root, QPluginLoader(PluginFile).instance());
    EXPECT_EQ(root, driver()->getThisObject());
    EXPECT_STREQ("DriverDMC50v3", root->metaObject()->className());
}

TEST_F(LoadedPlugin, HasAnotherRootAfterTheFirstHasGone)
{
    loader.instance()->setObjectName("the first");
    delete loader.instance();
    ASSERT_NE(nullptr, loader.instance());
    EXPECT_EQ("", loader.instance()->objectName());
}

// Through the virtual table of an object that was built apart from this program.
TEST_F(LoadedPlugin, AnswersThroughTheInterface)
{
    DriverInterface &loaded = *driver();
    EXPECT_EQ(1024, loaded.totalSize());
    EXPECT_TRUE(loaded.initialize(nullptr));
    EXPECT_FALSE(loaded.validation("NA1000"));
    EXPECT_EQ("DMC50 v3", loaded.name());
    EXPECT_EQ("Yamatake", loaded.vender());
    EXPECT_EQ("1.0.0", loaded.getVersionNumber());
    EXPECT_EQ("RS485,38400,EVEN,8,1", loaded.getStringBasedDefaultDriverSetting());
    EXPECT_EQ(112, loaded.supportedCommunicationFlags());
    EXPECT_EQ(1024, loaded.getBlockAccessSize());
    EXPECT_EQ(1024, loaded.getBitBlockAccessSize());
    EXPECT_FALSE(loaded.hasError());
    EXPECT_EQ("", loaded.getLastError());
    EXPECT_TRUE(loaded.isSupportSessionCommand());
    EXPECT_TRUE(loaded.deviceSettingChanged(nullptr));
    EXPECT_TRUE(loaded.isConnected(nullptr));
    loaded.setDebugMode(true);
    loaded.clearSessionCommand();

    const std::unique_ptr<DeviceSetting> device(loaded.getDefaultSerialDeviceSetting());
    EXPECT_EQ("COM2", device->string);
    const std::unique_ptr<DriverSetting> timing(loaded.getDefaultDriverSetting());
    EXPECT_EQ(9000, timing->timeout);
}

CommunicatorCommand tag(const QString &address)
{
    CommunicatorCommand command;
    command.address = address;
    return command;
}

TEST_F(LoadedPlugin, DrivesALine)
{
    const ProjectDatabase project = ProjectDatabase::withTags({"NA10", "2-NA20"});
    FakeLink link;
    link.answer = frames::echoAddresses;
    driver()->setSessionCommand(QList<CommunicatorCommand>() << tag("2-NA20"));
    EXPECT_EQ("10 00 00 00", hexOf(driver()->read(&link, tag("NA10"))));
    EXPECT_EQ(1, driver()->write(&link, tag("NA10"), bytes("05")));
    delete loader.instance(); // before its line
    EXPECT_THAT(link.sent(), testing::Contains(frames::readRequest(2, {0x20})));
}

TEST_F(LoadedPlugin, MayBeUnloadedAndLoadedAgain)
{
    for (int i = 0; i < 3; ++i) {
        const ProjectDatabase project = ProjectDatabase::withTags({"NA10"});
        FakeLink link;
        link.answer = frames::echoAddresses;
        EXPECT_EQ("10 00 00 00", hexOf(driver()->read(&link, tag("NA10"))));
        delete loader.instance();
        EXPECT_TRUE(loader.unload()) << qPrintable(loader.errorString());
        removeProject();
    }
}

TEST_F(LoadedPlugin, HasItsRootEndedByTheLoader)
{
    const ProjectDatabase project = ProjectDatabase::withTags({"NA10"});
    FakeLink link;
    link.answer = frames::echoAddresses;
    EXPECT_EQ("10 00 00 00", hexOf(driver()->read(&link, tag("NA10"))));
    const QPointer<QObject> root(loader.instance());
    EXPECT_TRUE(loader.unload()) << qPrintable(loader.errorString());
    EXPECT_TRUE(root.isNull());
}

/// Ends the program with a running line and nobody who destroys the driver.
void exitWithRoot()
{
    const ProjectDatabase project = ProjectDatabase::withTags({"NA10"});
    static FakeLink link;
    link.answer = frames::echoAddresses;
    QPluginLoader loader(PluginFile);
    DriverInterface *const driver = qobject_cast<DriverInterface *>(loader.instance());
    std::exit(driver->read(&link, tag("NA10")).size());
}

TEST(PluginDeathTest, MayEndWithTheProgram)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(exitWithRoot(), testing::ExitedWithCode(4), "");
}

} // namespace
