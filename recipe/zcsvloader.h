// The terminal's exchange of tables with delimited text files.

#ifndef RECIPE_ZCSVLOADER_H
#define RECIPE_ZCSVLOADER_H

#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariant>

class QFile;
class QTextCodec;
class QTextStream;
class QWidget;

/// What reading and writing a delimited text file have in common.
///
/// Threads: an object is used by the thread in which it lives, and only there. In the user
/// interface's thread it asks and reports by dialogs, which keep an event loop running until they
/// are answered; anywhere else, and in programs without a user interface, it never shows one and
/// reports through its lists.
class ZCSVInterface : public QObject
{
    Q_OBJECT

public:
    enum FileFormat : int {
        TextFormat = 0, ///< fields separated by a tab, "*.txt"
        CSVFormat = 1   ///< fields separated by a comma, "*.csv"
    };

    /// \param parent  what the dialogs belong to; not owned, outlives them; may be null
    explicit ZCSVInterface(QWidget *parent);

    /// Sets the codec that files have unless told otherwise: UTF-16LE.
    void init();

    QTextCodec *textCodec() const;

    /// \param codec  of the framework's, which owns it; not null
    void setCodec(QTextCodec *codec);

    /// What stands between two fields.
    virtual QString delimiter() const;

    /// \param delimiter  not empty, without a double quote or line end
    void setDelimiter(const QString &delimiter);

    /// Sets the format and with it the delimiter and the files that the dialogs show. A format that
    /// is not one of `FileFormat` is stored and changes nothing else.
    void setFileFormat(FileFormat format);

    /// Whether `askEachTimeCheck` asks. Initially it does not.
    void setAskEachTime(bool ask);

    /// Has the user confirm the format, if this was asked for and there is a user to ask.
    /// \return false: the user cancelled
    bool askEachTimeCheck();

signals:
    /// How far the work is: ("total lines", their number), once, and then ("current line", its
    /// number from 1) for each row, each an int.
    void updateStatus(QString description, QVariant value);

protected:
    bool inGuiThread() const;
    QWidget *parentWidget() const;
    QString filter() const;
    bool generateByteOrderMark() const;
    void storeGenerateByteOrderMark(bool generate);

    /// Where the dialogs begin: the folder of the last file, at first the application's.
    QString lastDirectory() const;
    void rememberDirectoryOf(const QString &fileName);

private:
    QString formatName() const;

    QWidget *const m_parent_widget;
    QTextCodec *m_codec;
    bool m_generate_byte_order_mark; ///< the saver's
    QString m_delimiter;
    FileFormat m_file_format;
    QString m_filter;
    bool m_ask_each_time;
};

/// Reads a delimited text file into rows of fields: the header, then the lines with text, each as
/// wide as the header. How fields are quoted is said at `DelimitedText`.
///
/// A byte order mark decides about the encoding, the codec where there is none. Carriage returns
/// are no text: they are dropped wherever they stand.
class ZCSVLoader : public ZCSVInterface
{
    Q_OBJECT

public:
    /// Largest file that is read, in bytes. A row of nothing but delimiters, one byte each, would
    /// come near what a list of the framework can hold in one of twice the size.
    static const qint64 LargestFile = 128 * 1024 * 1024;

    explicit ZCSVLoader(QWidget *parent);

    /// Whether lines are made as wide as the header, with a warning. Initially they are; else a
    /// line of another width is an error.
    void setAdjustToHeader(bool adjust);

    /// Reads a file. Rows and messages of an earlier one are forgotten.
    /// \param fileName  empty: the user chooses, if there is one
    /// \return whether there was no error. Else `errorMessageList()` says why; it is empty when the
    ///         user chose no file, and for a file that cannot be opened or is no ordinary file. A
    ///         file that there is no memory for is too large.
    bool openFile(QString fileName);

    /// The rows of the last file, none after an error. Except after a clean load it also reports
    /// what was wrong: to the user, or as a title and a text at the end of `errorMessageList()`.
    QList<QStringList> fileContent();

