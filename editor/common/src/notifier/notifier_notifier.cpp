#include "particle_layout_editor/notifier/notifier_notifier.h"

#include <algorithm>

#include "qt_ext/qt_ext_signals.h"

namespace notifier
{

void Notifier::attachListener(Listener& listener)
{
    if (std::find(listeners_.begin(), listeners_.end(), &listener) != listeners_.end())
        return;
    listeners_.push_back(&listener);
    QT_CHECKED_CONNECT(&listener, &QObject::destroyed, this, &Notifier::onListenerDestroyed);
}

void Notifier::detachListener(Listener& listener)
{
    auto it = std::find(listeners_.begin(), listeners_.end(), &listener);
    if (it == listeners_.end())
        return;
    listeners_.erase(it);
    disconnect(&listener, &QObject::destroyed, this, &Notifier::onListenerDestroyed);
}

void Notifier::onListenerDestroyed(QObject* object)
{
    // The listener part is gone already: compare addresses only.
    auto it = std::find_if(listeners_.begin(), listeners_.end(),
                           [object](Listener* l) { return static_cast<QObject*>(l) == object; });
    if (it != listeners_.end())
        listeners_.erase(it);
}

void Notifier::notify(int styleId, QString const& text)
{
    // A copy: a listener may detach (or die) while it handles the message.
    const std::vector<Listener*> listeners = listeners_;
    for (Listener* listener : listeners)
    {
        if (std::find(listeners_.begin(), listeners_.end(), listener) != listeners_.end())
            listener->notify(styleId, text);
    }
}

void Notifier::notify(int styleId, QString const& text, QObject* linkContext,
                      std::function<void(QString)> linkHandler)
{
    const std::vector<Listener*> listeners = listeners_;
    for (Listener* listener : listeners)
    {
        if (std::find(listeners_.begin(), listeners_.end(), listener) != listeners_.end())
            listener->notify(styleId, text, linkContext, linkHandler);
    }
}

}  // namespace notifier
