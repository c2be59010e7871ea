#include <QApplication>
#include <QHelpEvent>
#include <QLabel>
#include <QPointer>
#include <QScreen>
#include <QTest>

#include <gtest/gtest.h>

#include "particle_layout_editor/ple_tooltip.h"

using Ple::Tooltip;
using Ple::TooltipFilter;

TEST(TooltipDuration, FourSecondsUpToHundredCharsThenFortyMsEach)
{
    EXPECT_EQ(Tooltip::showDurationMs(QString()), 4000);
    EXPECT_EQ(Tooltip::showDurationMs(QString(100, 'a')), 4000);
    EXPECT_EQ(Tooltip::showDurationMs(QString(101, 'a')), 4040);
    EXPECT_EQ(Tooltip::showDurationMs(QString(150, 'a')), 6000);
}

TEST(TooltipPlacement, RightAndBelowWhereItFits)
{
    const QRect screen(0, 0, 1920, 1080);
    EXPECT_EQ(Tooltip::placement({100, 100}, {200, 50}, screen), QPoint(120, 120));
}

TEST(TooltipPlacement, NearTheRightEdgeOpensToTheLeft)
{
    const QRect screen(0, 0, 1920, 1080);
    EXPECT_EQ(Tooltip::placement({1800, 100}, {200, 50}, screen), QPoint(1580, 120));
    // Exactly at the edge counts as not fitting: the rule is "less than".
    const int x = screen.right() - 200 - 20;
    EXPECT_EQ(Tooltip::placement({x, 100}, {200, 50}, screen).x(), x - 20 - 200);
    EXPECT_EQ(Tooltip::placement({x - 1, 100}, {200, 50}, screen).x(), x - 1 + 20);
}

TEST(TooltipPlacement, NearTheBottomEdgeOpensAbove)
{
    const QRect screen(0, 0, 1920, 1080);
    EXPECT_EQ(Tooltip::placement({100, 1050}, {200, 50}, screen), QPoint(120, 985));
    // Below uses 15 of room for the test but 20 of offset for the place.
    const int y = screen.bottom() - 50 - 15;
    EXPECT_EQ(Tooltip::placement({100, y - 1}, {200, 50}, screen).y(), y - 1 + 20);
    EXPECT_EQ(Tooltip::placement({100, y}, {200, 50}, screen).y(), y - 15 - 50);
}

TEST(TooltipPlacement, SecondScreenUsesItsOwnEdges)
{
    const QRect second(1920, 0, 1280, 1024);
    EXPECT_EQ(Tooltip::placement({3100, 1000}, {300, 40}, second),
              QPoint(3100 - 20 - 300, 1000 - 15 - 40));
    EXPECT_EQ(Tooltip::placement({2000, 10}, {300, 40}, second), QPoint(2020, 30));
}

