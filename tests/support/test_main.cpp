// One main for every test binary: a headless QApplication (widget tests need one, and
// queued calls need an event loop).

#include <QApplication>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

int main(int argc, char** argv) {
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    ::testing::InitGoogleMock(&argc, argv);
    QApplication app(argc, argv);
    return RUN_ALL_TESTS();
}
