#include "terminal/window/program_page.h"

#include <algorithm>

#include <QEvent>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QPointer>
#include <QProgressBar>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>

#include "terminal/tag.h"
#include "terminal/transfer_watch.h"
#include "terminal/window/elided_text.h"
#include "terminal/window/number_stepper.h"
#include "terminal/window/program_table_model.h"
#include "terminal/window/set_point_plot.h"
#include "terminal/window/theme.h"
#include "terminal/window/touch_table.h"

namespace
{

const int GreatestProgram = 999;
const int FirstProgram = 1;
const int ControlsWidth = 270;
const int ButtonWidth = 96;
const int StateLines = 3;
const int TableShare = 3;
const int PlotShare = 2;

ProgramPage::Reader readAtOnce()
{
    return [](const QString &directory, int program, const ProgramPage::Answer &answer) {
        answer(readProgramPreview(directory, program));
    };
}

void setSurface(QWidget *widget, QRgb colour)
{
    QPalette palette = widget->palette();
    palette.setColor(QPalette::Window, QColor(colour));
    widget->setPalette(palette);
    widget->setAutoFillBackground(true);
}

QWidget *card(QLayout *layout)
{
    QWidget *const widget = new QWidget;
    setSurface(widget, Theme::Surface);
    layout->setContentsMargins(Theme::Gap, Theme::Gap, Theme::Gap, Theme::Gap);
    layout->setSpacing(Theme::Gap);
    widget->setLayout(layout);
    return widget;
}

} // namespace

ProgramPage::ProgramPage(const Reader &reader, QWidget *parent)
    : QWidget(parent), m_reader(reader ? reader : readAtOnce()), m_readings(0), m_answered(0),
      m_asked(new QTimer(this)), m_program(new NumberStepper("Program", 0, GreatestProgram)),
      m_steps(new NumberStepper("Steps", 0, Tag::ProgramSteps)),
      m_export(buildTransfer(TransferKind::Export, "Export")),
      m_import(buildTransfer(TransferKind::Import, "Import")), m_state(new ElidedText(StateLines)),
      m_acknowledge(new QPushButton("Acknowledge")), m_file(new ElidedText(1)),
      m_model(new ProgramTableModel(this)), m_table(new TouchTable), m_plot(new SetPointPlot)
{
    QHBoxLayout *const layout = new QHBoxLayout(this);
    layout->setContentsMargins(Theme::Gap, Theme::Gap, Theme::Gap, Theme::Gap);
    layout->setSpacing(Theme::Gap);
    layout->addWidget(buildControls());
    layout->addWidget(buildPreview(), 1);
    m_program->setValue(FirstProgram);
    m_steps->setValue(Tag::ProgramSteps);
    m_asked->setSingleShot(true);
    m_asked->setInterval(TransferWatch::BeginWithinMs);
    connect(m_asked, &QTimer::timeout, this, &ProgramPage::showState);
    connect(m_program, &NumberStepper::valueChanged, this, &ProgramPage::readOther);
    connect(m_acknowledge, &QPushButton::clicked, this, &ProgramPage::acknowledge);
    fitTexts();
    showState();
}

// ---- Building

ProgramPage::Row ProgramPage::buildTransfer(TransferKind kind, const QString &text)
{
    Row row = {new QPushButton(text), new QProgressBar};
    row.button->setFocusPolicy(Qt::NoFocus);
    row.bar->setTextVisible(true);
    row.bar->setFormat("%p %");
    row.bar->setValue(0);
    connect(row.button, &QPushButton::clicked, this, [this, kind] { request(kind); });
    return row;
}

void ProgramPage::addRow(QBoxLayout *layout, const Row &row)
{
    QHBoxLayout *const line = new QHBoxLayout;
    line->setSpacing(Theme::Gap);
    line->addWidget(row.button);
    line->addWidget(row.bar, 1);
    layout->addLayout(line);
}

QWidget *ProgramPage::buildControls()
{
    QVBoxLayout *const layout = new QVBoxLayout;
    QWidget *const controls = card(layout);
    layout->addWidget(m_program);
    layout->addWidget(m_steps);
    addRow(layout, m_export);
    addRow(layout, m_import);
    layout->addWidget(m_state);
    layout->addWidget(m_acknowledge);
    layout->addStretch(1);
    m_acknowledge->setFocusPolicy(Qt::NoFocus);
    return controls;
}

QWidget *ProgramPage::buildPreview()
{
    m_table->setModel(m_model);
    m_table->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    QVBoxLayout *const layout = new QVBoxLayout;
    QWidget *const preview = card(layout);
    layout->addWidget(m_file);
    layout->addWidget(m_table, TableShare);
    layout->addWidget(m_plot, PlotShare);
    return preview;
}

void ProgramPage::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::FontChange)
        fitTexts();
}

