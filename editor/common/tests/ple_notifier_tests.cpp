#include <algorithm>
#include <memory>
#include <vector>

#include <QCursor>
#include <QElapsedTimer>
#include <QImage>
#include <QLabel>
#include <QPointer>
#include <QTest>
#include <QWidget>

#include <gtest/gtest.h>

#include "particle_layout_editor/notifier/notifier_notifier.h"
#include "particle_layout_editor/notifier/notifier_popups.h"
#include "particle_layout_editor/notifier/notifier_popups_item.h"
#include "particle_layout_editor/ple_notifier.h"

using notifier::Popups;
using notifier::popups::Item;

namespace
{

constexpr int toleranceMs = 50;

class Recorder : public notifier::Listener
{
public:
    explicit Recorder(std::vector<QString>* log, QString name) : log_(log), name_(std::move(name))
    {
    }
    void notify(int styleId, QString const& text) override
    {
        log_->push_back(QString("%1:%2:%3").arg(name_).arg(styleId).arg(text));
    }
    void notify(int styleId, QString const& text, QObject*,
                std::function<void(QString)> handler) override
    {
        notify(styleId, text);
        handler(name_);
    }

private:
    std::vector<QString>* log_;
    QString name_;
};

TEST(NotifierListeners, EachMessageOnceInOrderUntilDetachedOrDestroyed)
{
    std::vector<QString> log;
    notifier::Notifier hub;
    Recorder a(&log, "a");
    auto b = std::make_unique<Recorder>(&log, "b");
    hub.attachListener(a);
    hub.attachListener(*b);
    hub.attachListener(a);
    hub.notify(3, "x");
    QStringList handled;
    hub.notify(1, "y", nullptr, [&handled](QString s) { handled << s; });
    EXPECT_EQ(log, (std::vector<QString>{"a:3:x", "b:3:x", "a:1:y", "b:1:y"}));
    EXPECT_EQ(handled, (QStringList{"a", "b"}));

    log.clear();
    b.reset();
    Recorder stranger(&log, "s");
    hub.detachListener(stranger);
    hub.notify(2, "z");
    hub.detachListener(a);
    hub.notify(2, "w");
    EXPECT_EQ(log, (std::vector<QString>{"a:2:z"}));
}

TEST(NotifierTables, TypesAndDurations)
{
    using Ple::Notifier;
    EXPECT_EQ(Notifier::styleIdFromNotifyType(Ple::NT_Neutral), 1);
    EXPECT_EQ(Notifier::styleIdFromNotifyType(Ple::NT_Positive), 2);
    EXPECT_EQ(Notifier::styleIdFromNotifyType(Ple::NT_Negative), 3);
    EXPECT_EQ(Notifier::styleIdFromNotifyType(static_cast<Ple::NotifyType>(9)), 1);
    EXPECT_EQ(Notifier::durationTimeFromType(Ple::ND_Short), 2000);
    EXPECT_EQ(Notifier::durationTimeFromType(Ple::ND_Medium), 4000);
    EXPECT_EQ(Notifier::durationTimeFromType(Ple::ND_Long), 6000);
    EXPECT_EQ(Notifier::durationTimeFromType(static_cast<Ple::NotifyDuration>(-1)), 2000);
}

// A window with the pointer parked in its bottom-right corner, away from the strips.
class NotifierTest : public testing::Test
{
protected:
    void SetUp() override
    {
        window_.resize(600, 300);
        window_.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&window_));
        parkPointer();
    }
    void parkPointer() { QTest::mouseMove(&window_, QPoint(595, 295)); }

    QWidget window_;
};

TEST_F(NotifierTest, TimeOfAStrip)
{
    Popups popups(&window_);
    popups.registerStyle(5, "QLabel { background-color: #808080; }", 300);
    popups.registerStyle(6, "QLabel { background-color: #808080; }", boost::none);
    popups.setTimeToShow(700);
    struct Case
    {
        int next;  // 0: none
        int style;
        int expected;
    } const cases[] = {
        {1000, 5, 1000},  // the one-shot time wins over the style's
        {0, 5, 300},      // ...for one strip only
        {0, 6, 700},     {1500, 99, 1500}, {0, 99, 700},
    };
    for (const Case& c : cases)
    {
        if (c.next)
            popups.setNextNotificationTime(c.next);
        popups.notify(c.style, "t");
        EXPECT_EQ(popups.items().back()->timeToShow(), c.expected) << "style " << c.style;
        EXPECT_GT(popups.items().back()->remainingTime(), 0);
    }
    EXPECT_EQ(popups.styleById(99).sheet, popups.items().back()->label()->styleSheet());
    EXPECT_TRUE(popups.styleById(99).sheet.contains("background-color: #FFFFFF"));

    Ple::Notifier facade(nullptr, &window_);
    for (auto [duration, expected] :
         {std::pair{Ple::ND_Short, 2000}, {Ple::ND_Medium, 4000}, {Ple::ND_Long, 6000}})
    {
        facade.notify(Ple::NT_Neutral, duration, "d");
        EXPECT_EQ(facade.popups()->items().back()->timeToShow(), expected);
    }
}

