#include "terminal/window/line_strip.h"

#include <QSignalSpy>
#include <QTest>

#include <gtest/gtest.h>

#include "terminal/window/elided_text.h"
#include "terminal/window/figure_grid.h"
#include "terminal/window/line_page.h"
#include "terminal/window/station_table_model.h"
#include "terminal/window/theme.h"
#include "terminal/window/touch_table.h"
#include "tests/terminal/window/sample_screen.h"

namespace
{

QStringList textsOf(const QWidget &widget)
{
    QStringList texts;
    for (const FigureGrid *const grid : widget.findChildren<FigureGrid *>()) {
        for (int i = 0; i < 4; ++i)
            texts << grid->figure(i);
    }
    for (const ElidedText *const text : widget.findChildren<ElidedText *>()) {
        if (!text->isHidden())
            texts << text->text();
    }
    return texts;
}

// ---- Texts

TEST(LineTexts, HaveUnits)
{
    EXPECT_EQ("0.0 ms", cycleText(0));
    EXPECT_EQ("98.5 ms", cycleText(98.46));
    EXPECT_EQ("0.0 %", shareText(0));
    EXPECT_EQ("100.0 %", shareText(1));
}

TEST(LineTexts, SayWhichStationsFail)
{
    LineReport line;
    EXPECT_EQ("No station asked yet", stationsText(line));
    line.stations = {sampleStation(1, 10), sampleStation(2, 10)};
    EXPECT_EQ("Stations: all 2 answer", stationsText(line));
    line.stations = {sampleStation(1, 10), sampleStation(2, 10, 1), sampleStation(255, 0, 1)};
    EXPECT_EQ("Stations: 2 of 3 fail: 2, 255", stationsText(line));
}

// ---- Strip

TEST(LineStrip, ShowsTheCountersAndTheLastError)
{
    LineStrip strip;
    strip.showFigures(sampleFigures());
    EXPECT_EQ(
        (QStringList{"14341", "34", "98.5 ms", "50.0 %", "Stations: 1 of 3 fail: 3",
                     "Last error: read station id#3 start address 00000020:DMC50 no response"}),
        textsOf(strip));
}

TEST(LineStrip, SaysThatThereWasNoError)
{
    const LineStrip strip;
    EXPECT_EQ("Last error: none", textsOf(strip).last());
}

TEST(LineStrip, MarksItsFiguresAsOldUntilNewOnesCome)
{
    LineStrip strip;
    strip.resize(280, 160);
    strip.showFigures(sampleFigures());
    const QImage live = strip.grab().toImage();
    EXPECT_EQ(QColor(Theme::Surface), live.pixelColor(2, 2));
    strip.showSilence(20000);
    EXPECT_TRUE(textsOf(strip).contains("These figures are 20.0 s old."));
    EXPECT_EQ(QColor(Theme::Warning), strip.grab().toImage().pixelColor(2, 2));
    strip.showFigures(sampleFigures());
    EXPECT_TRUE(textsOf(strip).contains("Stations: 1 of 3 fail: 3"));
    EXPECT_EQ(live, strip.grab().toImage());
}

TEST(LineStrip, IsTouchedAsAWhole)
{
    LineStrip strip;
    strip.resize(280, 160);
    strip.show();
    const QSignalSpy taps(&strip, &LineStrip::tapped);
    QTest::mouseClick(&strip, Qt::LeftButton, Qt::NoModifier, QPoint(140, 10));
    EXPECT_EQ(1, taps.size());
    QTest::mousePress(&strip, Qt::LeftButton, Qt::NoModifier, QPoint(140, 10));
    QTest::mouseRelease(&strip, Qt::LeftButton, Qt::NoModifier, QPoint(140, 500));
    EXPECT_EQ(1, taps.size()) << "the finger left it";
}

// ---- Figures

TEST(FigureGrid, LaysItsCellsOutInRowsAndColumns)
{
    FigureGrid grid({"a", "b", "c"}, 2);
    grid.resize(200, 80);
    EXPECT_EQ(QRect(0, 0, 100, 40), grid.cell(0));
    EXPECT_EQ(QRect(100, 0, 100, 40), grid.cell(1));
    EXPECT_EQ(QRect(0, 40, 100, 40), grid.cell(2));
}

TEST(FigureGrid, AsksForRoomForItsFiguresAndNames)
{
    FigureGrid grid({"A name that is longer than figures"}, 1);
    grid.setFont(Theme::fontFor(QSize(800, 480)));
    EXPECT_GE(grid.sizeHint().width(), Theme::textWidth(Theme::smallFont(grid.font()),
                                                        "A name that is longer than figures"));
    EXPECT_EQ("-", grid.figure(0)) << "nothing is known at first";
}

TEST(FigureGrid, ShowsBadFiguresInAnotherColour)
{
    FigureGrid grid({"Failed"}, 1);
    grid.resize(100, 40);
    grid.setFigure(0, "3", false);
    const QImage good = grid.grab().toImage();
    grid.setFigure(0, "3", true);
    EXPECT_NE(good, grid.grab().toImage());
}

// ---- Stations

std::string cell(const StationTableModel &model, int row, int column)
{
    return model.index(row, column).data().toString().toStdString();
}

TEST(StationTableModel, ShowsEachStationsAccount)
{
    StationTableModel model;
    model.setStations(sampleFigures().line.stations);
    ASSERT_EQ(3, model.rowCount());
    const char *const second[] = {"2", "ok", "5101", "3",      "0",
                                  "0", "2",  "0",    "1 (41)", "13.4/13.4/21.1"};
    for (int column = 0; column < StationTableModel::ColumnCount; ++column)
        EXPECT_EQ(second[column], cell(model, 1, column)) << column;
    EXPECT_EQ("failing", cell(model, 2, StationTableModel::State));
    EXPECT_EQ("31", cell(model, 2, StationTableModel::NoAnswer));
    EXPECT_TRUE(model.index(2, 0).data(StationTableModel::FailingRole).toBool());
    EXPECT_EQ(QColor(Theme::Alarm), model.index(2, 0).data(Qt::BackgroundRole).value<QColor>());
    EXPECT_FALSE(model.index(1, 0).data(Qt::BackgroundRole).isValid());
}

TEST(StationTableModel, ShowsAStationThatHasNotAnsweredYet)
{
    StationTableModel model;
    model.setStations({sampleStation(9, 0)});
    EXPECT_EQ("asked", cell(model, 0, StationTableModel::State));
    EXPECT_EQ("-", cell(model, 0, StationTableModel::RoundTrip));
    EXPECT_EQ("0", cell(model, 0, StationTableModel::EndCode));
}

TEST(StationTableModel, ResetsOnlyForAnotherNumberOfStations)
{
    StationTableModel model;
    const QSignalSpy resets(&model, &QAbstractItemModel::modelReset);
    const QSignalSpy changes(&model, &QAbstractItemModel::dataChanged);
    model.setStations({});
    EXPECT_EQ(0, resets.size() + changes.size());
    model.setStations({sampleStation(1, 1)});
    EXPECT_EQ(1, resets.size());
    model.setStations({sampleStation(1, 2)});
    EXPECT_EQ(1, resets.size());
    EXPECT_EQ(1, changes.size());
    EXPECT_EQ("2", cell(model, 0, StationTableModel::Good));
}

TEST(StationTableModel, NamesItsColumns)
{
    const StationTableModel model;
    for (int column = 0; column < StationTableModel::ColumnCount; ++column)
        EXPECT_FALSE(model.headerData(column, Qt::Horizontal).toString().isEmpty());
    EXPECT_FALSE(model.headerData(StationTableModel::ColumnCount, Qt::Horizontal).isValid());
}

// ---- Page

TEST(LinePage, ShowsAllFiguresAndTheStations)
{
    LinePage page;
    page.showFigures(sampleFigures());
    const FigureGrid *const grid = page.findChild<FigureGrid *>();
    const char *const figures[] = {"14341", "34", "98.5 ms", "50.0 %",
                                   "10368", "12", "745 kB",  "2.7 MB"};
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(figures[i], grid->figure(i).toStdString());
    EXPECT_EQ(3, page.findChild<TouchTable *>()->model()->rowCount());
}

TEST(LinePage, MarksItsFiguresAsOldUntilNewOnesCome)
{
    LinePage page;
    page.showFigures(sampleFigures());
    EXPECT_EQ(5, textsOf(page).size());
    page.showSilence(20000);
    EXPECT_TRUE(textsOf(page).contains("These figures are 20.0 s old."));
    page.showFigures(sampleFigures());
    EXPECT_FALSE(textsOf(page).contains("These figures are 20.0 s old."));
}

} // namespace
