#include <QApplication>

#include <gtest/gtest.h>

int main(int argc, char** argv) {
    // Widgets are drawn into memory, unless a test names a display of its own.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
