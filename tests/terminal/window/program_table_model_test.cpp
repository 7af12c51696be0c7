#include "terminal/window/program_table_model.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>

#include <gtest/gtest.h>

#include "tests/terminal/window/sample_program.h"

namespace
{

typedef QAbstractItemModelTester::FailureReportingMode Reporting;

std::string cell(const ProgramTableModel &model, int row, int column, int role = Qt::DisplayRole)
{
    return model.index(row, column).data(role).toString().toStdString();
}

TEST(ProgramTable, IsEmptyWithoutAFile)
{
    ProgramTableModel model;
    const QAbstractItemModelTester tester(&model, Reporting::Fatal);
    EXPECT_EQ(0, model.rowCount());
    EXPECT_EQ(0, model.columnCount());
    EXPECT_EQ("", model.headerData(0, Qt::Horizontal, Qt::DisplayRole).toString());
    EXPECT_FALSE(model.data(QModelIndex(), Qt::DisplayRole).isValid());
}

TEST(ProgramTable, HasARowForEachStepAndAColumnForEachName)
{
    ProgramTableModel model;
    const QAbstractItemModelTester tester(&model, Reporting::Fatal);
    const QSignalSpy resets(&model, &QAbstractItemModel::modelReset);
    model.setPreview(sampleProgram());
    EXPECT_EQ(1, resets.size());
    EXPECT_EQ(5, model.rowCount());
    EXPECT_EQ(25, model.columnCount());
    EXPECT_EQ(0, model.rowCount(model.index(0, 0)));
    EXPECT_EQ(0, model.columnCount(model.index(0, 0)));
    EXPECT_EQ(u8"程序1", cell(model, 0, 0));
    EXPECT_EQ("2500", cell(model, 0, 1));
    EXPECT_EQ("250", cell(model, 4, 1));
    EXPECT_EQ("0", cell(model, 4, 24));
}

TEST(ProgramTable, HasTheFilesNamesAboveItsColumns)
{
    ProgramTableModel model;
    model.setPreview(sampleProgram());
    for (int column = 0; column < 25; ++column)
        EXPECT_EQ(sampleHeader().at(column),
                  model.headerData(column, Qt::Horizontal, Qt::DisplayRole).toString());
    EXPECT_FALSE(model.headerData(0, Qt::Vertical, Qt::DisplayRole).isValid());
    EXPECT_FALSE(model.headerData(0, Qt::Horizontal, Qt::ToolTipRole).isValid());
}

TEST(ProgramTable, AlignsNumbersAtTheirEnd)
{
    ProgramTableModel model;
    model.setPreview(sampleProgram());
    EXPECT_EQ(int(Qt::AlignLeft | Qt::AlignVCenter),
              model.index(0, 0).data(Qt::TextAlignmentRole).toInt());
    for (int column = 1; column < 25; ++column)
        EXPECT_EQ(int(Qt::AlignRight | Qt::AlignVCenter),
                  model.index(0, column).data(Qt::TextAlignmentRole).toInt());
}

TEST(ProgramTable, LeavesFieldsEmptyThatARowLacksAndHidesWhatHasNoName)
{
    ProgramPreview preview;
    preview.header = QStringList{"a", "b"};
    preview.rows = {{"short"}, {"1", "2", "3"}, {}};
    ProgramTableModel model;
    const QAbstractItemModelTester tester(&model, Reporting::Fatal);
    model.setPreview(preview);
    EXPECT_EQ(2, model.columnCount());
    EXPECT_EQ("short", cell(model, 0, 0));
    EXPECT_EQ("", cell(model, 0, 1));
    EXPECT_EQ("2", cell(model, 1, 1));
    EXPECT_EQ("", cell(model, 2, 0));
}

TEST(ProgramTable, TakesNoTextForMarkup)
{
    ProgramPreview preview;
    preview.header = QStringList{"a"};
    preview.rows = {{"<b>1</b>"}};
    ProgramTableModel model;
    model.setPreview(preview);
    EXPECT_EQ("<b>1</b>", cell(model, 0, 0));
    EXPECT_EQ("<p>&lt;b&gt;1&lt;/b&gt;</p>", cell(model, 0, 0, Qt::ToolTipRole));
}

TEST(ProgramTable, ForgetsAFileThatIsGone)
{
    ProgramTableModel model;
    model.setPreview(sampleProgram());
    model.setPreview(ProgramPreview());
    EXPECT_EQ(0, model.rowCount());
    EXPECT_EQ(0, model.columnCount());
}

} // namespace
