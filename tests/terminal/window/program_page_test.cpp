#include "terminal/window/program_page.h"

#include <memory>

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QProgressBar>
#include <QPushButton>
#include <QScrollBar>
#include <QTabBar>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <gtest/gtest.h>

#include "terminal/transfer_watch.h"
#include "terminal/window/elided_text.h"
#include "terminal/window/number_stepper.h"
#include "terminal/window/program_table_model.h"
#include "terminal/window/set_point_plot.h"
#include "terminal/window/theme.h"
#include "terminal/window/touch_table.h"
#include "tests/terminal/window/sample_program.h"
#include "tests/terminal/window/sample_screen.h"

namespace
{

const TransferKind Kinds[] = {TransferKind::Import, TransferKind::Export};

TransferViews running(TransferKind kind, int percent)
{
    TransferViews views;
    views.of(kind).running = true;
    views.of(kind).percent = percent;
    return views;
}

TransferViews failed(TransferKind kind)
{
    TransferViews views;
    views.of(kind).failed = true;
    return views;
}

ProgramPreview noFile()
{
    return ProgramPreview();
}

ProgramPreview unreadable()
{
    ProgramPreview preview;
    preview.matches = QStringList{"PROG_1.txt"};
    preview.file = "PROG_1.txt";
    preview.mistake = "The file cannot be read.";
    return preview;
}

/// What a reader was asked; the test answers when it likes.
struct Reading {
    QString directory;
    int program;
    ProgramPage::Answer answer;
};

/// What the page asked for.
struct Request {
    TransferKind kind;
    int program;
    int steps;
};

/// The parts of a page.
class Parts
{
public:
    explicit Parts(const QWidget *page) : m_page(page) {}

    QPushButton *button(const QString &text) const
    {
        for (QPushButton *const each : m_page->findChildren<QPushButton *>()) {
            if (each->text() == text)
                return each;
        }
        return nullptr;
    }
    QPushButton *exportButton() const { return button("Export"); }
    QPushButton *importButton() const { return button("Import"); }
    QPushButton *acknowledge() const { return button("Acknowledge"); }
    QProgressBar *bar(TransferKind kind) const
    {
        return m_page->findChildren<QProgressBar *>().at(kind == TransferKind::Export ? 0 : 1);
    }
    ElidedText *state() const { return m_page->findChildren<ElidedText *>().at(0); }
    ElidedText *file() const { return m_page->findChildren<ElidedText *>().at(1); }
    NumberStepper *program() const { return m_page->findChildren<NumberStepper *>().at(0); }
    NumberStepper *steps() const { return m_page->findChildren<NumberStepper *>().at(1); }
    ProgramTableModel *model() const { return m_page->findChild<ProgramTableModel *>(); }
    TouchTable *table() const { return m_page->findChild<TouchTable *>(); }
    SetPointPlot *plot() const { return m_page->findChild<SetPointPlot *>(); }

private:
    const QWidget *const m_page;
};

void tap(QPushButton *button)
{
    QTest::mouseClick(button, Qt::LeftButton);
}

class Page : public testing::Test
{
protected:
    Page()
        : m_page(new ProgramPage(
              [this](const QString &directory, int program, const ProgramPage::Answer &answer) {
                  m_readings.push_back({directory, program, answer});
              })),
          m_parts(m_page.get())
    {
        QObject::connect(m_page.get(), &ProgramPage::transferRequested,
                         [this](TransferKind kind, int program, int steps) {
                             m_requests.push_back({kind, program, steps});
                         });
        QObject::connect(m_page.get(), &ProgramPage::acknowledged,
                         [this](TransferKind kind) { m_acknowledged.push_back(kind); });
        m_page->setFont(Theme::fontFor(QSize(800, 480)));
        m_page->resize(784, 400);
        m_page->show();
    }

    void plug() { m_page->setStick(sampleStick()); }
    void answer(const ProgramPreview &preview) { m_readings.back().answer(preview); }
    void plugWith(const ProgramPreview &preview)
    {
        plug();
        answer(preview);
    }

