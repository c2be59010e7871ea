#pragma once

#include <vector>

#include "particle_layout_editor/notifier/notifier_listener.h"

namespace notifier
{

// Hands each message on to the attached listeners, in the order of attachment.
// It owns none of them; a destroyed listener drops out by itself.
class Notifier : public Listener
{
    Q_OBJECT

public:
    using Listener::Listener;

    // A listener already attached is ignored.
    void attachListener(Listener& listener);
    // Keeps the order of the others; an unknown listener is ignored.
    void detachListener(Listener& listener);

    const std::vector<Listener*>& listeners() const { return listeners_; }

    void notify(int styleId, QString const& text) override;
    void notify(int styleId, QString const& text, QObject* linkContext,
                std::function<void(QString)> linkHandler) override;

private:
    void onListenerDestroyed(QObject* object);

    std::vector<Listener*> listeners_;
};

}  // namespace notifier
