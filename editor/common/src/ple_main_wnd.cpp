#include "particle_layout_editor/ple_main_wnd.h"

#include <qtadvanceddocking/DockAreaWidget.h>
#include <qtadvanceddocking/DockContainerWidget.h>
#include <qtadvanceddocking/DockManager.h>
#include <qtadvanceddocking/DockWidget.h>
#include <qtadvanceddocking/DockWidgetTab.h>

#include <QAction>
#include <QCloseEvent>
#include <QCoreApplication>
#include <QFileDialog>
#include <QFileInfo>
#include <QFontDatabase>
#include <QIcon>
#include <QLabel>
#include <QLayout>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QPushButton>
#include <QSettings>
#include <QSplitter>
#include <QTimer>
#include <QTreeWidget>
#include <QXmlStreamReader>
#include <algorithm>
#include <boost/filesystem/path.hpp>
#include <boost/optional.hpp>
#include <boost/system/error_code.hpp>
#include <boost/uuid/uuid.hpp>
#include <string>
#include <utility>

#include "debug/debug_check.h"
#include "debug/debug_log.h"
#include "particle_layout_editor/ple_about_dialog.h"
#include "particle_layout_editor/ple_notifier.h"
#include "particle_layout_editor/ple_project_recents.h"
#include "particle_layout_editor/ple_welcome_dialog.h"
#include "qt_ext/qt_ext_signals.h"

