#include "test_support/widget_lookup.h"

#include <qtadvanceddocking/DockManager.h>
#include <qtadvanceddocking/DockWidget.h>

#include <QAction>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QMenu>
#include <QMenuBar>
#include <QSet>
#include <QThread>
#include <QWidget>

namespace TestSupport
{

QString plainText(const QString& text)
{
    QString plain = text;
    return plain.remove('&');
}

ads::CDockWidget* findDock(const QWidget* root, const QString& objectName)
{
    if (!root)
        return nullptr;
    // A dock widget behind another tab has no parent widget; its manager knows it.
    auto* manager = qobject_cast<const ads::CDockManager*>(root);
    if (!manager)
        manager = root->findChild<ads::CDockManager*>();
    if (manager)
        if (ads::CDockWidget* dock = manager->findDockWidget(objectName))
            return dock;
    return root->findChild<ads::CDockWidget*>(objectName);
}

QMenu* findMenu(const QMenuBar* bar, const QString& title)
{
    if (!bar)
        return nullptr;
    for (QAction* action : bar->actions())
        if (action->menu() && plainText(action->text()) == title)
            return action->menu();
    return nullptr;
}

QStringList menuTitles(const QMenuBar* bar)
{
    QStringList titles;
    if (bar)
        for (QAction* action : bar->actions())
            titles << plainText(action->text());
    return titles;
}

QStringList actionTexts(const QMenu* menu)
{
    QStringList texts;
    if (menu)
        for (QAction* action : menu->actions())
            texts << (action->isSeparator() ? QString("-") : plainText(action->text()));
    return texts;
}

namespace
{

void collect(QAction* action, QSet<QAction*>& seen, QList<QAction*>& out)
{
    if (seen.contains(action))
        return;
    seen.insert(action);
    out << action;
    if (QMenu* menu = action->menu())
        for (QAction* child : menu->actions())
            collect(child, seen, out);
}

}  // namespace

QList<QAction*> allActions(const QWidget* root)
{
    QList<QAction*> out;
    if (!root)
        return out;
    QSet<QAction*> seen;
    QList<const QWidget*> widgets{root};
    for (const QWidget* widget : root->findChildren<QWidget*>())
        widgets << widget;
    for (const QWidget* widget : widgets)
        for (QAction* action : widget->actions())
            collect(action, seen, out);
    return out;
}

QAction* findAction(const QWidget* root, const QString& nameOrText)
{
    for (QAction* action : allActions(root))
        if (action->objectName() == nameOrText || plainText(action->text()) == nameOrText)
            return action;
    return nullptr;
}

bool waitUntil(const std::function<bool()>& condition, int timeoutMs)
{
    QElapsedTimer timer;
    timer.start();
    while (!condition())
    {
        if (timer.elapsed() > timeoutMs)
            return condition();
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QThread::msleep(1);
    }
    return true;
}

void processEventsFor(int ms)
{
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < ms)
    {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QThread::msleep(1);
    }
}

}  // namespace TestSupport
