// One main for every test binary: a headless QApplication (widget tests need one, and
// queued calls need an event loop) and a private data folder so no test can touch the
// real export history.

#include <QApplication>
#include <QTemporaryDir>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

int main(int argc, char** argv) {
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    QTemporaryDir dataHome;
    if (!dataHome.isValid()) {
        return 1;
    }
    setenv("XDG_DATA_HOME", dataHome.path().toLocal8Bit().constData(), 1);
    ::testing::InitGoogleMock(&argc, argv);
    QApplication app(argc, argv);
    return RUN_ALL_TESTS();
}
