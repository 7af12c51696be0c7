// What the tests of the settings start from: a chip, an application, and nothing loaded yet.

#ifndef TESTS_COMMON_ZSETTING_FIXTURE_H
#define TESTS_COMMON_ZSETTING_FIXTURE_H

#include "common/spifram.h"
#include "common/zsetting.h"

#include "tests/hmi/message_log.h"
#include "tests/support/bytes.h"
#include "tests/support/eventually.h"
#include "tests/support/spidev_bed.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QTimer>

const int SettingCount = 100;

// Addresses in the chip.
const int LengthAddress = 0;
const int CheckSumAddress = 2;
const int TableAddress = 4;

inline int addressOf(int setting)
{
    return TableAddress + 2 * setting;
}

class ZSettingTest : public testing::Test
{
protected:
    explicit ZSettingTest(SpidevBed::Device device = SpidevBed::Present)
        : m_argc(1), m_name('\0'), m_argv(&m_name), bed(device), app(m_argc, &m_argv)
    {
    }

    ~ZSettingTest() override
    {
        bed.clearFaults();
        ZSetting::drop();
        delete g_pSpiFram;
    }

    static ZSetting *store() { return ZSetting::getInstance(); }

    /// Loads the settings and forgets the frames of that.
    ZSetting *load()
    {
        ZSetting *const loaded = store();
        bed.forgetFrames();
        return loaded;
    }

    static QTimer *timer() { return store()->findChild<QTimer *>(); }

    /// Lets the running timer's second pass, and what follows from that.
    static void letTheSecondPass()
    {
        ASSERT_TRUE(timer()->isActive());
        timer()->start(0);
        EXPECT_TRUE(eventually([] {
            QCoreApplication::processEvents();
            return !timer()->isActive();
        }));
    }

    uint16_t inChip(int setting) { return bed.chipWord(addressOf(setting)); }
    void putInChip(int setting, int value) { putWord(addressOf(setting), value); }
    void putWord(int address, int value)
    {
        bed.withChip([&](Fm25v02 &chip) { chip.setWordAt(address, static_cast<uint16_t>(value)); });
    }

    /// A value for every setting, none of them 0.
    void fillChip()
    {
        for (int i = 0; i < SettingCount; ++i) {
            putInChip(i, 0x1000 + i);
        }
    }

    static std::vector<int> table()
    {
        return allSettings([](int setting) { return store()->getSettingValue(setting); });
    }
    std::vector<int> chipTable()
    {
        return allSettings([this](int setting) { return inChip(setting); });
    }

    /// What the chip says the sum is, less what it is.
    int checkSumError()
    {
        int sum = 0;
        for (const int value : chipTable()) {
            sum += value;
        }
        return bed.chipWord(CheckSumAddress) - sum % 65536;
    }

private:
    static std::vector<int> allSettings(const std::function<int(int setting)> &value)
    {
        std::vector<int> values(SettingCount);
        for (int i = 0; i < SettingCount; ++i) {
            values[static_cast<size_t>(i)] = value(i);
        }
        return values;
    }

    int m_argc;
    char m_name;
    char *m_argv;

protected:
    SpidevBed bed;
    MessageLog log;
    QCoreApplication app;
};

/// A word's writing, as in "02 00 1C 01 00".
inline std::string writeFrame(int address, int word)
{
    const char frame[] = {2, static_cast<char>(address >> 8), static_cast<char>(address & 0xFF),
                          static_cast<char>(word & 0xFF), static_cast<char>(word >> 8)};
    return hexOf(QByteArray(frame, sizeof frame));
}

/// The frames of some words' writing, in order: pairs of address and word.
inline std::vector<std::string> writes(const std::vector<std::pair<int, int>> &words)
{
    std::vector<std::string> frames;
    for (const auto &word : words) {
        frames.insert(frames.end(), {"06", writeFrame(word.first, word.second), "04"});
    }
    return frames;
}

/// What a function prints to standard output.
inline std::string printedBy(const std::function<void()> &function)
{
    testing::internal::CaptureStdout();
    function();
    return testing::internal::GetCapturedStdout();
}

#endif // TESTS_COMMON_ZSETTING_FIXTURE_H