void ProgramPage::fitTexts()
{
    const QString style = Theme::buttonStyle(font());
    const int height = std::max(Theme::TouchTarget, Theme::scaled(font(), Theme::TouchTarget));
    for (QPushButton *const button : {m_export.button, m_import.button, m_acknowledge}) {
        button->setFont(font());
        button->setStyleSheet(style);
        button->setFixedHeight(height);
    }
    for (const Row &row : {m_export, m_import}) {
        row.button->setFixedWidth(Theme::scaled(font(), ButtonWidth));
        row.bar->setFont(font());
        row.bar->setStyleSheet(Theme::progressStyle(font()));
        row.bar->setFixedHeight(height);
    }
    m_program->parentWidget()->setFixedWidth(Theme::scaled(font(), ControlsWidth));
    m_table->setFont(font());
}

// ---- Working

void ProgramPage::request(TransferKind kind)
{
    m_asked->start();
    showState();
    emit transferRequested(kind, m_program->value(), m_steps->value());
}

void ProgramPage::acknowledge()
{
    for (const TransferKind kind : {TransferKind::Import, TransferKind::Export}) {
        if (m_views.of(kind).failed)
            emit acknowledged(kind);
    }
}

/// What ran may have written another file of the same size.
void ProgramPage::showTransfers(const TransferViews &views)
{
    const bool wasRunning = isRunning();
    m_views = views;
    if (isRunning())
        m_asked->stop();
    if (wasRunning && !isRunning())
        readFile();
    showState();
}

/// A stick that only gets busy has nothing new: it gets so by being read.
void ProgramPage::setStick(const StorageState &stick)
{
    const bool isOther = stick.mounted != m_stick.mounted || stick.path != m_stick.path;
    const bool isChanged = stick.freeBytes != m_stick.freeBytes;
    m_stick = stick;
    if (isOther)
        readOther();
    else if (isChanged)
        readFile();
}

/// What is shown is of another program or of another stick: it goes at once.
void ProgramPage::readOther()
{
    m_preview = ProgramPreview();
    readFile();
    showPreview(m_preview);
}

void ProgramPage::readFile()
{
    const int reading = ++m_readings;
    const QPointer<ProgramPage> page(this);
    m_reader(m_stick.mounted ? m_stick.path : QString(), m_program->value(),
             [page, reading](const ProgramPreview &preview) {
                 if (page != nullptr)
                     page->takeAnswer(reading, preview);
             });
}

void ProgramPage::takeAnswer(int reading, const ProgramPreview &preview)
{
    if (reading != m_readings)
        return;
    m_answered = reading;
    showPreview(preview);
}

void ProgramPage::showPreview(const ProgramPreview &preview)
{
    m_preview = preview;
    m_model->setPreview(preview);
    m_plot->setSegments(programSegments(preview.rows));
    showState();
}

bool ProgramPage::isRunning() const
{
    return m_views.of(TransferKind::Import).running || m_views.of(TransferKind::Export).running;
}

bool ProgramPage::hasFailed() const
{
    return m_views.of(TransferKind::Import).failed || m_views.of(TransferKind::Export).failed;
}

void ProgramPage::showState()
{
    const bool isReady = m_stick.mounted && !m_asked->isActive() && !isRunning() && !hasFailed();
    m_export.button->setEnabled(isReady);
    m_import.button->setEnabled(isReady && !m_preview.matches.isEmpty());
    m_export.bar->setValue(m_views.of(TransferKind::Export).percent);
    m_import.bar->setValue(m_views.of(TransferKind::Import).percent);
    m_acknowledge->setVisible(hasFailed());
    m_state->setText(stateText());
    setSurface(m_state, stateColour());
    m_file->setText(fileText());
}

QRgb ProgramPage::stateColour() const
{
    if (hasFailed())
        return Theme::Alarm;
    return m_stick.mounted ? Theme::Surface : Theme::Warning;
}

/// One line on what is going on, the worst first.
QString ProgramPage::stateText() const
{
    if (m_views.of(TransferKind::Import).failed)
        return "The import has failed. The messages and the log on the stick say why.";
    if (m_views.of(TransferKind::Export).failed)
        return "The export has failed. The messages and the log on the stick say why.";
    if (!m_stick.mounted)
        return "There is no USB stick.";
    if (m_views.of(TransferKind::Export).running)
        return "Reading the program from the controller ...";
    if (m_views.of(TransferKind::Import).running)
        return "Writing the program to the controller ...";
    return m_asked->isActive() ? "Beginning ..." : "Ready.";
}

QString ProgramPage::fileText() const
{
    if (!m_stick.mounted)
        return "No USB stick, no file to show";
    if (m_preview.file.isEmpty())
        return QString(m_answered == m_readings ? "PROG_%1.txt is not on the stick"
                                                : "Looking for PROG_%1.txt ...")
            .arg(m_program->value());
    if (!m_preview.mistake.isEmpty())
        return m_preview.file + ": " + m_preview.mistake;
    const int more = m_preview.matches.size() - 1;
    return more == 0 ? m_preview.file
                     : QString("%1, and %2 more of this number")
                           .arg(m_preview.file, QString::number(more));
}
