#pragma once

#include <QLabel>
#include <QObject>
#include <QPoint>
#include <QRect>
#include <QSize>
#include <QTimer>

namespace Ple
{

// A tooltip window that stays under the pointer's control: it lives while the
// pointer is over it, hides shortly after the pointer leaves it or its target,
// and its links can be clicked.
class Tooltip : public QLabel
{
    Q_OBJECT

public:
    static constexpr int showBaseMs = 4000;    // any text shows this long
    static constexpr int showPerCharMs = 40;   // plus this for each character...
    static constexpr int showFreeChars = 100;  // ...beyond the first ones
    static constexpr int hideMs = 300;
    static constexpr int offsetRight = 20;      // from the pointer when opening to the right
    static constexpr int offsetLeft = 20;       // when opening to the left
    static constexpr int offsetBelowTest = 15;  // room below the pointer that must be free
    static constexpr int offsetBelow = 20;      // from the pointer when opening below
    static constexpr int offsetAbove = 15;      // when opening above

    // How long a tooltip with this text stays before it hides by itself.
    static int showDurationMs(const QString& text);

    // Top-left corner of a tooltip of size `hint` for the pointer at `pointer`
    // on a screen whose available geometry is `available`: right of and below
    // the pointer where it fits, else left of or above it.
    static QPoint placement(const QPoint& pointer, const QSize& hint, const QRect& available);

    // Installs the one Ple::TooltipFilter on the application object.
    static void setupApplicationFilter();

    // Shows `text` at the global point for `target`, for callers without a
    // widget tooltip. Empty text does nothing.
    static void requestShowTooltip(const QPoint& point, const QString& text, QObject* target);

    explicit Tooltip(const QString& text, QWidget* parent = nullptr);

    // (Re)starts the timer for the full show duration of the text.
    void startShowTimer();
    // Starts the short hide countdown; no effect while it already counts down.
    void startHideTimer();
    void stopTimer();

    bool isTimerActive() const { return timer_.isActive(); }
    bool isHiding() const { return hiding_; }
    int timerInterval() const { return timer_.interval(); }
    int timerRemainingMs() const { return timer_.remainingTime(); }

protected:
    void enterEvent(QEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    QTimer timer_;
    bool hiding_ = false;
};

// Replaces Qt's tooltips by Ple::Tooltip. One instance, owned by the
// application object.
class TooltipFilter : public QObject
{
    Q_OBJECT

public:
    static TooltipFilter& inst();

    QObject* target() const { return target_; }
    Tooltip* tooltip() const { return tooltip_; }

    // Shows `text` at the global point for `target`: restarts the current
    // tooltip when the target is the current one, else replaces it.
    void showFor(QObject* target, const QPoint& globalPos, const QString& text);

    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    explicit TooltipFilter(QObject* parent);
    void setTarget(QObject* target);
    void onTargetDestroyed(QObject* object);
    void onTooltipDestroyed(QObject* object);

    QObject* target_ = nullptr;
    Tooltip* tooltip_ = nullptr;
    QMetaObject::Connection targetDestroyed_;
};

}  // namespace Ple
