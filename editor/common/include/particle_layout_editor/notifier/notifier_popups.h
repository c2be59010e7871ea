#pragma once

#include <map>
#include <vector>

#include <boost/optional.hpp>

#include <QString>
#include <QTimer>

#include "particle_layout_editor/notifier/notifier_listener.h"

class QWidget;

namespace notifier
{

namespace popups
{
class Item;
}

// Shows each message as a strip at the top of the parent widget, centred.
// Strips stack under one another 1 pixel apart and slide up when one above
// them goes; a strip under the mouse keeps its place and its time.
class Popups : public Listener
{
    Q_OBJECT

public:
    struct Style
    {
        QString sheet;              // applied to the strip's label
        boost::optional<int> time;  // ms; none: the time of the popups
    };

    static constexpr int defaultTimeToShowMs = 4000;
    static constexpr int slidingPeriodMs = 15;
    static constexpr int slidingStep = 15;  // pixels per tick

    explicit Popups(QWidget* parent);
    ~Popups() override;

    // Inserts or replaces the style of that id.
    void registerStyle(int id, QString sheet, boost::optional<int> time);
    // The style of `id`, or the default style (white, black text) when unknown.
    const Style& styleById(int id) const;

    void setTimeToShow(int ms) { timeToShow_ = ms; }
    int timeToShow() const { return timeToShow_; }
    // The time of the next strip only, before any time of its style.
    void setNextNotificationTime(int ms);

    // The living strips, from top to bottom.
    const std::vector<popups::Item*>& items() const { return items_; }
    bool isSliding() const { return slidingTimer_.isActive(); }

    void notify(int styleId, QString const& text) override;
    void notify(int styleId, QString const& text, QObject* linkContext,
                std::function<void(QString)> linkHandler) override;

    // Lines the strips up again (after a strip went, a lock changed, a resize):
    // one step now, the rest by the sliding timer.
    void adjustItems();

    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void onSlidingTimerTick();
    void onItemFinished(popups::Item* item);
    void onItemDestroyed(QObject* item);

    int timeToShow_ = defaultTimeToShowMs;
    bool useNextTime_ = false;
    int nextTime_ = 0;
    Style defaultStyle_;
    QWidget* parent_;
    std::map<int, Style> styles_;
    std::vector<popups::Item*> items_;
    QTimer slidingTimer_;
    bool ticking_ = false;
};

}  // namespace notifier