TEST_F(NotifierTest, ThreeColoursInAGrabbedPicture)
{
    Ple::Notifier facade(nullptr, &window_);
    facade.notify(Ple::NT_Neutral, Ple::ND_Long, "Neutral news");
    facade.notify(Ple::NT_Positive, Ple::ND_Long, "Good news");
    facade.notify(Ple::NT_Negative, Ple::ND_Long, "Bad news");
    facade.popups()->notify(42, "Unstyled news");
    const std::vector<Item*> items = facade.popups()->items();
    ASSERT_EQ(items.size(), 4u);
    EXPECT_LT(items[0]->opacity(), 0.5);  // fading in
    QTest::qWait(Item::fadeMs + toleranceMs);
    const QImage picture = window_.grab().toImage();

    struct Expected
    {
        QColor background;
        QColor border;
        int text;  // grey level
    } const expected[] = {
        {QColor(0xF6, 0xFF, 0xBD), QColor(0xF6, 0xFF, 0xBD).darker(130), 0x33},
        {QColor(0xC8, 0xFF, 0xBD), QColor(0xC8, 0xFF, 0xBD).darker(130), 0x33},
        {QColor(0xFF, 0xBD, 0xBD), QColor(0xFF, 0xBD, 0xBD).darker(130), 0x33},
        {Qt::white, Qt::white, 0x00},
    };
    for (int i = 0; i < 4; ++i)
    {
        const QRect r = items[i]->geometry();
        EXPECT_EQ(items[i]->opacity(), 1.0);
        const int mid = r.top() + r.height() / 2;
        // Layout margin 5, label margin 1, border 1, then the padding's background.
        EXPECT_EQ(QColor(picture.pixel(r.left() + 6, mid)).name(), expected[i].border.name()) << i;
        EXPECT_EQ(QColor(picture.pixel(r.left() + 9, mid)).name(), expected[i].background.name())
            << i;
        int darkest = 255;
        for (int y = r.top(); y <= r.bottom(); ++y)
            for (int x = r.left(); x <= r.right(); ++x)
                darkest = std::min(darkest, qGray(picture.pixel(x, y)));
        EXPECT_NEAR(darkest, expected[i].text, 6) << i;
    }
}

TEST_F(NotifierTest, CentredOneApartWrappedAt70PercentAlsoAfterAResize)
{
    Popups popups(&window_);
    popups.notify(1, "Short");
    popups.notify(1, QString("A long message that can't fit on one line. ").repeated(8));
    popups.notify(1, "Short again, a little longer");
    const std::vector<Item*> items = popups.items();

    auto check = [&](int width)
    {
        ASSERT_EQ(window_.width(), width);
        int y = 0;
        for (Item* item : items)
        {
            EXPECT_EQ(item->x(), width / 2 - item->width() / 2);
            EXPECT_EQ(item->y(), y);
            y = item->y() + item->height() + 1;
        }
        EXPECT_FALSE(items[0]->label()->wordWrap());
        EXPECT_FALSE(items[2]->label()->wordWrap());
        EXPECT_TRUE(items[1]->label()->wordWrap());
        // Wrapped lines may end short of the limit, by less than a word.
        const int limit = int(width * 0.7f);
        EXPECT_EQ(items[1]->label()->maximumWidth(), limit);
        EXPECT_LE(items[1]->label()->width(), limit);
        EXPECT_GT(items[1]->label()->width(), limit - 40);
        EXPECT_EQ(items[1]->width(), items[1]->label()->width() + 2 * Item::margin);
        EXPECT_GT(items[1]->height(), 2 * items[0]->height() - 2 * Item::margin);
    };
    check(600);
    const int wrappedHeight = items[1]->height();

    window_.resize(900, 300);
    ASSERT_TRUE(QTest::qWaitFor([&] { return !popups.isSliding(); }, 1000));
    check(900);
    EXPECT_LT(items[1]->height(), wrappedHeight);
}

