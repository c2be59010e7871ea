#include "particle_layout_editor/ple_tooltip.h"

#include <algorithm>

#include <QApplication>
#include <QEvent>
#include <QHelpEvent>
#include <QPointer>
#include <QScreen>
#include <QWidget>

namespace Ple
{

int Tooltip::showDurationMs(const QString& text)
{
    return showBaseMs + showPerCharMs * std::max(0, text.size() - showFreeChars);
}

QPoint Tooltip::placement(const QPoint& pointer, const QSize& hint, const QRect& available)
{
    const int x = pointer.x();
    const int y = pointer.y();
    const int w = hint.width();
    const int h = hint.height();
    const int left =
        (x + w + offsetRight < available.right()) ? x + offsetRight : x - offsetLeft - w;
    const int top =
        (y + h + offsetBelowTest < available.bottom()) ? y + offsetBelow : y - offsetAbove - h;
    return QPoint(left, top);
}

void Tooltip::setupApplicationFilter() { qApp->installEventFilter(&TooltipFilter::inst()); }

void Tooltip::requestShowTooltip(const QPoint& point, const QString& text, QObject* target)
{
    if (text.isEmpty())
        return;
    TooltipFilter::inst().showFor(target, point, text);
}

Tooltip::Tooltip(const QString& text, QWidget* parent) : QLabel(text, parent, Qt::ToolTip)
{
    setAttribute(Qt::WA_DeleteOnClose);
    setWordWrap(true);
    setOpenExternalLinks(true);
    setTextInteractionFlags(Qt::TextBrowserInteraction);
    setForegroundRole(QPalette::ToolTipText);
    setBackgroundRole(QPalette::ToolTipBase);
    setMargin(4);
    timer_.setSingleShot(true);
    timer_.setTimerType(Qt::CoarseTimer);
    connect(&timer_, &QTimer::timeout, this, &QObject::deleteLater);
}

void Tooltip::startShowTimer()
{
    hiding_ = false;
    timer_.start(showDurationMs(text()));
}

void Tooltip::startHideTimer()
{
    if (hiding_ && timer_.isActive())
        return;
    hiding_ = true;
    timer_.start(hideMs);
}

void Tooltip::stopTimer()
{
    timer_.stop();
    hiding_ = false;
}

void Tooltip::enterEvent(QEvent* event)
{
    stopTimer();
    QLabel::enterEvent(event);
}

void Tooltip::leaveEvent(QEvent* event)
{
    startHideTimer();
    QLabel::leaveEvent(event);
}

void Tooltip::mouseReleaseEvent(QMouseEvent* event)
{
    QLabel::mouseReleaseEvent(event);
    deleteLater();
}

TooltipFilter& TooltipFilter::inst()
{
    static QPointer<TooltipFilter> instance;
    if (!instance)
        instance = new TooltipFilter(qApp);
    return *instance;
}

TooltipFilter::TooltipFilter(QObject* parent) : QObject(parent) { setObjectName("TooltipFilter"); }

void TooltipFilter::setTarget(QObject* target)
{
    if (target_ != nullptr)
    {
        target_->removeEventFilter(this);
        disconnect(targetDestroyed_);
    }
    target_ = target;
    if (target_ != nullptr)
    {
        target_->installEventFilter(this);
        targetDestroyed_ =
            connect(target_, &QObject::destroyed, this, &TooltipFilter::onTargetDestroyed);
    }
}

void TooltipFilter::onTargetDestroyed(QObject* object)
{
    if (object != target_)
        return;
    target_ = nullptr;
    if (tooltip_ != nullptr)
    {
        Tooltip* tooltip = tooltip_;
        tooltip_ = nullptr;
        tooltip->hide();
        tooltip->deleteLater();
    }
}

void TooltipFilter::onTooltipDestroyed(QObject* object)
{
    if (object != tooltip_)
        return;
    tooltip_ = nullptr;
    setTarget(nullptr);
}

void TooltipFilter::showFor(QObject* target, const QPoint& globalPos, const QString& text)
{
    if (target != nullptr && target == target_ && tooltip_ != nullptr)
    {
        tooltip_->startShowTimer();
        return;
    }
    if (tooltip_ != nullptr)
    {
        Tooltip* old = tooltip_;
        tooltip_ = nullptr;
        old->deleteLater();
    }
    setTarget(target);

    auto* tooltip = new Tooltip(text);
    tooltip_ = tooltip;
    connect(tooltip, &QObject::destroyed, this, &TooltipFilter::onTooltipDestroyed);

    QScreen* screen = QGuiApplication::screenAt(globalPos);
    if (screen == nullptr)
    {
        tooltip->deleteLater();
        return;
    }
    tooltip->move(Tooltip::placement(globalPos, tooltip->sizeHint(), screen->availableGeometry()));
    tooltip->startShowTimer();
    tooltip->show();
}

bool TooltipFilter::eventFilter(QObject* watched, QEvent* event)
{
    switch (event->type())
    {
    case QEvent::ToolTip:
    {
        auto* widget = qobject_cast<QWidget*>(watched);
        if (widget == nullptr || widget->toolTip().isEmpty())
            break;
        const auto* help = static_cast<QHelpEvent*>(event);
        showFor(widget, help->globalPos(), widget->toolTip());
        return true;
    }
    case QEvent::HoverLeave:
        // Only hover tracking ends the tooltip early; over a widget without it
        // the tooltip runs out its show time.
        if (watched == target_ && tooltip_ != nullptr)
            tooltip_->startHideTimer();
        break;
    default:
        break;
    }
    return QObject::eventFilter(watched, event);
}

}  // namespace Ple