namespace Ple
{

namespace
{

const char* const keyProjects = "projects";
const char* const keyGeometry = "geometry";
const char* const keyDockState = "dockManagerState";
const char* const groupRecents = "recents";
const char* const keyQuantity = "quantity";
const char* const keyPathPrefix = "path";
// Stands for the samples project in the stored list, so that it is found again when the
// installation moves.
const char* const samplesWord = "samples";
const char* const samplesDockName = "__Samples__";

QString stemOf(const QString& path)
{
    return QString::fromStdString(boost::filesystem::path(path.toStdString()).stem().string());
}

QSplitter* parentSplitter(QWidget* widget)
{
    return widget ? qobject_cast<QSplitter*>(widget->parentWidget()) : nullptr;
}

// A splitter or a dock area of a stored dock state, with the splitter's stored sizes.
struct StoredNode
{
    bool splitter = false;
    QList<int> sizes;
    std::vector<StoredNode> children;
};

// Reads the element the reader stands on (a Splitter or an Area) with all it holds.
StoredNode readStoredNode(QXmlStreamReader& xml)
{
    StoredNode node;
    node.splitter = xml.name() == QLatin1String("Splitter");
    while (xml.readNextStartElement())
    {
        if (!node.splitter)
        {
            xml.skipCurrentElement();
        }
        else if (xml.name() == QLatin1String("Sizes"))
        {
            for (const QString& size : xml.readElementText().split(' ', Qt::SkipEmptyParts))
                node.sizes << size.toInt();
        }
        else if (xml.name() == QLatin1String("Splitter") || xml.name() == QLatin1String("Area"))
        {
            node.children.push_back(readStoredNode(xml));
        }
        else
        {
            xml.skipCurrentElement();
        }
    }
    return node;
}

// Pairs the splitters of a stored node with the live ones of the same shape.
void matchSplitters(const StoredNode& node, QSplitter* splitter,
                    std::vector<std::pair<QPointer<QSplitter>, QList<int>>>& out)
{
    if (!splitter || int(node.children.size()) != splitter->count())
        return;
    if (node.sizes.size() == splitter->count())
        out.emplace_back(splitter, node.sizes);
    for (int i = 0; i < splitter->count(); ++i)
        if (node.children[i].splitter)
            matchSplitters(node.children[i], qobject_cast<QSplitter*>(splitter->widget(i)), out);
}

// The sizes that a dock state holds for the splitters of the main container, paired with
// the splitters that restoring it has built. Parts that don't match are left out.
std::vector<std::pair<QPointer<QSplitter>, QList<int>>> storedSplitterSizes(QSplitter* root,
                                                                            const QByteArray& state)
{
    std::vector<std::pair<QPointer<QSplitter>, QList<int>>> out;
    QXmlStreamReader xml(state.startsWith("<?xml") ? state : qUncompress(state));
    while (xml.readNextStartElement())
    {
        if (xml.name() == QLatin1String("QtAdvancedDockingSystem"))
            continue;
        if (xml.name() == QLatin1String("Container") &&
            xml.attributes().value("Floating").toInt() == 0)
        {
            if (xml.readNextStartElement() && xml.name() == QLatin1String("Splitter"))
                matchSplitters(readStoredNode(xml), root, out);
            break;
        }
        xml.skipCurrentElement();
    }
    return out;
}

void registerMetaTypes()
{
    qRegisterMetaType<std::string>("std::string");
    qRegisterMetaType<boost::optional<boost::system::error_code>>(
        "boost::optional<boost::system::error_code>");
    qRegisterMetaType<boost::optional<std::string>>("boost::optional<std::string>");
    qRegisterMetaType<boost::optional<QString>>("boost::optional<QString>");
    qRegisterMetaType<boost::uuids::uuid>("bid::uuid");
    qRegisterMetaType<boost::optional<boost::uuids::uuid>>("boost::optional<bid::uuid>");
}

// The fixed-width fonts are registered once per process; a window made again (as the tests
// do) finds them in the font database already.
void registerFonts()
{
    static const bool registered = []
    {
        for (const char* font :
             {":/editor/fonts/DejaVuSansMono.ttf", ":/editor/fonts/DejaVuSansMono-Bold.ttf"})
            if (QFontDatabase::addApplicationFont(font) < 0)
                DEBUG_LOG(Warning, std::string("Can't add application font ") + font);
        return true;
    }();
    (void)registered;
}

}  // namespace

INotifier& MainWnd::notifier() const { return *notifier_; }

MainWnd::MainWnd(QString version, std::string exportServer, QSettings& settings)
    : version_(std::move(version)),
      exportServer_(std::move(exportServer)),
      recents_(std::make_shared<ProjectRecents>(maxRecentProjects)),
      settings_(settings)
{
    setObjectName("MainWnd");
    // Strips of short messages at the top of the window, for everything the window holds.
    notifier_ = new Notifier(this, this);
    registerFonts();
    setWindowTitle(QString("ScintariParticles Editor %1").arg(version_));
    registerMetaTypes();

    init_createMainMenu();
    setWindowIcon(QIcon(":/editor/images/icon.png"));

    // Library-wide flags; they must be set before the manager and its docks exist.
    ads::CDockManager::setConfigFlag(ads::CDockManager::TabCloseButtonIsToolButton, true);
    ads::CDockManager::setConfigFlag(ads::CDockManager::ActiveTabHasCloseButton, true);
    ads::CDockManager::setConfigFlag(ads::CDockManager::DockAreaHasCloseButton, false);
    ads::CDockManager::setConfigFlag(ads::CDockManager::OpaqueSplitterResize, true);
    ads::CDockManager::setConfigFlag(ads::CDockManager::OpaqueUndocking, true);
    ads::CDockManager::setConfigFlag(ads::CDockManager::DockAreaDynamicTabsMenuButtonVisibility,
                                     true);
    ads::CDockManager::setConfigFlag(ads::CDockManager::FloatingContainerHasWidgetTitle, true);
    dockManager_ = new ads::CDockManager(this);
    dockManager_->setObjectName("dockManager");
    // The application's style sheet styles the docks; the library's own would fight it.
    dockManager_->setStyleSheet(QString());

    init_createSubWindows(
        [this]
        {
            readSettings(
                [this]
                {
                    updateMenuProject();
                    QTimer::singleShot(0, this,
                                       [this]
                                       {
                                           if (projects_.empty())
                                               showWelcomeDialog();
                                           emit startupFinished();
                                       });
                });
        });
    DEBUG_LOG(Info, "Main window created, version " + version_.toStdString() + ", export server " +
                        exportServer_);
}

MainWnd::~MainWnd() { DEBUG_LOG(Info, "Main window destroyed"); }

const MainWnd::OpenedProject& MainWnd::project(std::size_t index) const
{
    DEBUG_ASSERT(index < projects_.size());
    return projects_[index];
}

// ---------------------------------------------------------------------------------------
// Menus

void MainWnd::init_createMainMenu()
{
    menu_ = new QMenuBar(this);
    menu_->setObjectName("menuBar");
    setMenuBar(menu_);

    menuEffect_ = menu_->addMenu(tr("Effect"));
    menuEffect_->setObjectName("menuEffect");

    menuProjects_ = menu_->addMenu(tr("Projects"));
    menuProjects_->setObjectName("menuProjects");
    QAction* actionNew =
        menuProjects_->addAction(tr("New"), this, &MainWnd::showCreateProjectDialog);
    actionNew->setObjectName("actionNewProject");
    QAction* actionOpen =
        menuProjects_->addAction(tr("Open"), this, &MainWnd::showOpenProjectDialog);
    actionOpen->setObjectName("actionOpenProject");
    menuRecents_ = menuProjects_->addMenu(tr("Open recents..."));
    menuRecents_->setObjectName("menuRecents");
    menuRecents_->setToolTipsVisible(true);
    actionOpenSamples_ = menuProjects_->addAction(
        tr("Open Samples"), this,
        [this] { openProjectRequested(WelcomeDialog::samplesProjectPath(), true); });
    actionOpenSamples_->setObjectName("actionOpenSamples");
    actionSaveAll_ = menuProjects_->addAction(tr("Save all"), this, &MainWnd::saveAllResources);
    actionSaveAll_->setObjectName("actionSaveAll");
    actionSaveAll_->setShortcut(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_S));
    // Also on the window itself, so that the shortcut works from whichever widget has focus.
    addAction(actionSaveAll_);

