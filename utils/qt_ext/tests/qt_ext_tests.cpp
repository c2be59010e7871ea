#include <QApplication>
#include <QLabel>
#include <QTimer>

#include <gtest/gtest.h>

#include "qt_ext/qt_ext_signals.h"
#include "qt_ext/qt_ext_style.h"

TEST(QtExtCheckedConnect, TextAndMemberFormsConnect)
{
    QTimer timer;
    QLabel label;
    auto byText = QT_CHECKED_CONNECT(&timer, SIGNAL(objectNameChanged(QString)), &label,
                                     SLOT(setText(QString)), Qt::DirectConnection);
    EXPECT_TRUE(static_cast<bool>(byText));
    timer.setObjectName("renamed");
    EXPECT_EQ(label.text(), "renamed");

    int calls = 0;
    auto byMember =
        QT_CHECKED_CONNECT(&timer, &QObject::objectNameChanged, &label, [&] { ++calls; });
    EXPECT_TRUE(static_cast<bool>(byMember));
    timer.setObjectName("again");
    EXPECT_EQ(calls, 1);
}

TEST(QtExtCheckedConnectDeathTest, MisspeltSignatureStopsTheProgram)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_DEATH(
        {
            QTimer timer;
            QLabel label;
            QT_CHECKED_CONNECT(&timer, SIGNAL(timeOut()), &label, SLOT(clear()),
                               Qt::AutoConnection);
        },
        // A Qt assertion with its context and message, at the call site.
        "ASSERT failure in QT_CHECKED_CONNECT: \"CHECKED_CONNECT failed\", file "
        ".*qt_ext_tests\\.cpp");
}

TEST(QtExtStyleProperty, StylesheetFollowsTheProperty)
{
    QLabel label("text");
    label.setStyleSheet("QLabel[state=\"bad\"] { color: #ff0000; } QLabel { color: #00ff00; }");
    label.ensurePolished();
    EXPECT_EQ(label.palette().color(QPalette::WindowText), QColor("#00ff00"));

    QtExt::setStyleProperty(&label, "state", "bad");
    EXPECT_EQ(label.property("state").toString(), "bad");
    EXPECT_EQ(label.palette().color(QPalette::WindowText), QColor("#ff0000"));

    QtExt::setStyleProperty(&label, "state", "good");
    EXPECT_EQ(label.palette().color(QPalette::WindowText), QColor("#00ff00"));
    QtExt::setStyleProperty(nullptr, "state", "bad");  // no widget, nothing happens
}

int main(int argc, char** argv)
{
    // Widget tests without a display, also when CTest lists the tests.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
