#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <functional>

class QAction;
class QMenu;
class QMenuBar;
class QWidget;

namespace ads
{
class CDockWidget;
}

namespace TestSupport
{

// Menu and action texts without the mnemonic marks.
QString plainText(const QString& text);

// The dock widget with this object name, known to the dock manager of `root` (or to `root`
// as a manager) or among its descendants; null if there is none.
ads::CDockWidget* findDock(const QWidget* root, const QString& objectName);

// The menu of the bar with this title, or null.
QMenu* findMenu(const QMenuBar* bar, const QString& title);
// Titles of the bar's menus in their order.
QStringList menuTitles(const QMenuBar* bar);
// Texts of a menu's entries in their order; a separator is "-".
QStringList actionTexts(const QMenu* menu);

// Every action reachable from `root`: its own and its descendants' actions, and those of
// submenus, each once.
QList<QAction*> allActions(const QWidget* root);
// The first of allActions(root) whose object name or text is `nameOrText`, or null.
QAction* findAction(const QWidget* root, const QString& nameOrText);

// Runs the event loop until `condition` holds or `timeoutMs` have passed; the condition's
// last value.
bool waitUntil(const std::function<bool()>& condition, int timeoutMs = 5000);
// Runs the event loop for `ms` milliseconds.
void processEventsFor(int ms);

}  // namespace TestSupport
