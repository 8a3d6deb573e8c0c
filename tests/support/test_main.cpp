// One main for every test binary: a headless QApplication (widget tests need one, and
// queued calls need an event loop).

#include "model/task_runner.h"

#include <QApplication>
#include <QElapsedTimer>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

int main(int argc, char** argv) {
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    ::testing::InitGoogleMock(&argc, argv);
    QApplication app(argc, argv);
    const int result = RUN_ALL_TESTS();
    // Work a test left running (an inspection started by opening a document) ends before the
    // process does, so nothing of it outlives the libraries it runs in.
    QElapsedTimer waited;
    waited.start();
    while (norvane::backgroundTaskCount() > 0 && waited.elapsed() < 60'000) {
        QApplication::processEvents(QEventLoop::AllEvents, 10);
    }
    return result;
}
