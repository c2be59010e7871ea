#include "particle_layout_editor/notifier/notifier_popups.h"

#include <algorithm>
#include <cstdlib>

#include <QEvent>
#include <QWidget>

#include "particle_layout_editor/notifier/notifier_popups_item.h"
#include "qt_ext/qt_ext_signals.h"

namespace notifier
{

Popups::Popups(QWidget* parent)
    : Listener(parent),
      defaultStyle_{QStringLiteral("QLabel { border-radius: 2px; padding: 5; "
                                   "background-color: #FFFFFF; color: #000000; }"),
                    boost::none},
      parent_(parent),
      slidingTimer_(this)
{
    if (parent_)
        parent_->installEventFilter(this);
    QT_CHECKED_CONNECT(&slidingTimer_, &QTimer::timeout, this, &Popups::onSlidingTimerTick);
}

Popups::~Popups()
{
    // The strips are children of the parent widget, which may outlive us.
    std::vector<popups::Item*> items;
    items.swap(items_);
    for (popups::Item* item : items)
        delete item;
}

void Popups::registerStyle(int id, QString sheet, boost::optional<int> time)
{
    styles_[id] = Style{std::move(sheet), time};
}

const Popups::Style& Popups::styleById(int id) const
{
    auto it = styles_.find(id);
    return it != styles_.end() ? it->second : defaultStyle_;
}

void Popups::setNextNotificationTime(int ms)
{
    nextTime_ = ms;
    useNextTime_ = true;
}

void Popups::notify(int styleId, QString const& text) { notify(styleId, text, nullptr, {}); }

void Popups::notify(int styleId, QString const& text, QObject* linkContext,
                    std::function<void(QString)> linkHandler)
{
    const Style& style = styleById(styleId);
    int time = timeToShow_;
    if (useNextTime_)
    {
        time = nextTime_;
        useNextTime_ = false;
    }
    else if (style.time)
    {
        time = *style.time;
    }

    auto* item =
        new popups::Item(parent_, style.sheet, text, time, linkContext, std::move(linkHandler));
    const int y = items_.empty() ? 0 : items_.back()->y() + items_.back()->height() + 1;
    item->adjustForParent(y);
    item->show();

    QT_CHECKED_CONNECT(item, &popups::Item::readyToClose, item, &popups::Item::startClosing);
    QT_CHECKED_CONNECT(item, &popups::Item::finished, this, [this, item] { onItemFinished(item); });
    QT_CHECKED_CONNECT(item, &popups::Item::lockedChanged, this, &Popups::adjustItems);
    // Whoever deletes a strip (its parent, too), the list never holds a dead one.
    QT_CHECKED_CONNECT(item, &QObject::destroyed, this, &Popups::onItemDestroyed);
    items_.push_back(item);
}

void Popups::adjustItems()
{
    slidingTimer_.start(slidingPeriodMs);
    // A lock that changes while a tick moves the strips leaves the rest of the
    // work to the running timer.
    if (!ticking_)
        onSlidingTimerTick();
}

void Popups::onSlidingTimerTick()
{
    ticking_ = true;
    int expected = 0;
    bool moved = false;
    // By index: a strip that moves may lock and re-enter adjustItems.
    for (size_t i = 0; i < items_.size(); ++i)
    {
        popups::Item* item = items_[i];
        const int top = item->y();
        if (item->isLocked() || top == expected)
        {
            item->adjustForParent(top);
        }
        else
        {
            const int distance = expected - top;
            const int step = std::abs(distance) > slidingStep - 1
                                 ? (distance > 0 ? slidingStep : -slidingStep)
                                 : distance;
            item->adjustForParent(top + step);
            moved = true;
        }
        expected = item->y() + item->height() + 1;
    }
    ticking_ = false;
    if (!moved)
        slidingTimer_.stop();
}

void Popups::onItemFinished(popups::Item* item)
{
    auto it = std::find(items_.begin(), items_.end(), item);
    if (it == items_.end())
        return;
    item->deleteLater();
    items_.erase(it);
    adjustItems();
}

void Popups::onItemDestroyed(QObject* item)
{
    auto it = std::find_if(items_.begin(), items_.end(),
                           [item](popups::Item* i) { return static_cast<QObject*>(i) == item; });
    if (it == items_.end())
        return;
    items_.erase(it);
    adjustItems();
}

bool Popups::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == parent_ && event->type() == QEvent::Resize)
        adjustItems();
    return false;
}

}  // namespace notifier
