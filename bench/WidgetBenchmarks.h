#pragma once

// The main of a benchmark program whose code needs a QApplication (widgets, or a plug-in that
// parks widgets), drawn off screen.

#include "RatioReporter.h"

#include <QApplication>

#include <cstdlib>
#include <initializer_list>

// Makes the application object (no screen needed), then runs as RunBenchmarks.
inline int RunWidgetBenchmarks(int argc, char** argv, std::initializer_list<SRatio> ratios)
{
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    QApplication application(argc, argv);
    return RunBenchmarks(argc, argv, ratios);
}