    menuWindows_ = menu_->addMenu(tr("Windows"));
    menuWindows_->setObjectName("menuWindows");
    QAction* actionReset = menuWindows_->addAction(tr("Reset layout"), this,
                                                   [this] { resetWindowsLayout(Callback()); });
    actionReset->setObjectName("actionResetLayout");

    menuHelp_ = menu_->addMenu(tr("Help"));
    menuHelp_->setObjectName("menuHelp");
    QAction* actionAbout = menuHelp_->addAction(tr("About..."), this, &MainWnd::showAboutDialog);
    actionAbout->setObjectName("actionAbout");
}

void MainWnd::updateMenuProject()
{
    actionOpenSamples_->setEnabled(WelcomeDialog::isSamplesProjectAvailable());
    // The actions go later: this may run inside the handler of one of them.
    for (QAction* action : menuRecents_->actions())
    {
        menuRecents_->removeAction(action);
        action->deleteLater();
    }
    for (const boost::filesystem::path& entry : recents_->entries())
    {
        const QString path = QString::fromStdString(entry.string());
        QAction* action = new QAction(stemOf(path), menuRecents_);
        action->setToolTip(path);
        QT_CHECKED_CONNECT(
            action, &QAction::triggered, this,
            [this, path]
            {
                const auto& entries = recents_->entries();
                const auto it = std::find(entries.begin(), entries.end(),
                                          boost::filesystem::path(path.toStdString()));
                if (it != entries.end())
                    recents_->moveEntryOnTop(static_cast<std::size_t>(it - entries.begin()));
                openProjectRequested(path, false);
            });
        menuRecents_->addAction(action);
    }
}

void MainWnd::saveAllResources()
{
    // Each project saves its own effects; an open project has no effects of its own to
    // save until the project controller is part of the window.
    DEBUG_LOG(Info, "Save all: " + std::to_string(projects_.size()) + " open project(s)");
}

// ---------------------------------------------------------------------------------------
// Tool windows and layout

ads::CDockWidget* MainWnd::createToolDock(const QString& title, const QString& objectName,
                                          const QString& tooltip)
{
    auto* dock = new ads::CDockWidget(title);
    dock->setObjectName(objectName);
    dock->setTabToolTip(tooltip);
    dock->setFeature(ads::CDockWidget::DockWidgetClosable, false);
    auto* content = new QWidget();
    content->setObjectName(objectName + "_content");
    dock->setWidget(content, ads::CDockWidget::ForceNoScrollArea);
    return dock;
}

