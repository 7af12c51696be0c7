#include "tests/support/pwm_board.h"

#include <umockdev.h>

#include <QDir>
#include <QFile>

#include <cstdlib>
#include <fstream>
#include <stdexcept>

namespace
{

const char *const OutputFiles[] = {"pwm0/period", "pwm0/duty_cycle", "pwm0/enable"};

// This program is linked with the library; a shell that it starts has to be told of it.
const char Redirection[] = "libumockdev-preload.so.0";

/// One for the whole process: a device that was looked for under one and is used under the next
/// never answers.
UMockdevTestbed *testbed()
{
    struct Testbed {
        Testbed() : bed(umockdev_testbed_new()) {}
        ~Testbed() { g_object_unref(bed); }
        UMockdevTestbed *const bed;
    };
    static const Testbed only;
    return only.bed;
}

} // namespace

PwmBoard::PwmBoard()
{
    gchar *const device = umockdev_testbed_add_device(testbed(), "pwm", "pwmchip1", nullptr,
                                                      "export", "", "npwm", "1", nullptr, nullptr);
    for (const char *file : OutputFiles)
        umockdev_testbed_set_attribute(testbed(), device, file, "0");
    gchar *const root = umockdev_testbed_get_root_dir(testbed());
    m_chip = std::string(root) + device;
    g_free(root);
    g_free(device);
    ::setenv("LD_PRELOAD", Redirection, 1);
}

PwmBoard::~PwmBoard()
{
    ::unsetenv("LD_PRELOAD");
    umockdev_testbed_clear(testbed());
}

std::string PwmBoard::path(const std::string &file) const
{
    return m_chip + "/" + file;
}

std::string PwmBoard::text(const std::string &file) const
{
    std::ifstream stream(path(file));
    if (!stream)
        return "none";
    std::string line;
    std::getline(stream, line);
    return line;
}

void PwmBoard::removeOutput()
{
    if (!QDir(QString::fromStdString(path("pwm0"))).removeRecursively())
        throw std::runtime_error("the PWM output stays");
}

void PwmBoard::refuseWriting()
{
    // Permissions do not keep root out; nobody writes to a directory.
    for (const char *file : OutputFiles) {
        const QString name = QString::fromStdString(path(file));
        if (!QFile::remove(name) || !QDir().mkdir(name))
            throw std::runtime_error("the PWM output still takes what is written");
    }
}
