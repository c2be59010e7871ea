#include <QApplication>
#include <QPointer>

#include <gtest/gtest.h>

#include "particle_layout_editor/ple_static_style.h"

using Ple::LinksStyle;
using Ple::StaticStyle;

namespace
{

void expectLinkColours(const QColor& link, const QColor& visited)
{
    const QPalette palette = QApplication::palette();
    for (QPalette::ColorGroup group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled})
    {
        EXPECT_EQ(palette.color(group, QPalette::Link), link) << group;
        EXPECT_EQ(palette.color(group, QPalette::LinkVisited), visited) << group;
    }
}

}  // namespace

TEST(LinksStyle, TakesColoursFromTheStylesheetIntoThePalette)
{
    qApp->setStyleSheet(
        "Ple--LinksStyle { qproperty-linkColor: #ff0000; qproperty-linkVisitedColor: #00ff00; }");
    LinksStyle* style = StaticStyle::inst<LinksStyle>();
    ASSERT_NE(style, nullptr);
    EXPECT_EQ(StaticStyle::inst<LinksStyle>(), style) << "one instance";
    EXPECT_FALSE(style->isVisible());
    EXPECT_EQ(style->linkColor(), QColor("#ff0000"));
    expectLinkColours(QColor("#ff0000"), QColor("#00ff00"));

    // A new stylesheet re-polishes the hidden widget: the palette follows.
    qApp->setStyleSheet(
        "Ple--LinksStyle { qproperty-linkColor: #123456; qproperty-linkVisitedColor: #654321; }");
    expectLinkColours(QColor("#123456"), QColor("#654321"));

    style->setLinkColor(Qt::blue);
    expectLinkColours(QColor(Qt::blue), QColor("#654321"));
    qApp->setStyleSheet(QString());
}

TEST(LinksStyle, DeletedWhenTheApplicationIsAboutToQuit)
{
    QPointer<LinksStyle> style = StaticStyle::inst<LinksStyle>();
    ASSERT_FALSE(style.isNull());
    ASSERT_TRUE(QMetaObject::invokeMethod(qApp, "aboutToQuit", Qt::DirectConnection));
    EXPECT_TRUE(style.isNull());
    // A later request makes a new one.
    EXPECT_NE(StaticStyle::inst<LinksStyle>(), nullptr);
}
