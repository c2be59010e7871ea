#include "particle_layout_editor/notifier/notifier_popups_item.h"

#include <QCursor>
#include <QGraphicsOpacityEffect>
#include <QHBoxLayout>
#include <QLabel>
#include <QPropertyAnimation>

#include "qt_ext/qt_ext_signals.h"

namespace notifier
{
namespace popups
{

Item::Item(QWidget* parent, QString const& styleSheet, QString const& text, int timeToShow,
           QObject* linkContext, std::function<void(QString)> linkHandler)
    : QWidget(parent), parent_(parent), closeTimer_(this)
{
    setObjectName(QStringLiteral("NotifierPopup"));
    resize(startWidth, startHeight);
    auto* layout = new QHBoxLayout(this);
    layout->setObjectName(QStringLiteral("horizontalLayout"));
    layout->setContentsMargins(margin, margin, margin, margin);
    label_ = new QLabel(this);
    label_->setObjectName(QStringLiteral("label"));
    layout->addWidget(label_);

    // Links go to the handler, never to a browser of their own.
    label_->setOpenExternalLinks(false);
    effect_ = new QGraphicsOpacityEffect(this);
    effect_->setOpacity(0.0);
    setGraphicsEffect(effect_);
    fadeIn_ = fade(0.0, 1.0);

    if (linkHandler)
    {
        QT_CHECKED_CONNECT(label_, &QLabel::linkActivated, linkContext ? linkContext : this,
                           std::move(linkHandler));
    }
    label_->setStyleSheet(styleSheet);
    label_->setText(text);
    adjustSize();

    closeTimer_.setSingleShot(true);
    QT_CHECKED_CONNECT(&closeTimer_, &QTimer::timeout, this, &Item::readyToClose);
    closeTimer_.start(timeToShow);
}

QPropertyAnimation* Item::fade(double from, double to)
{
    auto* animation = new QPropertyAnimation(effect_, "opacity", this);
    animation->setDuration(fadeMs);
    animation->setEasingCurve(QEasingCurve::InOutQuad);
    animation->setStartValue(from);
    animation->setEndValue(to);
    animation->start(QAbstractAnimation::DeleteWhenStopped);
    return animation;
}

double Item::opacity() const { return effect_->opacity(); }

void Item::adjustForParent(int y)
{
    if (!parent_)
        return;
    const int width = parent_->width();
    const int limit = static_cast<int>(static_cast<float>(width) * widthLimit);
    // One line where it fits; else wrapped at the limit.
    label_->setWordWrap(false);
    label_->setMaximumWidth(limit);
    label_->adjustSize();
    if (label_->width() == limit)
        label_->setWordWrap(true);
    adjustSize();
    move(width / 2 - this->width() / 2, y);
}

void Item::startClosing()
{
    if (closing_)
        return;
    closing_ = true;
    closeTimer_.stop();
    // A strip shorter than its fade-in leaves from where it got to.
    if (fadeIn_)
        fadeIn_->stop();
    QPropertyAnimation* fadeOut = fade(effect_->opacity(), 0.0);
    QT_CHECKED_CONNECT(fadeOut, &QAbstractAnimation::finished, this, &Item::finished);
}

void Item::lock()
{
    if (locked_)
        return;
    locked_ = true;
    remainingTime_ = closeTimer_.remainingTime();
    closeTimer_.stop();
    emit lockedChanged(true);
}

void Item::unlock()
{
    if (!locked_)
        return;
    locked_ = false;
    // Nothing to resume once the strip has asked to close.
    if (remainingTime_ >= 0 && !closing_)
        closeTimer_.start(remainingTime_);
    emit lockedChanged(false);
}

void Item::enterEvent(QEvent* event)
{
    lock();
    QWidget::enterEvent(event);
}

void Item::leaveEvent(QEvent* event)
{
    unlock();
    QWidget::leaveEvent(event);
}

void Item::moveEvent(QMoveEvent* event)
{
    QWidget::moveEvent(event);
    // A strip that slides under a still pointer stops; one that slides away goes on.
    if (rect().contains(mapFromGlobal(QCursor::pos())))
        lock();
    else
        unlock();
}

}  // namespace popups
}  // namespace notifier