void MainWnd::init_createSubWindows(Callback next)
{
    emitterSchemeDock_ = createToolDock(
        tr("Emmiter Scheme"), "emitter_scheme",
        tr("Emitter Scheme is a graph of blocks which represents behavior of particles in "
           "editing emitter."));
    previewDock_ = createToolDock(
        tr("Preview"), "preview_wnd",
        tr("In Preview window you can see working effect.<p>You can also add pictures and other "
           "particles to the preview scene. See Preview Scene window."));
    DEBUG_ASSERT(menuEffect_);
    resourceDock_ =
        createToolDock(tr("Emitters"), "system_wnd",
                       tr("Emitters window contains a list of emitters in editing effect."));
    emit resourceWndConstructed();
    paletteDock_ = createToolDock(
        tr("Blocks Palette"), "palette_wnd",
        tr("From Blocks Palette you can pick and drag blocks to the Emitter Scheme."));
    paletteDock_->setFeature(ads::CDockWidget::DockWidgetDeleteOnClose, true);
    propsDock_ = createToolDock(
        tr("Properties"), "properties_wnd",
        tr("In Properties window you can edit properties of currently selected object.<p>Selected "
           "object is highglighted by orange outline."));
    commentsDock_ = createToolDock(
        tr("Comments"), "comments",
        tr("In Comments you can add description to the effect and provide a link to video "
           "tutorial."));
    emitterGuideDock_ = createToolDock(
        tr("Emitter Guide"), "emitter_guide",
        tr("Emitter Guide is a GUI way to edit Emitter Scheme. Any changes here are reflected in "
           "Emitter Scheme.<p>Emitter Guide disables sections if you significantly change them in "
           "Emitter Scheme."));
    editorDock_ =
        createToolDock(tr("Graph Editor"), "editor_wnd",
                       tr("If any graph block selected, Graph Editor allows to edit the graph."));

    addDocksByDefaultLayout(std::move(next));
}

void MainWnd::addDocksByDefaultLayout(Callback callback)
{
    using namespace ads;
    CDockAreaWidget* emittersArea = dockManager_->addDockWidget(LeftDockWidgetArea, resourceDock_);
    CDockAreaWidget* schemeArea =
        dockManager_->addDockWidget(RightDockWidgetArea, emitterSchemeDock_, emittersArea);
    dockManager_->addDockWidgetTabToArea(previewDock_, schemeArea);

    CDockAreaWidget* paletteArea = dockManager_->addDockWidget(RightDockWidgetArea, paletteDock_);
    QPointer<QSplitter> mainSplitter = parentSplitter(paletteArea);
    dockManager_->addDockWidgetTabToArea(commentsDock_, paletteArea);
    dockManager_->addDockWidgetTabToArea(emitterGuideDock_, paletteArea);

    CDockAreaWidget* propsArea =
        dockManager_->addDockWidget(BottomDockWidgetArea, propsDock_, paletteArea);
    QPointer<QSplitter> rightSplitter = parentSplitter(propsArea);
    dockManager_->addDockWidgetTabToArea(editorDock_, propsArea);

    emit defaultLayoutConstructed();
    showMaximized();
    for (CDockWidget* dock :
         {propsDock_, emitterGuideDock_, propsDock_, previewDock_, resourceDock_})
        dock->raise();

    // Splitter sizes count only once the window has been laid out on the screen.
    QTimer::singleShot(0, this,
                       [this, mainSplitter, rightSplitter, callback]()
                       {
                           if (mainSplitter)
                           {
                               DEBUG_EXPECT(mainSplitter->sizes().size() == 3);
                               mainSplitter->setSizes({10000, 30000, 20000});
                           }
                           if (rightSplitter)
                           {
                               DEBUG_EXPECT(rightSplitter->sizes().size() == 2);
                               rightSplitter->setSizes({30000, 10000});
                           }
                           QTimer::singleShot(0, this,
                                              [this, callback]()
                                              {
                                                  defaultGeometry_ = saveGeometry();
                                                  defaultState_ =
                                                      dockManager_->saveState(dockStateVersion);
                                                  if (callback)
                                                      callback();
                                              });
                       });
}

void MainWnd::restoreWindowGeometry(const QByteArray& geometry)
{
    // A maximised geometry restored onto a window that is maximised already would leave it at
    // its normal size; from the normal state it is maximised again.
    const Qt::WindowStates large = Qt::WindowMaximized | Qt::WindowFullScreen;
    if (windowState() & large)
        setWindowState(windowState() & ~large);
    restoreGeometry(geometry);
}

