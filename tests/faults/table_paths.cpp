// Tables in delimited text files.

#include "tests/faults/faults.h"

#include <QCoreApplication>
#include <QFile>

#include "recipe/zcsvloader.h"

namespace
{

const int Rows = 33;
const int Columns = 25;

QList<QStringList> table()
{
    QList<QStringList> rows;
    for (int row = 0; row < Rows; ++row) {
        QStringList fields;
        for (int column = 0; column < Columns; ++column)
            fields << QString("value %1").arg(row * Columns + column);
        rows << fields;
    }
    return rows;
}

QString fileName(const char *name)
{
    return QCoreApplication::applicationDirPath() + "/" + name;
}

QByteArray bytesOf(const QString &name)
{
    QFile file(name);
    file.open(QIODevice::ReadOnly);
    return file.readAll();
}

class Save : public FaultPath
{
public:
    Save() : m_file(fileName("saved.txt")), m_rows(table())
    {
        ZCSVSaver saver(nullptr);
        saver.saveFile(m_rows, m_file);
        m_whole = bytesOf(m_file);
    }

    std::string name() const override { return "save"; }

    void prepare() override
    {
        QFile::remove(m_file);
        m_saver.reset(new ZCSVSaver(nullptr));
    }

    bool attempt() override { return m_saver->saveFile(m_rows, m_file); }

    /// That all of it reached the medium is not what the saver says, so a fault may cut it short.
    std::string state(bool succeeded, bool struck) override
    {
        if (!succeeded)
            return m_saver->errorMessageList().isEmpty() ? "no message" : "";
        const QByteArray saved = bytesOf(m_file);
        if (!m_whole.startsWith(saved))
            return "something else in the file";
        return struck || saved == m_whole ? "" : "a part of the table in the file";
    }

    void end() override { m_saver.reset(); }

private:
    const QString m_file;
    const QList<QStringList> m_rows;
    QByteArray m_whole;
    std::unique_ptr<ZCSVSaver> m_saver;
};

class Load : public FaultPath
{
public:
    Load() : m_file(fileName("loaded.txt")), m_rows(table())
    {
        ZCSVSaver saver(nullptr);
        saver.saveFile(m_rows, m_file);
    }

    std::string name() const override { return "load"; }
    void prepare() override { m_loader.reset(new ZCSVLoader(nullptr)); }
    bool attempt() override { return m_loader->openFile(m_file); }

    std::string state(bool succeeded, bool) override
    {
        const QList<QStringList> rows = m_loader->fileContent();
        if (succeeded)
            return rows == m_rows ? "" : "half a table passes for a whole one";
        return rows.isEmpty() ? "" : "rows in spite of an error";
    }

    void end() override { m_loader.reset(); }

private:
    const QString m_file;
    const QList<QStringList> m_rows;
    std::unique_ptr<ZCSVLoader> m_loader;
};

} // namespace

std::unique_ptr<FaultPath> makeSave()
{
    return std::unique_ptr<FaultPath>(new Save);
}

std::unique_ptr<FaultPath> makeLoad()
{
    return std::unique_ptr<FaultPath>(new Load);
}
