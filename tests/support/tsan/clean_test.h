// Objects that meet through queued signals.

#ifndef TESTS_SUPPORT_TSAN_CLEAN_TEST_H
#define TESTS_SUPPORT_TSAN_CLEAN_TEST_H

#include <QMetaType>
#include <QMutex>
#include <QMutexLocker>
#include <QObject>
#include <QString>
#include <QStringList>

#include <vector>

/// A type of ours as the argument of a queued signal.
struct Reading {
    int station = 0;
    std::vector<int> values;
    QStringList texts;
};
Q_DECLARE_METATYPE(Reading)

class Sender : public QObject
{
    Q_OBJECT

signals:
    void text(const QString &text);
    void texts(const QStringList &texts);
    void reading(const Reading &reading);
    void last();
};

class Receiver : public QObject
{
    Q_OBJECT

public:
    explicit Receiver(int *deleted = nullptr) : m_deleted(deleted) {}
    ~Receiver() override
    {
        if (m_deleted)
            *m_deleted += 1 + m_characters;
    }
    int characters() const { return m_characters; }
    int sum() const { return m_sum; }

public slots:
    void takeText(const QString &text)
    {
        for (const QChar character : text)
            m_characters += character.isNull() ? 0 : 1;
    }
    void takeTexts(const QStringList &texts)
    {
        for (const QString &text : texts)
            takeText(text);
    }
    void takeReading(const Reading &reading)
    {
        for (const int value : reading.values)
            m_sum += value * reading.station;
        takeTexts(reading.texts);
    }

private:
    int *m_deleted;
    int m_characters = 0;
    int m_sum = 0;
};

/// Keeps what it was asked.
class Answering : public QObject
{
    Q_OBJECT

public:
    QString answered() const
    {
        const QMutexLocker locker(&m_mutex);
        return m_answered;
    }

public slots:
    void answer(const QStringList &questions)
    {
        const QMutexLocker locker(&m_mutex);
        m_answered = questions.first();
    }

private:
    mutable QMutex m_mutex;
    QString m_answered; ///< m_mutex
};

#endif // TESTS_SUPPORT_TSAN_CLEAN_TEST_H
