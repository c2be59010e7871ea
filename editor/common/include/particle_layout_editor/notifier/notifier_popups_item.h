#pragma once

#include <functional>

#include <QPointer>
#include <QTimer>
#include <QWidget>

class QGraphicsOpacityEffect;
class QLabel;
class QPropertyAnimation;

namespace notifier
{
namespace popups
{

// One strip: a label that fades in, counts its time down (paused while the
// mouse is over it), asks to be closed, fades out and reports the end.
class Item : public QWidget
{
    Q_OBJECT

public:
    static constexpr int fadeMs = 350;
    static constexpr int startWidth = 458;
    static constexpr int startHeight = 27;
    static constexpr int margin = 5;
    static constexpr double widthLimit = 0.7;  // of the parent's width, where text wraps

    Item(QWidget* parent, QString const& styleSheet, QString const& text, int timeToShow,
         QObject* linkContext, std::function<void(QString)> linkHandler);

    // Re-wraps the text for the parent's width and centres the strip at `y`.
    void adjustForParent(int y);
    // Fades out; `finished` follows. Only the first call counts.
    void startClosing();
    // Stops the count-down and keeps what is left of it.
    void lock();
    // Goes on counting from where lock() stopped.
    void unlock();

    bool isLocked() const { return locked_; }
    bool isClosing() const { return closing_; }
    // ms left before the strip asks to close; -1 once it has asked.
    int remainingTime() const { return locked_ ? remainingTime_ : closeTimer_.remainingTime(); }
    // The full time of the count-down.
    int timeToShow() const { return closeTimer_.interval(); }
    QLabel* label() const { return label_; }
    double opacity() const;

signals:
    void readyToClose();
    void finished();
    void lockedChanged(bool locked);

protected:
    void enterEvent(QEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void moveEvent(QMoveEvent* event) override;

private:
    QPropertyAnimation* fade(double from, double to);

    QWidget* parent_;
    QGraphicsOpacityEffect* effect_;
    QTimer closeTimer_;
    QLabel* label_;
    bool locked_ = false;
    int remainingTime_ = 0;
    bool closing_ = false;
    QPointer<QPropertyAnimation> fadeIn_;
};

}  // namespace popups
}  // namespace notifier
