// The tests draw with OpenGL: they need a QGuiApplication with shared contexts
// and a display (ctest runs them under xvfb-run). Listing the tests needs
// neither.
#include <gtest/gtest.h>

#include <QGuiApplication>

int main(int argc, char** argv)
{
    ::testing::InitGoogleTest(&argc, argv);
    if (::testing::GTEST_FLAG(list_tests))
        return RUN_ALL_TESTS();
    // Without an X display only Qt's offscreen platform can start; the tests
    // then skip themselves if it gives no OpenGL context.
    if (qEnvironmentVariableIsEmpty("DISPLAY"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    QGuiApplication app(argc, argv);
    return RUN_ALL_TESTS();
}
