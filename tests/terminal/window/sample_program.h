// A program file as an export writes it, for tests and for pictures.

#ifndef TESTS_TERMINAL_WINDOW_SAMPLE_PROGRAM_H
#define TESTS_TERMINAL_WINDOW_SAMPLE_PROGRAM_H

#include "terminal/program_preview.h"

inline QStringList sampleHeader()
{
    QStringList header{" ",
                       QString::fromUtf8("設定溫度"),
                       QString::fromUtf8("設定時間(時)"),
                       QString::fromUtf8("設定時間(分)"),
                       QString::fromUtf8("設定時間(秒)"),
                       "G. SOAK +",
                       "G. SOAK  -",
                       QString::fromUtf8("PID 群組"),
                       "Empty"};
    for (int event = 1; event <= 12; ++event)
        header << QString("EVENT%1").arg(event);
    for (int input = 1; input <= 4; ++input)
        header << QString("DI%1").arg(input);
    return header;
}

/// Heats up in two steps, soaks, and cools down: 4:35 in all.
inline ProgramPreview sampleProgram()
{
    ProgramPreview program;
    program.matches = QStringList{"PROG_1.txt"};
    program.file = "PROG_1.txt";
    program.header = sampleHeader();
    const int steps[][4] = {
        {2500, 0, 30, 0}, {6000, 1, 15, 0}, {6000, 2, 0, 0}, {3000, 0, 40, 0}, {250, 0, 10, 0}};
    for (int step = 0; step < 5; ++step) {
        QStringList row(QString::fromUtf8("程序%1").arg(step + 1));
        for (const int value : steps[step])
            row << QString::number(value);
        while (row.size() < program.header.size())
            row << "0";
        program.rows.push_back(row);
    }
    return program;
}

#endif // TESTS_TERMINAL_WINDOW_SAMPLE_PROGRAM_H
