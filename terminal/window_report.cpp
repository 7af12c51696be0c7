#include "terminal/window_report.h"

#include "common/messagecenter.h"
#include "common/zbuzzer.h"
#include "common/zsetting.h"
#include "hmi/desktop/desktop_platform.h"
#include "terminal/window/message_area.h"
#include "terminal/window/program_page.h"
#include "terminal/window/terminal_window.h"

#include <QApplication>
#include <QEvent>
#include <QThreadPool>

#include <climits>

namespace
{

const int PanelWidth = 420; // the values beside it stay in sight

/// A stick may be slow; the screen must not wait for it.
void readInBackground(const QString &directory, int program, const ProgramPage::Answer &answer)
{
    QThreadPool::globalInstance()->start([directory, program, answer] {
        const ProgramPreview preview = readProgramPreview(directory, program);
        QMetaObject::invokeMethod(
            qApp, [answer, preview] { answer(preview); }, Qt::QueuedConnection);
    });
}

} // namespace

WindowReport::WindowReport(const QList<Tag> &tags, int defaultStation, int periodMs,
                           std::unique_ptr<Report> printed)
    : m_printed(std::move(printed)), m_window(new TerminalWindow(tags, defaultStation, periodMs)),
      m_messages(nullptr), m_program_page(new ProgramPage(readInBackground)), m_is_pending(false)
{
    m_window->addPage("Program", m_program_page);
    m_window->setWindowTitle("DMC50");
    m_window->show();
    m_messages = new MessageArea(m_window.get(),
                                 m_window->messageRoom().boundedTo(QSize(PanelWidth, INT_MAX)));
    placeMessages();
    m_window->installEventFilter(this);
    connectMessages();
    connectBeeper();
}

WindowReport::~WindowReport()
{
    setBeepListener(BeepListener());
    ZBuzzer::dropInstance();
    ZSetting::drop(); // with what the operator switched in the last second
}

void WindowReport::round(const std::vector<TagView> &views, const SessionSummary &soFar)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_views = views;
    m_so_far = soFar;
    if (m_is_pending)
        return; // a window that lags behind shows the newest only
    m_is_pending = true;
    QMetaObject::invokeMethod(this, "showLatest", Qt::QueuedConnection);
}

void WindowReport::showLatest()
{
    std::vector<TagView> views;
    SessionSummary soFar;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        views.swap(m_views);
        soFar = m_so_far;
        m_is_pending = false;
    }
    m_window->showRound(views, soFar);
}

void WindowReport::storage(StorageKind kind, const StorageState &state)
{
    StorageState &shown = kind == StorageKind::UsbStick ? m_usb : m_card;
    announce(kind, shown, state);
    shown = state;
    m_window->setStorage(m_usb, m_card);
    if (kind == StorageKind::UsbStick)
        m_program_page->setStick(m_usb);
}

void WindowReport::usePrograms(ProgramTags *programs, int station)
{
    connect(m_program_page, &ProgramPage::transferRequested, this,
            [programs, station](TransferKind kind, int program, int steps) {
                TransferRequest request;
                request.kind = kind;
                request.program = program;
                request.steps = steps;
                request.station = station;
                programs->start(request);
            });
    connect(m_program_page, &ProgramPage::acknowledged, this,
            [programs](TransferKind kind) { programs->acknowledge(kind); });
}

void WindowReport::transfers(const TransferViews &views)
{
    ProgramPage *const page = m_program_page;
    QMetaObject::invokeMethod(
        page, [page, views] { page->showTransfers(views); }, Qt::QueuedConnection);
}

void WindowReport::announce(StorageKind kind, const StorageState &before, const StorageState &now)
{
    if (before.mounted != now.mounted || before.path != now.path)
        emit message("Storage", storageText(kind, now), false);
}

void WindowReport::end(const SessionSummary &summary)
{
    m_printed->end(summary);
}

void WindowReport::connectMessages()
{
    connect(this, SIGNAL(message(QString, QString, bool)), m_messages->panel(),
            SLOT(showMessageAsync(QString, QString, bool)), Qt::QueuedConnection);
    connect(m_window.get(), &TerminalWindow::messagesRequested, m_messages->panel(),
            &MessageCenter::toggleShowHide);
}

void WindowReport::connectBeeper()
{
    ZBuzzer *const buzzer = ZBuzzer::getInstance();
    m_window->setBeepEnabled(buzzer->isBuzzerEnabled());
    connect(m_window.get(), SIGNAL(beepSwitched(bool)), SLOT(switchBeep(bool)));
    connect(buzzer, SIGNAL(buzzerState(bool)), m_window.get(), SLOT(setBeepEnabled(bool)));
    TerminalWindow *const window = m_window.get();
    setBeepListener([window](int, int) {
        QMetaObject::invokeMethod(window, "flashBeep", Qt::QueuedConnection);
    });
}

void WindowReport::switchBeep(bool on)
{
    ZBuzzer::getInstance()->setBuzzerEnabled(on);
}

bool WindowReport::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::Resize)
        placeMessages();
    return QObject::eventFilter(watched, event);
}

void WindowReport::placeMessages()
{
    const QRect bar = m_window->messageAnchor();
    m_messages->setCorner(QPoint(m_window->width() - 1, bar.bottom() + 1));
}
