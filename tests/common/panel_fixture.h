// A message panel, and what an operator and the plug-in do to it.

#ifndef TESTS_COMMON_PANEL_FIXTURE_H
#define TESTS_COMMON_PANEL_FIXTURE_H

#include "common/messagecenter.h"
#include "common/messagecenteritemwidget.h"
#include "common/messagecenterlistwidget.h"

#include <QCoreApplication>
#include <QEvent>
#include <QLabel>
#include <QMouseEvent>
#include <QPushButton>
#include <QTimer>
#include <QTimerEvent>
#include <QtTest>

#include <gtest/gtest.h>

/// What has something to say.
class MessageSender : public QObject
{
    Q_OBJECT

public:
    explicit MessageSender(MessageCenter *panel, Qt::ConnectionType type = Qt::AutoConnection)
    {
        connect(this, SIGNAL(showMessage(QString, QString, bool)), panel,
                SLOT(showMessageAsync(QString, QString, bool)), type);
        connect(this, SIGNAL(removeMessage()), panel, SLOT(removeMessageAsync()), type);
        connect(this, SIGNAL(destroyed(QObject *)), panel, SLOT(forgetSender(QObject *)), type);
    }

    void say(const QString &text) { emit showMessage("Title", text, true); }

signals:
    void showMessage(const QString &title, const QString &text, bool showInstant);
    void removeMessage();
};

/// An anchor of 600 x 40 pixels with room on each side.
const QRect PanelAnchor(100, 300, 600, 40);
const QSize PanelMaximum(400, 284); ///< four rows
const QSize PanelInitial(400, 120);
const int PanelColour = static_cast<int>(0xFF204060);

class PanelTest : public testing::Test
{
protected:
    explicit PanelTest(int mode = MessageCenter::AboveAnchor, const QSize &maximum = PanelMaximum)
        : panel(maximum, PanelInitial, mode, PanelAnchor, PanelColour)
    {
        panel.findChild<QTimer *>("timer_hide")->setTimerType(Qt::PreciseTimer);
    }

    void post(const QString &text, bool showInstant = true)
    {
        panel.showMessageAsync("Title", text, showInstant);
    }

    void post(int count)
    {
        for (int i = 1; i <= count; ++i)
            post(QString::number(i));
    }

    /// Slots that only the panel itself connects to.
    void call(const char *slot) { ASSERT_TRUE(QMetaObject::invokeMethod(&panel, slot)); }

    /// Two rounds of the event queue: what the first one holds back is shown in the second.
    static void deliverAll()
    {
        QCoreApplication::sendPostedEvents();
        QCoreApplication::sendPostedEvents();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    QTimer *animation() { return panel.findChild<QTimer *>("timer_animation"); }
    QTimer *hiding() { return panel.findChild<QTimer *>("timer_hide"); }

    /// The timer's next time-out, now.
    static void elapse(QTimer *timer)
    {
        ASSERT_TRUE(timer->isActive());
        QTimerEvent event(timer->timerId());
        QCoreApplication::sendEvent(timer, &event);
    }

    void finishSlide()
    {
        while (animation()->isActive())
            elapse(animation());
    }

    MessageCenterListWidget *list() { return panel.findChild<MessageCenterListWidget *>(); }
    int rows() { return list()->count(); }

    MessageCenterItemWidget *row(int number)
    {
        return qobject_cast<MessageCenterItemWidget *>(list()->itemWidget(list()->item(number)));
    }

    QString text(int number) { return row(number)->findChild<QLabel *>("label_msg")->text(); }

    QPushButton *removeButton(int number)
    {
        return row(number)->findChild<QPushButton *>("pushButton_remove");
    }

    int rowWidgets() { return panel.findChildren<MessageCenterItemWidget *>().size(); }

    /// QTest takes the origin for the centre.
    void touch(const QPoint &place)
    {
        QMouseEvent press(QEvent::MouseButtonPress, place, Qt::LeftButton, Qt::LeftButton,
                          Qt::NoModifier);
        QCoreApplication::sendEvent(&panel, &press);
    }

    MessageCenter panel;
};

#endif // TESTS_COMMON_PANEL_FIXTURE_H
