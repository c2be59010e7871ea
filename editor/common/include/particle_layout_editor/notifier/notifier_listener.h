#pragma once

#include <functional>

#include <QObject>
#include <QString>

namespace notifier
{

// Receiver of short messages. A message names a style by number; what the
// number looks like is up to the listener.
class Listener : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    virtual void notify(int styleId, QString const& text) = 0;
    // `linkHandler` gets the link of an activated anchor of `text`; it is called
    // only while `linkContext` lives (or the strip itself, when it is null).
    virtual void notify(int styleId, QString const& text, QObject* linkContext,
                        std::function<void(QString)> linkHandler) = 0;
};

}  // namespace notifier