void MainWnd::restoreWindowsLayout(const QByteArray& geometry, const QByteArray& state,
                                   Callback callback)
{
    restoreWindowGeometry(geometry);
    // The preview will hold a GL surface, which must not be docked and visible while the
    // docks are rebuilt.
    dockManager_->hide();
    previewDock_->setFloating();
    previewDock_->toggleView(false);
    QTimer::singleShot(0, this,
                       [this, state, callback]()
                       {
                           if (!dockManager_->restoreState(state, dockStateVersion))
                           {
                               // Another version or a damaged state: the first start's layout instead.
                               DEBUG_LOG(Warning, "Dock state refused, the default layout is used");
                               if (state != defaultState_ && !defaultState_.isEmpty())
                               {
                                   restoreWindowGeometry(defaultGeometry_);
                                   if (dockManager_->restoreState(defaultState_, dockStateVersion))
                                       restoreSplitterSizesLater(defaultState_);
                               }
                           }
                           else
                           {
                               restoreSplitterSizesLater(state);
                           }
                           dockManager_->show();
                           if (previewDock_->isClosed())
                               previewDock_->toggleView(true);
                           if (callback)
                               callback();
                       });
}

void MainWnd::restoreSplitterSizesLater(const QByteArray& state)
{
    // The docking library rebuilds nested splitters at a size of their own and loses the
    // stored division; it is set again once the window has been laid out.
    // The root splitter is the one in the manager's layout: a replaced one may still be its
    // child until it is deleted.
    QSplitter* root = nullptr;
    for (int i = 0; !root && dockManager_->layout() && i < dockManager_->layout()->count(); ++i)
        root = qobject_cast<QSplitter*>(dockManager_->layout()->itemAt(i)->widget());
    auto sizes = storedSplitterSizes(root, state);
    QTimer::singleShot(0, this,
                       [sizes]()
                       {
                           // Pending layouts first, or they would squeeze the sizes again.
                           QCoreApplication::sendPostedEvents(nullptr, QEvent::LayoutRequest);
                           for (const auto& [splitter, values] : sizes)
                               if (splitter && splitter->count() == values.size())
                                   splitter->setSizes(values);
                       });
}

void MainWnd::readWindowsLayoutSettings(Callback callback)
{
    const QVariant state = settings_.value(keyDockState);
    const QVariant geometry = settings_.value(keyGeometry);
    if (state.isValid() && geometry.isValid())
        restoreWindowsLayout(geometry.toByteArray(), state.toByteArray(), std::move(callback));
    else if (callback)
        callback();
}

void MainWnd::writeWindowsLayoutSettings()
{
    settings_.setValue(keyGeometry, saveGeometry());
    settings_.setValue(keyDockState, dockManager_->saveState(dockStateVersion));
}

void MainWnd::resetWindowsLayout(Callback callback)
{
    restoreWindowsLayout(defaultGeometry_, defaultState_,
                         [this, callback]()
                         {
                             for (const OpenedProject& project : projects_)
                                 project.dock_->toggleView(true);
                             deferredRestoreOfParentAreaSplitter(resourceDock_);
                             for (std::size_t i = 0; i < projects_.size(); ++i)
                                 placeProjectDock(projects_[i].dock_, i == 0);
                             adjustSplitResourceWnd50x50();
                             if (callback)
                                 callback();
                         });
}

void MainWnd::placeProjectDock(ads::CDockWidget* dock, bool first)
{
    ads::CDockAreaWidget* area = first ? nullptr : projects_.front().dock_->dockAreaWidget();
    if (!first)
        DEBUG_EXPECT(area);
    if (area && area != dock->dockAreaWidget())
    {
        dockManager_->addDockWidgetTabToArea(dock, area);
    }
    else if (!area)
    {
        dockManager_->addDockWidget(ads::TopDockWidgetArea, dock, resourceDock_->dockAreaWidget());
    }
}