    QStringList errorMessageList() const;

    /// Whether the fields of the last file were separated by something else than `delimiter()`,
    /// and no line was an error for its width.
    bool delimiterAutoDetected() const;

    /// Finds out what the fields of a line are separated by: the first of tab and comma, other than
    /// the present delimiter, that the line has at least twice.
    /// \param delimiter  gets it
    /// \return false: it is neither; `delimiter` is unchanged
    bool autoDetectDelimiter(QString &delimiter, QString line);

    /// Whether a line cannot be taken apart: it has no delimiter, or a quoted field that it does
    /// not close, and no other delimiter can be found in it. \param errors     gets the message
    /// \param warnings   unchanged
    /// \param delimiter  gets the one that was found instead
    bool isLineFormatError(QString line, QStringList &errors, QStringList &warnings,
                           QString &delimiter);

    /// Reads a table. What a table may take in memory is limited to a few times its text: lines
    /// that are padded without measure end the load with an error. \param errors, warnings messages
    /// are appended \return the rows, header first; what was read before an error when there was
    /// one
    QList<QStringList> loadFile(QTextStream &stream, QStringList &errors, QStringList &warnings);

private:
    /// What the last `openFile` came to.
    enum Status {
        NoFileName = 0,        ///< outside the user interface's thread, where nobody can be asked
        NotOpened = 1,         ///< the user cancelled, or the file cannot be opened
        FileErrors = 2,        ///< the file had errors
        Loaded = 3,            ///< without a warning
        DelimiterReplaced = 4, ///< loaded; the delimiter was found in the file
        LinesAdjusted = 5      ///< loaded; lines were padded or cut to the header's width
    };

    bool openWithinMemory(QString fileName);
    void forgetLastFile();
    bool chooseFile(QString &fileName);
    void load(QFile &file);
    QString readLines(int &count);
    bool settleDelimiter(const QString &text, QString &delimiter, QStringList &errors,
                         QStringList &warnings);
    QList<QStringList> readRows(const QString &text, const QString &delimiter, QStringList &errors,
                                QStringList &warnings);
    void fitToHeader(QStringList &row, int columns, int line, QStringList &errors,
                     QStringList &warnings);
    void adjust(QStringList &row, int columns, int line, QStringList &warnings);
    void report(const QString &title, const QString &text);

    QTextStream *m_stream; ///< not owned; null between loads
    QList<QStringList> m_content;
    QStringList m_error_list;
    QStringList m_warning_list;
    bool m_delimiter_auto_detected;
    bool m_adjust_to_header;
    int m_status;
};

/// Writes a table as a delimited text file.
class ZCSVSaver : public ZCSVInterface
{
    Q_OBJECT

public:
    explicit ZCSVSaver(QWidget *parent);

    /// Whether the file begins with a byte order mark. Initially it does.
    void setGenerateByteOrderMark(bool generate);

    /// Whether only those fields are quoted that would not be read back otherwise. Initially so;
    /// else all are.
    void setQuoteWhenNeeded(bool whenNeeded);

    /// Writes rows to a file, which is replaced.
    /// \param fileName  empty: the user chooses, if there is one
    /// \return whether the file was opened and written to. That all of it reached the medium is not
    ///         checked. On false `errorMessageList()` says why, unless the user was told or
    ///         cancelled in a dialog.
    bool saveFile(QList<QStringList> rows, QString fileName);

    /// Messages of the last `saveFile`.
    QStringList errorMessageList() const;

private:
    bool saveWithinMemory(const QList<QStringList> &rows, QString fileName);
    bool chooseFile(QString &fileName);
    void reportNotOpened();
    void writeRows(QTextStream &stream, const QList<QStringList> &rows) const;
    QString written(const QString &field, const QString &separator) const;

    QStringList m_error_list;
    bool m_quote_when_needed;
};

#endif // RECIPE_ZCSVLOADER_H
