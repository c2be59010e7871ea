#include "particle_layout_editor/ple_notifier.h"

#include <QWidget>

#include "particle_layout_editor/notifier/notifier_notifier.h"
#include "particle_layout_editor/notifier/notifier_popups.h"

namespace Ple
{

namespace
{

constexpr int styleNeutral = 1;
constexpr int stylePositive = 2;
constexpr int styleNegative = 3;

}  // namespace

notifier::Popups* Notifier::popups() const { return popups_.data(); }

Notifier::Notifier(QObject* parent, QWidget* popupsParent)
    : QObject(parent),
      notifier_(new notifier::Notifier(this)),
      popups_(new notifier::Popups(popupsParent))
{
    // Without a widget the strips are windows of their own; the popups still need an owner.
    if (!popupsParent)
        popups_->setParent(this);
    for (int id : {stylePositive, styleNegative, styleNeutral})
    {
        const QColor color = styleColor(id);
        const QString sheet =
            QStringLiteral("QLabel { margin: 1px; border-radius: 2px; border-width: 1px; "
                           "border-style: solid; border-color: %1; padding: 5; "
                           "background-color: %2; color: #333333; }")
                .arg(color.darker(130).name(), color.name());
        popups_->registerStyle(id, sheet, boost::none);
    }
    notifier_->attachListener(*popups_);
}

int Notifier::styleIdFromNotifyType(NotifyType type)
{
    switch (type)
    {
    case NT_Positive:
        return stylePositive;
    case NT_Negative:
        return styleNegative;
    case NT_Neutral:
    default:
        return styleNeutral;
    }
}

int Notifier::durationTimeFromType(NotifyDuration duration)
{
    switch (duration)
    {
    case ND_Medium:
        return 4000;
    case ND_Long:
        return 6000;
    case ND_Short:
    default:
        return 2000;
    }
}

QColor Notifier::styleColor(int styleId)
{
    switch (styleId)
    {
    case stylePositive:
        return QColor(QRgb(0xC8FFBD));
    case styleNegative:
        return QColor(QRgb(0xFFBDBD));
    default:
        return QColor(QRgb(0xF6FFBD));
    }
}

void Notifier::prepare(NotifyDuration duration)
{
    if (popups_)
        popups_->setNextNotificationTime(durationTimeFromType(duration));
}

void Notifier::notify(NotifyType type, NotifyDuration duration, QString const& text)
{
    prepare(duration);
    notifier_->notify(styleIdFromNotifyType(type), text);
}

void Notifier::notify(NotifyType type, NotifyDuration duration, QString const& text,
                      QObject* linkContext, std::function<void(QString)> linkHandler)
{
    prepare(duration);
    notifier_->notify(styleIdFromNotifyType(type), text, linkContext, std::move(linkHandler));
}

}  // namespace Ple