void MainWnd::deferredRestoreOfParentAreaSplitter(ads::CDockWidget* dock)
{
    QPointer<QSplitter> splitter = parentSplitter(dock->dockAreaWidget());
    if (!splitter)
        return;
    const QList<int> sizes = splitter->sizes();
    QTimer::singleShot(0, this,
                       [splitter, sizes]()
                       {
                           if (splitter && splitter->count() == sizes.size())
                               splitter->setSizes(sizes);
                       });
}

void MainWnd::adjustSplitResourceWnd50x50()
{
    QSplitter* splitter = parentSplitter(resourceDock_->dockAreaWidget());
    DEBUG_EXPECT(splitter != nullptr);
    if (splitter && splitter->count() == 2)
        splitter->setSizes({50000, 50000});
}

void MainWnd::showPropsWnd() { propsDock_->raise(); }
void MainWnd::showEditorWnd() { editorDock_->raise(); }
void MainWnd::showEmitterGuideWnd() { emitterGuideDock_->raise(); }

// ---------------------------------------------------------------------------------------
// Settings

void MainWnd::readSettings(Callback callback)
{
    for (const QString& entry : settings_.value(keyProjects).toStringList())
    {
        if (entry == samplesWord)
        {
            if (WelcomeDialog::isSamplesProjectAvailable() &&
                !findProject(WelcomeDialog::samplesProjectPath()))
                openProject(WelcomeDialog::samplesProjectPath(), true);
        }
        else if (!entry.isEmpty() && !findProject(entry))
        {
            openProject(entry, false);
        }
    }

    recents_->clear();
    settings_.beginGroup(groupRecents);
    const int stored = settings_.value(keyQuantity, 0).toInt();
    const int quantity = std::clamp(stored, 0, static_cast<int>(recents_->maxEntries()));
    // Added from the oldest, each to the front, so that the stored order stays.
    for (int i = quantity - 1; i >= 0; --i)
    {
        const QString path = settings_.value(keyPathPrefix + QString::number(i)).toString();
        if (!path.isEmpty())
            recents_->addEntry(boost::filesystem::path(path.toStdString()));
    }
    settings_.endGroup();

    updateMenuProject();
    readWindowsLayoutSettings(std::move(callback));
}

void MainWnd::writeSettings()
{
    QStringList projects;
    for (const OpenedProject& project : projects_)
        projects << (project.samples_ ? QString(samplesWord) : project.path_);
    settings_.setValue(keyProjects, projects);
    writeWindowsLayoutSettings();

    settings_.beginGroup(groupRecents);
    settings_.remove(QString());
    settings_.setValue(keyQuantity, static_cast<int>(recents_->numEntries()));
    for (std::size_t i = 0; i < recents_->numEntries(); ++i)
        settings_.setValue(keyPathPrefix + QString::number(i),
                           QString::fromStdString(recents_->entry(i).string()));
    settings_.endGroup();
    settings_.sync();
}

// ---------------------------------------------------------------------------------------
// Projects

MainWnd::OpenedProject* MainWnd::findProject(const QString& path)
{
    for (OpenedProject& project : projects_)
        if (project.path_ == path)
            return &project;
    return nullptr;
}

void MainWnd::openProjectRequested(const QString& path, bool samples)
{
    if (const OpenedProject* project = findProject(path))
    {
        raiseUpProjectWindow(*project);
        updateMenuProject();
        return;
    }
    const OpenedProject* project = openProject(path, samples);
    if (!project)
        return;
    if (!samples)
        recents_->moveEntryOnTop(recents_->addEntry(path.toStdString()));
    raiseUpProjectWindow(*project);
    updateMenuProject();
}

void MainWnd::createProjectRequested(const QString& path)
{
    if (const OpenedProject* project = findProject(path))
    {
        raiseUpProjectWindow(*project);
        auto* box = new QMessageBox(QMessageBox::Critical, tr("Error while creating project"),
                                    tr("You have opened a project with the same path.\nPlease, "
                                       "close it before overwriting."),
                                    QMessageBox::Ok, this);
        box->setAttribute(Qt::WA_DeleteOnClose);
        box->setModal(true);
        box->show();
        return;
    }
    QMenu* menu = createProjectMenu(path);
    const OpenedProject* project = afterProjectOpenedOrCreated(path, menu, false);
    recents_->moveEntryOnTop(recents_->addEntry(path.toStdString()));
    raiseUpProjectWindow(*project);
    updateMenuProject();
}

