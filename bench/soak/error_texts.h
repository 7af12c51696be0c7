// The error texts that the documentation explains.

#ifndef BENCH_SOAK_ERROR_TEXTS_H
#define BENCH_SOAK_ERROR_TEXTS_H

#include <map>
#include <string>

#include <QList>
#include <QRegExp>
#include <QString>

/// The reasons in the table "On the line" of docs/errors.md, behind either beginning of a text.
class ErrorTexts
{
public:
    /// \param file  docs/errors.md; without it, or without the table, no text is documented
    explicit ErrorTexts(const QString &file);

    /// The documented reason of an error text as it stands in the table, with its placeholder;
    /// empty: this text is not documented.
    std::string reasonOf(const QString &text) const;

    int count() const { return m_reasons.size(); }

private:
    void addRow(const QString &line);

    struct Reason {
        std::string text;
        QRegExp pattern;
    };
    QList<Reason> m_reasons;
};

#endif // BENCH_SOAK_ERROR_TEXTS_H