TEST_F(NotifierTest, StripLivesItsTimeFadesOutAndTheRestSlideUp)
{
    Popups popups(&window_);
    popups.setNextNotificationTime(200);
    popups.notify(1, "First");
    popups.notify(1, "Second");
    QElapsedTimer clock;
    clock.start();
    QPointer<Item> first = popups.items()[0];
    Item* second = popups.items()[1];
    EXPECT_EQ(second->y(), first->height() + 1);

    ASSERT_TRUE(QTest::qWaitFor([&] { return first->isClosing(); }, 1000));
    EXPECT_NEAR(clock.elapsed(), 200, toleranceMs);
    ASSERT_TRUE(QTest::qWaitFor([&] { return first.isNull(); }, 1000));
    EXPECT_NEAR(clock.elapsed(), 200 + Item::fadeMs, toleranceMs);
    EXPECT_EQ(popups.items(), std::vector<Item*>{second});
    ASSERT_TRUE(QTest::qWaitFor([&] { return !popups.isSliding(); }, 1000));
    EXPECT_EQ(second->y(), 0);
    EXPECT_FALSE(second->isClosing());
}

TEST_F(NotifierTest, PointerOverAStripHoldsItsTime)
{
    Popups popups(&window_);
    popups.setNextNotificationTime(300);
    popups.notify(1, "Held");
    QPointer<Item> item = popups.items()[0];
    QTest::qWait(100);
    QTest::mouseMove(&window_, item->geometry().center());
    ASSERT_TRUE(item->isLocked());
    const int kept = item->remainingTime();
    EXPECT_NEAR(kept, 200, toleranceMs);

    QTest::qWait(400);
    ASSERT_FALSE(item.isNull());
    EXPECT_FALSE(item->isClosing());
    EXPECT_EQ(item->remainingTime(), kept);

    QElapsedTimer clock;
    clock.start();
    parkPointer();
    EXPECT_FALSE(item->isLocked());
    ASSERT_TRUE(QTest::qWaitFor([&] { return item->isClosing(); }, 1000));
    EXPECT_NEAR(clock.elapsed(), kept, toleranceMs);
}

TEST_F(NotifierTest, StripThatSlidesUnderAStillPointerStops)
{
    Popups popups(&window_);
    popups.setNextNotificationTime(100);
    popups.notify(1, "a");
    popups.setNextNotificationTime(100);
    popups.notify(1, "b");
    popups.notify(1, "A wider strip that slides up under the pointer");
    Item* wide = popups.items()[2];
    // Left in the wide strip, beside the narrow ones, in its first step up.
    const QPoint pointer(wide->x() + 4, wide->y() - Popups::slidingStep + 3);
    ASSERT_LT(pointer.x(), popups.items()[1]->x());
    QTest::mouseMove(&window_, pointer);
    EXPECT_FALSE(wide->isLocked());

    ASSERT_TRUE(
        QTest::qWaitFor([&] { return popups.items().size() == 1 && !popups.isSliding(); }, 2000));
    EXPECT_TRUE(wide->isLocked());
    EXPECT_TRUE(wide->geometry().contains(pointer));
    EXPECT_GT(wide->y(), 0);

    // A real pointer that leaves passes over the strip first.
    QTest::mouseMove(&window_, pointer + QPoint(1, 0));
    parkPointer();
    ASSERT_TRUE(QTest::qWaitFor([&] { return wide->y() == 0; }, 1000));
    EXPECT_FALSE(wide->isLocked());
}

TEST_F(NotifierTest, LinkHandlerLivesWithItsContext)
{
    Ple::Notifier facade(nullptr, &window_);
    auto context = std::make_unique<QObject>();
    QStringList links;
    facade.notify(Ple::NT_Neutral, Ple::ND_Short, "<a href=\"there\">go</a>", context.get(),
                  [&links](QString link) { links << link; });
    Item* item = facade.popups()->items()[0];
    emit item->label()->linkActivated("there");
    EXPECT_EQ(links, QStringList{"there"});
    EXPECT_FALSE(item->isClosing());
    EXPECT_FALSE(item->label()->openExternalLinks());
    context.reset();
    emit item->label()->linkActivated("there");
    EXPECT_EQ(links.size(), 1);
}

}  // namespace
