// Every test program's main: a Qt application (a GUI one with PELIX_TEST_GUI), then GoogleTest.
#include <gtest/gtest.h>

#ifdef PELIX_TEST_GUI
#include <QApplication>
using TestApplication = QApplication;
#else
#include <QCoreApplication>
using TestApplication = QCoreApplication;
#endif

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
#ifdef PELIX_TEST_GUI
    // The tests are listed at build time, where there is no display; run, they ask for one.
    if (qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
#endif
    TestApplication app(argc, argv);
    return RUN_ALL_TESTS();
}