QMenu* MainWnd::createProjectMenu(const QString& path)
{
    auto* menu = new QMenu(stemOf(path), menu_);
    menu->setObjectName("menuProject");
    return menu;
}

MainWnd::OpenedProject* MainWnd::openProject(const QString& path, bool samples)
{
    QMenu* menu = createProjectMenu(path);
    // Until the project controller reads the file, a project opens when its file is there.
    if (!QFileInfo(path).isFile())
    {
        menu->deleteLater();
        QMessageBox::critical(this, tr("Error opening project"),
                              tr("Can't open project file %1").arg(path), QMessageBox::Ok);
        return nullptr;
    }
    return afterProjectOpenedOrCreated(path, menu, samples);
}

MainWnd::OpenedProject* MainWnd::afterProjectOpenedOrCreated(const QString& path, QMenu* menu,
                                                             bool samples)
{
    auto* dock = new ads::CDockWidget(stemOf(path));
    // The object name ties a saved dock state to the same tab at the next start.
    dock->setObjectName(samples ? QString(samplesDockName) : path);
    auto* tree = new QTreeWidget();
    tree->setObjectName("projectTree");
    tree->setHeaderHidden(true);
    dock->setWidget(tree);
    dock->setFeature(ads::CDockWidget::DockWidgetClosable, true);
    dock->setFeature(ads::CDockWidget::DockWidgetDeleteOnClose, true);
    dock->setFeature(ads::CDockWidget::CustomCloseHandling, true);
    dock->setTabToolTip(
        tr("Project window contains a tree of effects in the project.<p>You can copy/paste or "
           "drag effects from one project to another. In this case, the effect and all it's "
           "textures will be copied. Background images are not copied."));

    if (projects_.empty())
        deferredRestoreOfParentAreaSplitter(resourceDock_);
    placeProjectDock(dock, projects_.empty());
    if (projects_.size() == 0)
        adjustSplitResourceWnd50x50();

    QT_CHECKED_CONNECT(dock, &ads::CDockWidget::closeRequested, this,
                       [this, dock]
                       {
                           // No unsaved effects can hang on the project yet: closing it ends it at once.
                           onProjectClosed(dock);
                       });
    QPointer<QTreeWidget> treePtr = tree;
    QT_CHECKED_CONNECT(dock, &ads::CDockWidget::visibilityChanged, this,
                       [treePtr](bool visible)
                       {
                           if (visible && treePtr)
                               treePtr->setFocus(Qt::OtherFocusReason);
                       });

    projects_.push_back(OpenedProject{dock, path, menu, samples});
    menu_->insertMenu(menuWindows_->menuAction(), menu);
    return &projects_.back();
}

void MainWnd::raiseUpProjectWindow(const OpenedProject& project)
{
    // A dock just added isn't ready to be raised.
    QPointer<ads::CDockWidget> dock = project.dock_;
    QTimer::singleShot(0, this,
                       [dock]
                       {
                           if (dock)
                               dock->raise();
                       });
}

void MainWnd::closeProject(std::size_t index)
{
    DEBUG_ASSERT(index < projects_.size());
    onProjectClosed(projects_[index].dock_);
}

void MainWnd::onProjectClosed(ads::CDockWidget* dock)
{
    const auto it = std::find_if(projects_.begin(), projects_.end(),
                                 [dock](const OpenedProject& p) { return p.dock_ == dock; });
    DEBUG_EXPECT(it != projects_.end());
    if (it == projects_.end())
        return;
    dockManager_->removeDockWidget(dock);
    dock->deleteLater();
    menu_->removeAction(it->menu_->menuAction());
    it->menu_->deleteLater();
    projects_.erase(it);
    updateMenuProject();
    if (projects_.empty())
        showWelcomeDialog();
}

// ---------------------------------------------------------------------------------------
// Dialogs

