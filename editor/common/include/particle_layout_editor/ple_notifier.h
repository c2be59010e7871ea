#pragma once

#include <QColor>
#include <QObject>
#include <QPointer>

#include "particle_layout_editor/ple_inotifier.h"

class QWidget;

namespace notifier
{
class Notifier;
class Popups;
}  // namespace notifier

namespace Ple
{

// The editor's notifications: strips at the top of the main window, coloured
// by type and timed by duration.
class Notifier : public QObject, public INotifier
{
    Q_OBJECT

public:
    // The strips lie on `popupsParent`.
    Notifier(QObject* parent, QWidget* popupsParent);

    static int styleIdFromNotifyType(NotifyType type);
    static int durationTimeFromType(NotifyDuration duration);
    // The background of the strips of a style id (1, 2, 3).
    static QColor styleColor(int styleId);

    void notify(NotifyType type, NotifyDuration duration, QString const& text) override;
    void notify(NotifyType type, NotifyDuration duration, QString const& text, QObject* linkContext,
                std::function<void(QString)> linkHandler) override;

    // Null once the widget of the strips is gone.
    notifier::Popups* popups() const;

private:
    void prepare(NotifyDuration duration);

    notifier::Notifier* notifier_;
    QPointer<notifier::Popups> popups_;
};

}  // namespace Ple