namespace
{

class TooltipFilterTest : public testing::Test
{
protected:
    void SetUp() override
    {
        Tooltip::setupApplicationFilter();
        widget_.setToolTip("hello");
        widget_.resize(100, 40);
        widget_.move(10, 10);
        widget_.show();
    }
    void TearDown() override
    {
        // Leave no tooltip behind for the next test.
        if (Tooltip* t = TooltipFilter::inst().tooltip())
            delete t;
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    bool sendToolTipEvent(QWidget* widget, const QPoint& global)
    {
        QHelpEvent event(QEvent::ToolTip, widget->mapFromGlobal(global), global);
        return QApplication::sendEvent(widget, &event);
    }

    static void processDeletes()
    {
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    QLabel widget_{"target"};
};

}  // namespace

TEST_F(TooltipFilterTest, WidgetTooltipOpensOursAtThePlacedPoint)
{
    const QPoint global(30, 30);
    EXPECT_TRUE(sendToolTipEvent(&widget_, global));
    Tooltip* tooltip = TooltipFilter::inst().tooltip();
    ASSERT_NE(tooltip, nullptr);
    EXPECT_EQ(TooltipFilter::inst().target(), &widget_);
    EXPECT_EQ(tooltip->text(), "hello");
    EXPECT_TRUE(tooltip->isVisible());
    EXPECT_TRUE(tooltip->wordWrap());
    EXPECT_TRUE(tooltip->openExternalLinks());
    EXPECT_TRUE(tooltip->windowFlags() & Qt::ToolTip);
    EXPECT_TRUE(tooltip->isTimerActive());
    EXPECT_EQ(tooltip->timerInterval(), 4000);
    const QRect available = QGuiApplication::screenAt(global)->availableGeometry();
    EXPECT_EQ(tooltip->pos(), Tooltip::placement(global, tooltip->sizeHint(), available));
}

TEST_F(TooltipFilterTest, SameTargetRestartsTheSameTooltip)
{
    sendToolTipEvent(&widget_, {30, 30});
    QPointer<Tooltip> first = TooltipFilter::inst().tooltip();
    first->startHideTimer();
    EXPECT_TRUE(sendToolTipEvent(&widget_, {35, 32}));
    processDeletes();
    ASSERT_FALSE(first.isNull());
    EXPECT_EQ(TooltipFilter::inst().tooltip(), first.data());
    EXPECT_FALSE(first->isHiding());
    EXPECT_EQ(first->timerInterval(), 4000);
}

TEST_F(TooltipFilterTest, OtherTargetReplacesTheTooltip)
{
    QLabel other("other");
    other.setToolTip(QString(150, 'x'));
    other.show();
    sendToolTipEvent(&widget_, {30, 30});
    QPointer<Tooltip> first = TooltipFilter::inst().tooltip();
    EXPECT_TRUE(sendToolTipEvent(&other, {60, 60}));
    processDeletes();
    EXPECT_TRUE(first.isNull());
    ASSERT_NE(TooltipFilter::inst().tooltip(), nullptr);
    EXPECT_EQ(TooltipFilter::inst().target(), &other);
    EXPECT_EQ(TooltipFilter::inst().tooltip()->timerInterval(), 6000);
}

TEST_F(TooltipFilterTest, WidgetWithoutTooltipIsLeftToQt)
{
    QLabel plain("plain");
    plain.show();
    sendToolTipEvent(&plain, {30, 30});
    EXPECT_EQ(TooltipFilter::inst().tooltip(), nullptr);
    EXPECT_EQ(TooltipFilter::inst().target(), nullptr);
}

TEST_F(TooltipFilterTest, LeavingTheTargetHidesAfterShortDelay)
{
    sendToolTipEvent(&widget_, {30, 30});
    QPointer<Tooltip> tooltip = TooltipFilter::inst().tooltip();
    QEvent leave(QEvent::HoverLeave);
    QApplication::sendEvent(&widget_, &leave);
    ASSERT_FALSE(tooltip.isNull());
    EXPECT_TRUE(tooltip->isHiding());
    EXPECT_EQ(tooltip->timerInterval(), 300);
    QTest::qWait(100);
    // A second leave doesn't restart the countdown.
    QApplication::sendEvent(&widget_, &leave);
    EXPECT_LT(tooltip->timerRemainingMs(), 250);
    EXPECT_TRUE(QTest::qWaitFor([&] { return tooltip.isNull(); }, 2000));
    EXPECT_EQ(TooltipFilter::inst().tooltip(), nullptr);
    EXPECT_EQ(TooltipFilter::inst().target(), nullptr);
}

TEST_F(TooltipFilterTest, PlainLeaveOfTheTargetKeepsTheShowTime)
{
    sendToolTipEvent(&widget_, {30, 30});
    Tooltip* tooltip = TooltipFilter::inst().tooltip();
    ASSERT_NE(tooltip, nullptr);
    QEvent leave(QEvent::Leave);
    QApplication::sendEvent(&widget_, &leave);
    EXPECT_FALSE(tooltip->isHiding());
    EXPECT_EQ(tooltip->timerInterval(), 4000);
}

TEST_F(TooltipFilterTest, PointerOnTheTooltipKeepsItThenLeavingHidesIt)
{
    sendToolTipEvent(&widget_, {30, 30});
    Tooltip* tooltip = TooltipFilter::inst().tooltip();
    QEvent enter(QEvent::Enter);
    QApplication::sendEvent(tooltip, &enter);
    EXPECT_FALSE(tooltip->isTimerActive());
    QEvent leave(QEvent::Leave);
    QApplication::sendEvent(tooltip, &leave);
    EXPECT_TRUE(tooltip->isTimerActive());
    EXPECT_TRUE(tooltip->isHiding());
    EXPECT_EQ(tooltip->timerInterval(), 300);
}

TEST_F(TooltipFilterTest, ClickOnTheTooltipClosesIt)
{
    sendToolTipEvent(&widget_, {30, 30});
    QPointer<Tooltip> tooltip = TooltipFilter::inst().tooltip();
    QTest::mouseClick(tooltip.data(), Qt::LeftButton);
    processDeletes();
    EXPECT_TRUE(tooltip.isNull());
    EXPECT_EQ(TooltipFilter::inst().tooltip(), nullptr);
}

TEST_F(TooltipFilterTest, DestroyedTargetTakesTheTooltipAlong)
{
    auto* target = new QLabel("short-lived");
    target->setToolTip("bye");
    target->show();
    sendToolTipEvent(target, {30, 30});
    QPointer<Tooltip> tooltip = TooltipFilter::inst().tooltip();
    ASSERT_FALSE(tooltip.isNull());
    delete target;
    EXPECT_EQ(TooltipFilter::inst().target(), nullptr);
    EXPECT_EQ(TooltipFilter::inst().tooltip(), nullptr);
    processDeletes();
    EXPECT_TRUE(tooltip.isNull());
}

TEST_F(TooltipFilterTest, NoScreenAtThePointerShowsNothing)
{
    QPointer<Tooltip> tooltip;
    sendToolTipEvent(&widget_, {-50000, -50000});
    tooltip = TooltipFilter::inst().tooltip();
    processDeletes();
    EXPECT_TRUE(tooltip.isNull());
    EXPECT_EQ(TooltipFilter::inst().tooltip(), nullptr);
}

TEST_F(TooltipFilterTest, RequestForATargetWithoutWidgetTooltip)
{
    QObject sceneItem;
    Tooltip::requestShowTooltip({40, 40}, QString(), &sceneItem);
    EXPECT_EQ(TooltipFilter::inst().tooltip(), nullptr);
    Tooltip::requestShowTooltip({40, 40}, "block help", &sceneItem);
    ASSERT_NE(TooltipFilter::inst().tooltip(), nullptr);
    EXPECT_EQ(TooltipFilter::inst().tooltip()->text(), "block help");
    EXPECT_EQ(TooltipFilter::inst().target(), &sceneItem);
}
