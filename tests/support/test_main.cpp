// The main of every test program: a Qt application object (a GUI one when built with
// PELIX_TEST_GUI) and then GoogleTest.
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
    TestApplication app(argc, argv);
    return RUN_ALL_TESTS();
}