void MainWnd::showWelcomeDialog()
{
    auto* dialog = new WelcomeDialog(this, recents_);
    QPointer<WelcomeDialog> dialogPtr = dialog;
    auto closeLater = [this, dialogPtr]
    {
        QTimer::singleShot(0, this,
                           [dialogPtr]
                           {
                               if (dialogPtr)
                                   dialogPtr->close();
                           });
    };
    QT_CHECKED_CONNECT(dialog, &WelcomeDialog::createProjectClicked, this,
                       [this, closeLater]
                       {
                           showCreateProjectDialog();
                           if (auto* created = findChild<QFileDialog*>("createProjectDialog"))
                               QT_CHECKED_CONNECT(created, &QDialog::accepted, this, closeLater);
                       });
    QT_CHECKED_CONNECT(dialog, &WelcomeDialog::openProjectClicked, this,
                       [this, closeLater]
                       {
                           showOpenProjectDialog();
                           if (auto* opened = findChild<QFileDialog*>("openProjectDialog"))
                               QT_CHECKED_CONNECT(opened, &QDialog::accepted, this, closeLater);
                       });
    QT_CHECKED_CONNECT(dialog, &WelcomeDialog::openProject, this, &MainWnd::openProjectRequested);
    QT_CHECKED_CONNECT(dialog, &QDialog::finished, this,
                       [this, dialog](int result)
                       {
                           dialog->deleteLater();
                           recents_->removeUnexistent();
                           updateMenuProject();
                           if (result == QDialog::Rejected && projects_.empty())
                               close();
                       });
    dialog->show();
}

void MainWnd::showOpenProjectDialog()
{
    auto* dialog = new QFileDialog(this, tr("Open project file"), QString(),
                                   tr("Scintari Editor Project (*.sxproj)"));
    dialog->setObjectName("openProjectDialog");
    dialog->setAcceptMode(QFileDialog::AcceptOpen);
    dialog->setFileMode(QFileDialog::ExistingFile);
    dialog->setModal(true);
    QT_CHECKED_CONNECT(dialog, &QDialog::finished, this,
                       [this, dialog](int result)
                       {
                           const QStringList files = dialog->selectedFiles();
                           dialog->deleteLater();
                           if (result == QDialog::Accepted && files.size() == 1)
                               openProjectRequested(files.front(), false);
                       });
    dialog->show();
}

void MainWnd::showCreateProjectDialog()
{
    // The project's file is chosen here; its settings come with the project controller.
    auto* dialog = new QFileDialog(this, tr("Create project file"), QString(),
                                   tr("Scintari Editor Project (*.sxproj)"));
    dialog->setObjectName("createProjectDialog");
    dialog->setAcceptMode(QFileDialog::AcceptSave);
    dialog->setFileMode(QFileDialog::AnyFile);
    dialog->setDefaultSuffix("sxproj");
    dialog->setModal(true);
    QT_CHECKED_CONNECT(dialog, &QDialog::finished, this,
                       [this, dialog](int result)
                       {
                           const QStringList files = dialog->selectedFiles();
                           dialog->deleteLater();
                           if (result == QDialog::Accepted && files.size() == 1)
                               createProjectRequested(files.front());
                       });
    dialog->show();
}

void MainWnd::showAboutDialog()
{
    auto* dialog = new QDialog(this);
    dialog->setObjectName("About");
    auto* form = new Ui::AboutDialog();
    form->setupUi(dialog);
    form->version->setText(version_);
    QT_CHECKED_CONNECT(form->button, &QPushButton::clicked, dialog, &QDialog::close);
    QT_CHECKED_CONNECT(dialog, &QDialog::finished, this,
                       [dialog, form]
                       {
                           dialog->deleteLater();
                           delete form;
                       });
    dialog->show();
}

// ---------------------------------------------------------------------------------------
// Closing

void MainWnd::saveProjectsBeforeClose(Callback succeeded, Callback failed)
{
    QTimer::singleShot(0, this, std::move(succeeded));
}

void MainWnd::closeEvent(QCloseEvent* event)
{
    if (closeAccepted_)
    {
        QMainWindow::closeEvent(event);
        return;
    }
    event->ignore();
    // A second request while the projects are being saved does nothing.
    if (processCloseEditor_)
        return;
    processCloseEditor_ = true;
    saveProjectsBeforeClose(
        [this]
        {
            processCloseEditor_ = false;
            closeAccepted_ = true;
            writeSettings();
            QTimer::singleShot(0, this, &QWidget::close);
        },
        [this] { processCloseEditor_ = false; });
}

}  // namespace Ple
