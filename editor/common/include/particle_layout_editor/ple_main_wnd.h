#pragma once

#include <QByteArray>
#include <QMainWindow>
#include <QPointer>
#include <QString>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

class QAction;
class QMenu;
class QMenuBar;
class QSettings;
class QSplitter;
class QTreeWidget;

namespace ads
{
class CDockManager;
class CDockWidget;
}  // namespace ads

namespace Ple
{

class INotifier;
class Notifier;
class ProjectRecents;

// The editor's one top-level window: the docking frame with the tool windows, the menu
// bar, the open projects (each with a dock tab and a menu), the recent projects, the
// welcome dialog and the orderly end of the program.
//
// Construction only starts the window: the default layout, the reading of the settings
// and the reopening of projects follow in later turns of the event loop, each step in the
// callback of the one before; startupFinished() tells that the chain has run.
class MainWnd : public QMainWindow
{
    Q_OBJECT

public:
    using Callback = std::function<void()>;

    // One open project. The project controller is not part of the window yet: an open
    // project is its file, its dock tab with the (still empty) tree, and its menu.
    struct OpenedProject
    {
        ads::CDockWidget* dock_ = nullptr;
        QString path_;
        QMenu* menu_ = nullptr;
        bool samples_ = false;
    };

    // Version of the dock state in the settings; a state of another version is refused.
    static constexpr int dockStateVersion = 6;
    static constexpr std::size_t maxRecentProjects = 20;

    MainWnd(QString version, std::string exportServer, QSettings& settings);
    ~MainWnd() override;

    const QString& version() const { return version_; }
    const std::string& exportServer() const { return exportServer_; }
    QSettings& settings() const { return settings_; }
    ads::CDockManager* dockManager() const { return dockManager_; }
    const ProjectRecents& recents() const { return *recents_; }
    INotifier& notifier() const;

    std::size_t numProjects() const { return projects_.size(); }
    const OpenedProject& project(std::size_t index) const;

    void showPropsWnd();
    void showEditorWnd();
    void showEmitterGuideWnd();

    void openProjectRequested(const QString& path, bool samples);
    void createProjectRequested(const QString& path);
    void showOpenProjectDialog();
    void showCreateProjectDialog();
    void showWelcomeDialog();
    void showAboutDialog();

    void resetWindowsLayout(Callback callback);
    void raiseUpProjectWindow(const OpenedProject& project);
    void updateMenuProject();
    // Closes the project at `index` as its tab's close button does.
    void closeProject(std::size_t index);

signals:
    void resourceWndConstructed();
    void defaultLayoutConstructed();
    // The settings are read, the projects reopened and the layout restored.
    void startupFinished();

protected:
    void closeEvent(QCloseEvent* event) override;
    // Saves or discards what is unsaved in the open projects before the program ends,
    // asking the user where needed, and then reports through exactly one of the two
    // callbacks, in a later turn of the event loop. No project holds unsaved changes of its
    // own yet, so this succeeds at once.
    virtual void saveProjectsBeforeClose(Callback succeeded, Callback failed);

private:
    void init_createMainMenu();
    void init_createSubWindows(Callback next);
    ads::CDockWidget* createToolDock(const QString& title, const QString& objectName,
                                     const QString& tooltip);
    void addDocksByDefaultLayout(Callback callback);

    void restoreWindowGeometry(const QByteArray& geometry);
    void restoreWindowsLayout(const QByteArray& geometry, const QByteArray& state,
                              Callback callback);
    void restoreSplitterSizesLater(const QByteArray& state);
    void readWindowsLayoutSettings(Callback callback);
    void writeWindowsLayoutSettings();
    void deferredRestoreOfParentAreaSplitter(ads::CDockWidget* dock);
    void adjustSplitResourceWnd50x50();
    void placeProjectDock(ads::CDockWidget* dock, bool first);

    void readSettings(Callback callback);
    void writeSettings();

    QMenu* createProjectMenu(const QString& path);
    OpenedProject* openProject(const QString& path, bool samples);
    OpenedProject* afterProjectOpenedOrCreated(const QString& path, QMenu* menu, bool samples);
    OpenedProject* findProject(const QString& path);
    void onProjectClosed(ads::CDockWidget* dock);
    void saveAllResources();

    QString version_;
    std::string exportServer_;
    QMenuBar* menu_ = nullptr;
    ads::CDockManager* dockManager_ = nullptr;
    std::vector<OpenedProject> projects_;

    ads::CDockWidget* propsDock_ = nullptr;
    ads::CDockWidget* emitterSchemeDock_ = nullptr;
    ads::CDockWidget* previewDock_ = nullptr;
    ads::CDockWidget* editorDock_ = nullptr;
    ads::CDockWidget* paletteDock_ = nullptr;
    ads::CDockWidget* resourceDock_ = nullptr;
    ads::CDockWidget* emitterGuideDock_ = nullptr;
    ads::CDockWidget* commentsDock_ = nullptr;

    QMenu* menuEffect_ = nullptr;
    QMenu* menuProjects_ = nullptr;
    QAction* actionOpenSamples_ = nullptr;
    QMenu* menuRecents_ = nullptr;
    QAction* actionSaveAll_ = nullptr;
    QMenu* menuWindows_ = nullptr;
    QMenu* menuHelp_ = nullptr;

    std::shared_ptr<ProjectRecents> recents_;
    Notifier* notifier_ = nullptr;
    QSettings& settings_;
    bool processCloseEditor_ = false;  // the save step before closing is running
    bool closeAccepted_ = false;
    QByteArray defaultGeometry_;
    QByteArray defaultState_;
};

}  // namespace Ple