    std::string state() const { return m_parts.state()->text().toStdString(); }
    std::string file() const { return m_parts.file()->text().toStdString(); }
    QRgb stateColour() const
    {
        return m_parts.state()->grab().toImage().pixel(m_parts.state()->width() - 1, 0);
    }
    bool canExport() const { return m_parts.exportButton()->isEnabled(); }
    bool canImport() const { return m_parts.importButton()->isEnabled(); }

    std::vector<Reading> m_readings;
    std::unique_ptr<ProgramPage> m_page;
    const Parts m_parts;
    std::vector<Request> m_requests;
    std::vector<TransferKind> m_acknowledged;
};

// ---- Stick and file

TEST_F(Page, SaysThatThereIsNoStickBeforeAnythingIsPressed)
{
    EXPECT_EQ("There is no USB stick.", state());
    EXPECT_EQ("No USB stick, no file to show", file());
    EXPECT_EQ(Theme::Warning, stateColour());
    EXPECT_FALSE(canExport());
    EXPECT_FALSE(canImport());
    EXPECT_FALSE(m_parts.acknowledge()->isVisible());
}

TEST_F(Page, StartsNothingWithoutAStick)
{
    tap(m_parts.exportButton());
    tap(m_parts.importButton());
    EXPECT_TRUE(m_requests.empty());
}

TEST_F(Page, OffersAnExportWhenThereIsAStickWithoutTheFile)
{
    plugWith(noFile());
    EXPECT_EQ("Ready.", state());
    EXPECT_EQ("PROG_1.txt is not on the stick", file());
    EXPECT_EQ(Theme::Surface, stateColour());
    EXPECT_TRUE(canExport());
    EXPECT_FALSE(canImport());
    EXPECT_EQ(0, m_parts.model()->rowCount());
    EXPECT_TRUE(m_parts.plot()->line().isEmpty());
}

TEST_F(Page, ShowsTheFileAsATableAndAsAPlot)
{
    plugWith(sampleProgram());
    EXPECT_EQ("PROG_1.txt", file());
    EXPECT_TRUE(canExport());
    EXPECT_TRUE(canImport());
    EXPECT_EQ(5, m_parts.model()->rowCount());
    EXPECT_EQ(25, m_parts.model()->columnCount());
    EXPECT_EQ(m_parts.model(), m_parts.table()->model());
    EXPECT_EQ(10, m_parts.plot()->line().size());
}

TEST_F(Page, SaysHowManyOtherFilesMatch)
{
    ProgramPreview several = sampleProgram();
    several.matches = QStringList{"PROG_1.txt", "PROG_1_a.txt", "PROG_1_b.txt"};
    plugWith(several);
    EXPECT_EQ("PROG_1.txt, and 2 more of this number", file());
    EXPECT_TRUE(canImport());
}

TEST_F(Page, SaysWhyAFileIsNotShown)
{
    plugWith(unreadable());
    EXPECT_EQ("PROG_1.txt: The file cannot be read.", file());
    EXPECT_EQ(0, m_parts.model()->rowCount());
}

TEST_F(Page, TakesNoFileNameForAPattern)
{
    ProgramPreview hostile = sampleProgram();
    hostile.file = "PROG_1_%1 %2<b>.txt";
    hostile.matches = QStringList{hostile.file, "PROG_1_b.txt"};
    plugWith(hostile);
    EXPECT_EQ("PROG_1_%1 %2<b>.txt, and 1 more of this number", file());
}

TEST_F(Page, ReadsTheFileWhereTheStickIs)
{
    EXPECT_TRUE(m_readings.empty());
    plug();
    ASSERT_EQ(1U, m_readings.size());
    EXPECT_EQ("/run/media/sda1", m_readings[0].directory);
    EXPECT_EQ(1, m_readings[0].program);
}

TEST_F(Page, ForgetsTheFileWhenTheStickIsPulled)
{
    plugWith(sampleProgram());
    StorageState pulled = sampleStick();
    pulled.mounted = false;
    m_page->setStick(pulled);
    EXPECT_EQ("There is no USB stick.", state());
    EXPECT_EQ("No USB stick, no file to show", file());
    EXPECT_FALSE(canExport());
    EXPECT_FALSE(canImport());
    EXPECT_EQ(0, m_parts.model()->rowCount());
    EXPECT_EQ("", m_readings.back().directory);
}

TEST_F(Page, ForgetsTheFileOfAnotherStick)
{
    plugWith(sampleProgram());
    StorageState other = sampleStick();
    other.path = "/run/media/sdb1";
    m_page->setStick(other);
    EXPECT_EQ("Looking for PROG_1.txt ...", file());
    EXPECT_EQ(0, m_parts.model()->rowCount());
    EXPECT_FALSE(canImport());
    EXPECT_EQ("/run/media/sdb1", m_readings.back().directory);
}

TEST_F(Page, ReadsTheFileAgainWhenTheStickHasChanged)
{
    plugWith(sampleProgram());
    StorageState changed = sampleStick();
    changed.freeBytes -= 4096;
    m_page->setStick(changed);
    EXPECT_EQ(2U, m_readings.size());
    EXPECT_EQ(5, m_parts.model()->rowCount()) << "it stays in sight meanwhile";
    answer(noFile());
    EXPECT_EQ(0, m_parts.model()->rowCount());
}

TEST_F(Page, DoesNotReadTheFileAgainBecauseReadingKeepsTheStickBusy)
{
    plugWith(sampleProgram());
    StorageState busy = sampleStick();
    busy.busy = true;
    m_page->setStick(busy);
    m_page->setStick(sampleStick());
    EXPECT_EQ(1U, m_readings.size());
    EXPECT_EQ("PROG_1.txt", file());
}

TEST_F(Page, ReadsTheFileAgainWhenATransferHasEnded)
{
    plugWith(sampleProgram());
    m_page->showTransfers(running(TransferKind::Export, 50));
    m_page->showTransfers(running(TransferKind::Export, 100));
    EXPECT_EQ(1U, m_readings.size());
    m_page->showTransfers(TransferViews());
    EXPECT_EQ(2U, m_readings.size());
    m_page->showTransfers(TransferViews());
    EXPECT_EQ(2U, m_readings.size());
}

// ---- Choosing

TEST_F(Page, BeginsWithTheFirstProgramAndAllSteps)
{
    EXPECT_EQ(1, m_parts.program()->value());
    EXPECT_EQ(32, m_parts.steps()->value());
}

TEST_F(Page, HasProgramsAndStepsWithinTheirBounds)
{
    m_parts.program()->setValue(100000);
    EXPECT_EQ(999, m_parts.program()->value());
    m_parts.program()->setValue(-100000);
    EXPECT_EQ(0, m_parts.program()->value());
    m_parts.steps()->setValue(100000);
    EXPECT_EQ(32, m_parts.steps()->value());
    m_parts.steps()->setValue(-100000);
    EXPECT_EQ(0, m_parts.steps()->value());
}

TEST_F(Page, LooksForTheFileOfTheProgramThatIsChosen)
{
    plugWith(sampleProgram());
    tap(m_parts.program()->findChildren<QPushButton *>().at(1));
    ASSERT_EQ(2U, m_readings.size());
    EXPECT_EQ(2, m_readings[1].program);
    EXPECT_EQ("Looking for PROG_2.txt ...", file());
    EXPECT_EQ(0, m_parts.model()->rowCount()) << "what was shown is another program's";
    EXPECT_TRUE(m_parts.plot()->line().isEmpty());
    EXPECT_FALSE(canImport());
    answer(noFile());
    EXPECT_EQ("PROG_2.txt is not on the stick", file());
}

TEST_F(Page, ShowsTheLastReadingsAnswerOnly)
{
    plug();
    m_parts.program()->setValue(2);
    m_parts.program()->setValue(3);
    ASSERT_EQ(3U, m_readings.size());
    m_readings[0].answer(sampleProgram());
    EXPECT_EQ("Looking for PROG_3.txt ...", file());
    EXPECT_EQ(0, m_parts.model()->rowCount());
    ProgramPreview third = sampleProgram();
    third.file = "PROG_3.txt";
    m_readings[2].answer(third);
    EXPECT_EQ("PROG_3.txt", file());
    m_readings[1].answer(noFile());
    EXPECT_EQ("PROG_3.txt", file()) << "a slow answer comes too late";
    EXPECT_EQ(5, m_parts.model()->rowCount());
}

TEST_F(Page, MayBeGoneBeforeTheAnswer)
{
    plug();
    m_page.reset();
    answer(sampleProgram());
    EXPECT_EQ(1U, m_readings.size());
}

// ---- Transfers

TEST_F(Page, AsksForAnExportOfWhatIsChosen)
{
    plugWith(noFile());
    m_parts.program()->setValue(7);
    m_parts.steps()->setValue(12);
    tap(m_parts.exportButton());
    ASSERT_EQ(1U, m_requests.size());
    EXPECT_EQ(TransferKind::Export, m_requests[0].kind);
    EXPECT_EQ(7, m_requests[0].program);
    EXPECT_EQ(12, m_requests[0].steps);
}

TEST_F(Page, AsksForAnImportOfWhatIsChosen)
{
    plugWith(sampleProgram());
    tap(m_parts.importButton());
    ASSERT_EQ(1U, m_requests.size());
    EXPECT_EQ(TransferKind::Import, m_requests[0].kind);
    EXPECT_EQ(1, m_requests[0].program);
    EXPECT_EQ(32, m_requests[0].steps);
}

TEST_F(Page, AsksOnceUntilTheTransferHasBegunAndEnded)
{
    plugWith(sampleProgram());
    tap(m_parts.exportButton());
    EXPECT_EQ("Beginning ...", state());
    EXPECT_FALSE(canExport());
    EXPECT_FALSE(canImport());
    m_page->showTransfers(TransferViews());
    tap(m_parts.exportButton());
    tap(m_parts.importButton());
    EXPECT_EQ(1U, m_requests.size()) << "its tags do not show it yet";
    m_page->showTransfers(running(TransferKind::Export, 0));
    EXPECT_EQ("Reading the program from the controller ...", state());
    m_page->showTransfers(TransferViews());
    EXPECT_EQ("Ready.", state());
    EXPECT_TRUE(canExport());
    EXPECT_TRUE(canImport());
}

TEST_F(Page, DoesNotWaitForATransferThatNeverBegins)
{
    plugWith(sampleProgram());
    tap(m_parts.exportButton());
    QTimer *const timer = m_page->findChild<QTimer *>(QString(), Qt::FindDirectChildrenOnly);
    ASSERT_NE(nullptr, timer);
    EXPECT_TRUE(timer->isActive());
    EXPECT_EQ(TransferWatch::BeginWithinMs, timer->interval());
    timer->start(0);
    EXPECT_TRUE(QTest::qWaitFor([this] { return canExport(); }, 20000));
    EXPECT_EQ("Ready.", state());
    EXPECT_TRUE(canImport());
}

TEST_F(Page, MovesItsBarsByTheTagsAlone)
{
    plugWith(sampleProgram());
    for (const TransferKind kind : Kinds) {
        const TransferKind other =
            kind == TransferKind::Import ? TransferKind::Export : TransferKind::Import;
        for (const int percent : {0, 1, 62, 99, 100, 0}) {
            m_page->showTransfers(running(kind, percent));
            EXPECT_EQ(percent, m_parts.bar(kind)->value());
            EXPECT_EQ(0, m_parts.bar(other)->value());
        }
    }
    m_page->showTransfers(TransferViews());
    tap(m_parts.exportButton());
    EXPECT_EQ(0, m_parts.bar(TransferKind::Export)->value()) << "a touch moves nothing";
}

TEST_F(Page, StartsNothingWhileATransferRuns)
{
    plugWith(sampleProgram());
    const char *const texts[] = {"Writing the program to the controller ...",
                                 "Reading the program from the controller ..."};
    for (const TransferKind kind : Kinds) {
        m_page->showTransfers(running(kind, 50));
        EXPECT_EQ(texts[static_cast<int>(kind)], state());
        EXPECT_FALSE(canExport());
        EXPECT_FALSE(canImport());
        tap(m_parts.exportButton());
        tap(m_parts.importButton());
    }
    EXPECT_TRUE(m_requests.empty());
}

TEST_F(Page, ShowsATransferThatAnotherStarted)
{
    plugWith(sampleProgram());
    m_page->showTransfers(running(TransferKind::Export, 30));
    EXPECT_EQ("Reading the program from the controller ...", state());
    EXPECT_EQ(30, m_parts.bar(TransferKind::Export)->value());
}

TEST_F(Page, ShowsBothTransfersAtOnce)
{
    plugWith(sampleProgram());
    TransferViews both = running(TransferKind::Export, 20);
    both.of(TransferKind::Import).running = true;
    both.of(TransferKind::Import).percent = 70;
    m_page->showTransfers(both);
    EXPECT_EQ(20, m_parts.bar(TransferKind::Export)->value());
    EXPECT_EQ(70, m_parts.bar(TransferKind::Import)->value());
    m_page->showTransfers(running(TransferKind::Import, 70));
    EXPECT_FALSE(canExport()) << "one still runs";
}

TEST_F(Page, KeepsTheBarOfATransferWhoseStickWasPulled)
{
    plugWith(sampleProgram());
    m_page->showTransfers(running(TransferKind::Export, 50));
    m_page->setStick(StorageState());
    EXPECT_EQ("There is no USB stick.", state());
    EXPECT_EQ(50, m_parts.bar(TransferKind::Export)->value());
    EXPECT_FALSE(canExport());
}

// ---- Failures

TEST_F(Page, ShowsAFailureUntilItIsAcknowledged)
{
    plugWith(sampleProgram());
    const char *const texts[] = {
        "The import has failed. The messages and the log on the stick say why.",
        "The export has failed. The messages and the log on the stick say why."};
    for (const TransferKind kind : Kinds) {
        m_page->showTransfers(failed(kind));
        EXPECT_EQ(texts[static_cast<int>(kind)], state());
        EXPECT_EQ(Theme::Alarm, stateColour());
        ASSERT_TRUE(m_parts.acknowledge()->isVisible());
        EXPECT_FALSE(canExport());
        EXPECT_FALSE(canImport());

        m_acknowledged.clear();
        tap(m_parts.acknowledge());
        EXPECT_EQ(std::vector<TransferKind>{kind}, m_acknowledged);
        EXPECT_TRUE(m_parts.acknowledge()->isVisible()) << "the tag decides, not the touch";

        m_page->showTransfers(TransferViews());
        EXPECT_FALSE(m_parts.acknowledge()->isVisible());
        EXPECT_EQ("Ready.", state());
        EXPECT_TRUE(canExport());
        EXPECT_TRUE(canImport());
    }
}

TEST_F(Page, AcknowledgesBothFailuresAtOnce)
{
    plugWith(sampleProgram());
    TransferViews both = failed(TransferKind::Export);
    both.of(TransferKind::Import).failed = true;
    m_page->showTransfers(both);
    tap(m_parts.acknowledge());
    EXPECT_EQ((std::vector<TransferKind>{TransferKind::Import, TransferKind::Export}),
              m_acknowledged);
}

TEST_F(Page, ShowsAFailureAlsoWithoutAStick)
{
    m_page->showTransfers(failed(TransferKind::Export));
    EXPECT_EQ("The export has failed. The messages and the log on the stick say why.", state());
    EXPECT_EQ(Theme::Alarm, stateColour());
    EXPECT_TRUE(m_parts.acknowledge()->isVisible());
}

TEST_F(Page, ShowsAFailureOfATransferThatStillRuns)
{
    plugWith(sampleProgram());
    TransferViews views = running(TransferKind::Import, 10);
    views.of(TransferKind::Import).failed = true;
    m_page->showTransfers(views);
    EXPECT_EQ("The import has failed. The messages and the log on the stick say why.", state());
    EXPECT_EQ(10, m_parts.bar(TransferKind::Import)->value());
}

// ---- With a stick's files

TEST(ProgramPageOfFiles, ReadsThemAtOnceWithoutAReader)
{
    const QTemporaryDir stick;
    QFile file(QDir(stick.path()).filePath("PROG_1.txt"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(QByteArray("\xFF\xFEn\0\t\0S\0\n\0a\0\t\0"
                          "7\0\n\0",
                          18));
    file.close();
    ProgramPage page;
    StorageState state = sampleStick();
    state.path = stick.path();
    page.setStick(state);
    const Parts parts(&page);
    EXPECT_EQ("PROG_1.txt", parts.file()->text());
    ASSERT_EQ(1, parts.model()->rowCount());
    EXPECT_EQ("7", parts.model()->index(0, 1).data().toString());
    parts.program()->setValue(2);
    EXPECT_EQ("PROG_2.txt is not on the stick", parts.file()->text());
    EXPECT_EQ(0, parts.model()->rowCount());
}

// ---- Geometry

/// The page as an operator has it: in the terminal's window.
class PageOfSize : public testing::TestWithParam<QSize>
{
protected:
    PageOfSize()
        : m_screen(sampleRound(0), GetParam()),
          m_page(new ProgramPage([this](const QString &, int, const ProgramPage::Answer &answer) {
              answer(m_preview);
          })),
          m_parts(m_page), m_preview(sampleProgram())
    {
        m_screen.window.addPage("Program", m_page);
        m_screen.window.findChild<QTabBar *>()->setCurrentIndex(2);
        m_screen.run(1);
        layOut();
    }

    static void layOut() { QApplication::processEvents(); }
    void plug()
    {
        m_page->setStick(sampleStick());
        layOut();
    }
    void show(const TransferViews &views)
    {
        m_page->showTransfers(views);
        layOut();
    }

    /// Every visible part lies within the one that holds it, and no two lie over each other.
    void expectEverythingInPlace() const
    {
        for (const QWidget *const child : m_page->findChildren<QWidget *>()) {
            if (!child->isVisible() || child->parentWidget()->inherits("QAbstractScrollArea"))
                continue;
            EXPECT_TRUE(child->parentWidget()->rect().contains(child->geometry()))
                << child->metaObject()->className();
        }
        expectNothingCovered(m_page->findChildren<QPushButton *>());
    }

    void expectNothingCovered(const QList<QPushButton *> &buttons) const
    {
        for (const QPushButton *const button : buttons) {
            if (!button->isVisible())
                continue;
            const QPoint centre = button->mapTo(m_page, button->rect().center());
            EXPECT_EQ(button, m_page->childAt(centre)) << button->text().toStdString();
        }
    }

    void expectWholeTexts() const
    {
        for (const ElidedText *const text : m_page->findChildren<ElidedText *>())
            EXPECT_EQ(text->text().remove(' '), text->visibleLines().join("").remove(' '));
    }

    SampleScreen m_screen;
    ProgramPage *m_page; ///< the window's
    const Parts m_parts;
    ProgramPreview m_preview; ///< of every program
};

TEST_P(PageOfSize, HoldsEveryPartWithinItselfInEveryState)
{
    EXPECT_EQ(GetParam(), m_screen.window.size());
    expectEverythingInPlace();
    expectWholeTexts();
    plug();
    expectEverythingInPlace();
    expectWholeTexts();
    for (const TransferKind kind : Kinds) {
        show(running(kind, 100));
        expectEverythingInPlace();
        expectWholeTexts();
        show(failed(kind));
        ASSERT_TRUE(m_parts.acknowledge()->isVisible());
        expectEverythingInPlace();
        expectWholeTexts();
    }
    EXPECT_EQ(GetParam(), m_screen.window.size()) << "the page has made the window larger";
}

TEST_P(PageOfSize, HasButtonsForAFingerWithTheirWholeTexts)
{
    plug();
    show(failed(TransferKind::Export));
    const QList<QPushButton *> buttons = m_page->findChildren<QPushButton *>();
    EXPECT_EQ(7, buttons.size());
    for (const QPushButton *const button : buttons) {
        EXPECT_GE(button->width(), Theme::TouchTarget) << button->text().toStdString();
        EXPECT_GE(button->height(), Theme::TouchTarget) << button->text().toStdString();
        EXPECT_GE(button->width(), Theme::textWidth(button->font(), button->text()) + Theme::Gap)
            << button->text().toStdString();
    }
}

TEST_P(PageOfSize, GivesEachPartTheRoomItAsksFor)
{
    plug();
    EXPECT_GE(m_parts.plot()->width(), m_parts.plot()->sizeHint().width());
    EXPECT_GE(m_parts.plot()->height(), m_parts.plot()->sizeHint().height());
    for (const NumberStepper *const stepper : {m_parts.program(), m_parts.steps()})
        EXPECT_GE(stepper->width(), stepper->minimumSizeHint().width());
    for (const TransferKind kind : Kinds)
        EXPECT_GE(m_parts.bar(kind)->width(),
                  Theme::textWidth(m_parts.bar(kind)->font(), "100 %") + Theme::Gap);
}

TEST_P(PageOfSize, ShowsSomeStepsAndTheRestByScrolling)
{
    plug();
    const TouchTable *const table = m_parts.table();
    EXPECT_GE(table->rowHeight(0), Theme::TouchTarget);
    EXPECT_GE(table->viewport()->height() / table->rowHeight(0), 3);
    EXPECT_GT(table->horizontalScrollBar()->maximum(), 0) << "25 columns";
    for (int column = 0; column < 5; ++column)
        EXPECT_GT(
            table->columnWidth(column),
            Theme::textWidth(table->font(), m_parts.model()->index(0, column).data().toString()));
}

TEST_P(PageOfSize, HasOneFontInAllItsParts)
{
    plug();
    const int size = m_screen.window.font().pixelSize();
    for (const QWidget *const part : m_page->findChildren<QWidget *>()) {
        if (qobject_cast<const QPushButton *>(part) != nullptr ||
            qobject_cast<const QProgressBar *>(part) != nullptr ||
            qobject_cast<const ElidedText *>(part) != nullptr ||
            qobject_cast<const NumberStepper *>(part) != nullptr) {
            EXPECT_EQ(size, part->font().pixelSize()) << part->metaObject()->className();
        }
    }
    EXPECT_EQ(size, m_parts.table()->font().pixelSize());
}

TEST_P(PageOfSize, KeepsItsSizeWithHostileFiles)
{
    m_preview.file = QString("PROG_1_%1.txt").arg(QString(200, 'W'));
    m_preview.matches = QStringList(m_preview.file);
    for (QString &name : m_preview.header)
        name = QString(ProgramPreview::LongestField, 'W');
    for (QStringList &row : m_preview.rows)
        row = m_preview.header;
    plug();
    m_page->grab();
    expectEverythingInPlace();
    EXPECT_EQ(GetParam(), m_screen.window.size());
    EXPECT_TRUE(m_parts.file()->visibleLines().last().endsWith(QChar(0x2026)));
}

INSTANTIATE_TEST_SUITE_P(All, PageOfSize,
                         testing::Values(QSize(800, 480), QSize(1024, 600), QSize(1280, 800),
                                         QSize(1920, 1080)));

TEST(ProgramPageInItsWindow, LooksTheSameAfterItWasLarge)
{
    SampleScreen screen;
    ProgramPage *const page = new ProgramPage(
        [](const QString &, int, const ProgramPage::Answer &answer) { answer(sampleProgram()); });
    screen.window.addPage("Program", page);
    screen.window.findChild<QTabBar *>()->setCurrentIndex(2);
    page->setStick(sampleStick());
    QApplication::processEvents();
    const QImage before = page->grab().toImage();
    for (const QSize size : {QSize(1920, 1080), QSize(800, 480)}) {
        screen.window.resize(size);
        QApplication::processEvents();
        EXPECT_EQ(size, screen.window.size());
    }
    EXPECT_EQ(before, page->grab().toImage());
}

} // namespace
