// The main window as a user meets it: docks, menus, layout, projects, recents, settings
// across restarts and the welcome dialog. Each test has its own home folder.
#include <gtest/gtest.h>
#include <qtadvanceddocking/DockAreaWidget.h>
#include <qtadvanceddocking/DockManager.h>
#include <qtadvanceddocking/DockWidget.h>
#include <qtadvanceddocking/DockWidgetTab.h>

#include <QAbstractButton>
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileDialog>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QPushButton>
#include <QSettings>
#include <QSignalSpy>
#include <QSplitter>
#include <QTest>
#include <QToolButton>
#include <algorithm>
#include <cmath>
#include <fstream>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <random>
#include <set>

#include "particle_layout_editor/ple_inotifier.h"
#include "particle_layout_editor/ple_main_wnd.h"
#include "particle_layout_editor/ple_project_recents.h"
#include "particle_layout_editor/ple_welcome_dialog.h"
#include "test_support/modal_box_driver.h"
#include "test_support/temp_home.h"
#include "test_support/widget_lookup.h"

// Readable failure messages.
static void PrintTo(const QString& text, std::ostream* os)
{
    *os << '"' << text.toStdString() << '"';
}

namespace
{

using TestSupport::findDock;
using TestSupport::waitUntil;

const char* const settingsFile = ".scintarieditor/config_1_0_11.ini";

QSplitter* splitterAbove(ads::CDockWidget* dock)
{
    return dock && dock->dockAreaWidget()
               ? qobject_cast<QSplitter*>(dock->dockAreaWidget()->parentWidget())
               : nullptr;
}

std::vector<double> proportions(QSplitter* splitter)
{
    std::vector<double> out;
    if (!splitter)
        return out;
    double sum = 0;
    for (int size : splitter->sizes())
        sum += size;
    for (int size : splitter->sizes())
        out.push_back(sum > 0 ? size / sum : 0);
    return out;
}

bool near(const std::vector<double>& a, const std::vector<double>& b, double tolerance = 0.02)
{
    if (a.size() != b.size())
        return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (std::abs(a[i] - b[i]) > tolerance)
            return false;
    return true;
}

// What the user sees of the arrangement: which docks share an area, which tabs are in
// front, and how the two splitters of the tool column divide the window.
struct Layout
{
    std::map<QString, QString> areaOf;  // dock -> first dock of its area
    QStringList currentTabs;
    std::vector<double> main, right;

    bool operator==(const Layout& o) const
    {
        return areaOf == o.areaOf && currentTabs == o.currentTabs && near(main, o.main) &&
               near(right, o.right);
    }
};

std::ostream& operator<<(std::ostream& os, const Layout& l)
{
    for (const auto& [dock, area] : l.areaOf)
        os << dock.toStdString() << "@" << area.toStdString() << " ";
    os << "| current " << l.currentTabs.join(",").toStdString() << " | main";
    for (double v : l.main)
        os << " " << v;
    os << " | right";
    for (double v : l.right)
        os << " " << v;
    return os;
}

Layout layoutOf(Ple::MainWnd& wnd)
{
    Layout layout;
    for (ads::CDockWidget* dock : wnd.dockManager()->dockWidgetsMap())
    {
        if (dock->isClosed() || !dock->dockAreaWidget())
            continue;
        layout.areaOf[dock->objectName()] =
            dock->dockAreaWidget()->dockWidgets().front()->objectName();
        if (dock->isCurrentTab())
            layout.currentTabs << dock->objectName();
    }
    layout.currentTabs.sort();
    layout.main = proportions(splitterAbove(findDock(&wnd, "emitter_scheme")));
    layout.right = proportions(splitterAbove(findDock(&wnd, "properties_wnd")));
    return layout;
}

// The samples project beside the program, there for the lifetime of the object.
class SamplesProject
{
public:
    SamplesProject() : path_(Ple::WelcomeDialog::samplesProjectPath())
    {
        existed_ = QFile::exists(path_);
        QDir().mkpath(QFileInfo(path_).path());
        QFile file(path_);
        file.open(QFile::WriteOnly | QFile::Append);
    }
    ~SamplesProject()
    {
        if (!existed_)
        {
            QFile::remove(path_);
            QDir().rmdir(QFileInfo(path_).path());
        }
    }

private:
    QString path_;
    bool existed_ = false;
};

class MainWndTest : public testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(home_.isValid()); }

    // A program start: fresh settings over the same file and a window that has gone through
    // its start-up.
    template <class Wnd = Ple::MainWnd>
    Wnd* start()
    {
        wnd_.reset();
        settings_ = std::make_unique<QSettings>(home_.filePath(settingsFile), QSettings::IniFormat);
        auto* wnd = new Wnd("9.9.9-test", "https://export.test.example", *settings_);
        wnd_.reset(wnd);
        QSignalSpy started(wnd, &Ple::MainWnd::startupFinished);
        EXPECT_TRUE(waitUntil([&] { return started.count() > 0; }));
        return wnd;
    }

    // Closes the window as the user does; true once it is gone.
    bool closeWindow()
    {
        wnd_->close();
        return waitUntil([&] { return !wnd_->isVisible(); });
    }

    QString makeProject(const QString& name)
    {
        QDir(home_.path()).mkpath("projects");
        const QString path = home_.filePath("projects/" + name + ".sxproj");
        QFile file(path);
        file.open(QFile::WriteOnly);
        return path;
    }

    Ple::WelcomeDialog* welcome() const
    {
        for (auto* dialog : wnd_->findChildren<Ple::WelcomeDialog*>())
            if (dialog->isVisible())
                return dialog;
        return nullptr;
    }

    ads::CDockWidget* dock(const QString& name) const { return findDock(wnd_.get(), name); }

    QStringList recentPaths() const
    {
        QStringList out;
        for (const auto& entry : wnd_->recents().entries())
            out << QString::fromStdString(entry.string());
        return out;
    }

    // Puts "Comments" beside "Emitters" and brings "Emmiter Scheme" to the front.
    void rearrange()
    {
        ads::CDockManager* manager = wnd_->dockManager();
        manager->addDockWidgetTabToArea(dock("comments"), dock("system_wnd")->dockAreaWidget());
        dock("emitter_scheme")->raise();
        splitterAbove(dock("properties_wnd"))->setSizes({100, 300});
        waitUntil([] { return false; }, 50);
    }

    TestSupport::TempHome home_;
    std::unique_ptr<QSettings> settings_;
    std::unique_ptr<Ple::MainWnd> wnd_;
};

// --- Docks and menus -------------------------------------------------------------------

TEST_F(MainWndTest, ToolDocksCarryTheirTitlesNamesTooltipsAndFeatures)
{
    start();
    struct Row
    {
        const char* name;
        const char* title;
        const char* tooltipStart;
        bool deleteOnClose;
    };
    const Row rows[] = {
        {"emitter_scheme", "Emmiter Scheme", "Emitter Scheme is a graph of blocks", false},
        {"preview_wnd", "Preview", "In Preview window you can see working effect.<p>", false},
        {"system_wnd", "Emitters", "Emitters window contains a list of emitters", false},
        {"palette_wnd", "Blocks Palette", "From Blocks Palette you can pick", true},
        {"properties_wnd", "Properties", "In Properties window you can edit", false},
        {"comments", "Comments", "In Comments you can add description", false},
        {"emitter_guide", "Emitter Guide", "Emitter Guide is a GUI way", false},
        {"editor_wnd", "Graph Editor", "If any graph block selected, Graph Editor", false},
    };
    EXPECT_EQ(wnd_->dockManager()->dockWidgetsMap().size(), int(std::size(rows)));
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.name);
        ads::CDockWidget* d = dock(row.name);
        ASSERT_NE(d, nullptr);
        EXPECT_EQ(d->windowTitle(), row.title);
        EXPECT_TRUE(d->tabWidget()->toolTip().startsWith(row.tooltipStart))
            << d->tabWidget()->toolTip().toStdString();
        EXPECT_FALSE(d->features().testFlag(ads::CDockWidget::DockWidgetClosable));
        EXPECT_EQ(d->features().testFlag(ads::CDockWidget::DockWidgetDeleteOnClose),
                  row.deleteOnClose);
        EXPECT_EQ(d->widget()->parentWidget(), d);  // no scroll area in between
    }
    EXPECT_TRUE(
        dock("properties_wnd")->tabWidget()->toolTip().endsWith("highglighted by orange outline."));

    const std::pair<ads::CDockManager::eConfigFlag, bool> flags[] = {
        {ads::CDockManager::TabCloseButtonIsToolButton, true},
        {ads::CDockManager::ActiveTabHasCloseButton, true},
        {ads::CDockManager::DockAreaHasCloseButton, false},
        {ads::CDockManager::OpaqueSplitterResize, true},
        {ads::CDockManager::OpaqueUndocking, true},
        {ads::CDockManager::DockAreaDynamicTabsMenuButtonVisibility, true},
        {ads::CDockManager::FloatingContainerHasWidgetTitle, true}};
    for (const auto& [flag, on] : flags)
        EXPECT_EQ(ads::CDockManager::testConfigFlag(flag), on) << flag;
    EXPECT_EQ(wnd_->windowTitle(), "ScintariParticles Editor 9.9.9-test");
}

TEST_F(MainWndTest, MenuBarHoldsTheMenusInOrderWithProjectMenusBeforeWindows)
{
    start();
    QMenuBar* bar = wnd_->menuBar();
    EXPECT_EQ(TestSupport::menuTitles(bar), QStringList({"Effect", "Projects", "Windows", "Help"}));
    EXPECT_TRUE(TestSupport::findMenu(bar, "Effect")->actions().isEmpty());
    EXPECT_EQ(TestSupport::actionTexts(TestSupport::findMenu(bar, "Projects")),
              QStringList({"New", "Open", "Open recents...", "Open Samples", "Save all"}));
    EXPECT_EQ(TestSupport::actionTexts(TestSupport::findMenu(bar, "Windows")),
              QStringList({"Reset layout"}));
    EXPECT_EQ(TestSupport::actionTexts(TestSupport::findMenu(bar, "Help")),
              QStringList({"About..."}));
    EXPECT_TRUE(wnd_->findChild<QMenu*>("menuRecents")->toolTipsVisible());

    wnd_->openProjectRequested(makeProject("alpha"), false);
    wnd_->openProjectRequested(makeProject("beta.v2"), false);
    EXPECT_EQ(TestSupport::menuTitles(bar),
              QStringList({"Effect", "Projects", "alpha", "beta.v2", "Windows", "Help"}));
    QMenu* recents = wnd_->findChild<QMenu*>("menuRecents");
    EXPECT_EQ(TestSupport::actionTexts(recents), QStringList({"beta.v2", "alpha"}));
    EXPECT_EQ(recents->actions().front()->toolTip(), home_.filePath("projects/beta.v2.sxproj"));
}

TEST_F(MainWndTest, SaveAllIsTheOneShortcutAndWorksFromAChildWidget)
{
    start();
    QStringList withShortcut;
    for (QAction* action : TestSupport::allActions(wnd_.get()))
        if (!action->shortcut().isEmpty())
            withShortcut << TestSupport::plainText(action->text());
    EXPECT_EQ(withShortcut, QStringList({"Save all"}));

    QAction* saveAll = TestSupport::findAction(wnd_.get(), "Save all");
    ASSERT_NE(saveAll, nullptr);
    EXPECT_EQ(saveAll->shortcut(), QKeySequence("Ctrl+Shift+S"));
    QSignalSpy triggered(saveAll, &QAction::triggered);
    QWidget* child = dock("comments")->widget();
    child->setFocusPolicy(Qt::StrongFocus);
    wnd_->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(wnd_.get()));
    child->setFocus();
    QTest::keyClick(child, Qt::Key_S, Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_EQ(triggered.count(), 1);
    QTest::keyClick(child, Qt::Key_S, Qt::ControlModifier);
    EXPECT_EQ(triggered.count(), 1);
}

// --- Layout ----------------------------------------------------------------------------

TEST_F(MainWndTest, DefaultLayoutGroupsTheDocksAndDividesTheWindow)
{
    start();
    const Layout layout = layoutOf(*wnd_);
    const std::map<QString, QString> areas = {
        {"system_wnd", "system_wnd"},         {"emitter_scheme", "emitter_scheme"},
        {"preview_wnd", "emitter_scheme"},    {"palette_wnd", "palette_wnd"},
        {"comments", "palette_wnd"},          {"emitter_guide", "palette_wnd"},
        {"properties_wnd", "properties_wnd"}, {"editor_wnd", "properties_wnd"}};
    EXPECT_EQ(layout.areaOf, areas);
    EXPECT_EQ(layout.currentTabs,
              QStringList({"emitter_guide", "preview_wnd", "properties_wnd", "system_wnd"}));
    EXPECT_TRUE(near(layout.main, {1 / 6., 3 / 6., 2 / 6.})) << layout;
    EXPECT_TRUE(near(layout.right, {0.75, 0.25})) << layout;
    EXPECT_EQ(splitterAbove(dock("emitter_scheme"))->orientation(), Qt::Horizontal);
    EXPECT_EQ(splitterAbove(dock("properties_wnd"))->orientation(), Qt::Vertical);
}

TEST_F(MainWndTest, ResetLayoutBringsBackTheFirstStartWithProjectsAboveEmitters)
{
    start();
    const Layout initial = layoutOf(*wnd_);
    wnd_->openProjectRequested(makeProject("alpha"), false);
    wnd_->openProjectRequested(makeProject("beta"), false);
    rearrange();
    ASSERT_FALSE(layoutOf(*wnd_) == initial);

    TestSupport::findAction(wnd_.get(), "Reset layout")->trigger();
    const QString alpha = home_.filePath("projects/alpha.sxproj");
    const QString beta = home_.filePath("projects/beta.sxproj");
    ASSERT_TRUE(waitUntil(
        [&]
        {
            Layout now = layoutOf(*wnd_);
            return now.areaOf.count(beta) && now.areaOf[beta] == alpha;
        }));
    TestSupport::processEventsFor(50);
    Layout now = layoutOf(*wnd_);
    EXPECT_EQ(now.areaOf[alpha], alpha);
    now.areaOf.erase(alpha);
    now.areaOf.erase(beta);
    now.currentTabs.removeAll(alpha);
    now.currentTabs.removeAll(beta);
    EXPECT_EQ(now, initial);
    // Projects above "Emitters", sharing the column evenly.
    QSplitter* column = splitterAbove(dock("system_wnd"));
    ASSERT_NE(column, nullptr);
    EXPECT_EQ(column->orientation(), Qt::Vertical);
    EXPECT_EQ(column->widget(0), dock(alpha)->dockAreaWidget());
    EXPECT_TRUE(near(proportions(column), {0.5, 0.5}));
}

TEST_F(MainWndTest, LayoutProjectsAndRecentsSurviveARestartAfterAnOrderlyClose)
{
    start();
    const QString alpha = makeProject("alpha"), beta = makeProject("beta");
    wnd_->openProjectRequested(alpha, false);
    wnd_->openProjectRequested(beta, false);
    rearrange();
    const Layout before = layoutOf(*wnd_);
    ASSERT_TRUE(closeWindow());

    start();
    ASSERT_EQ(wnd_->numProjects(), 2u);
    EXPECT_EQ(wnd_->project(0).path_, alpha);
    EXPECT_EQ(wnd_->project(1).path_, beta);
    EXPECT_EQ(recentPaths(), QStringList({beta, alpha}));
    EXPECT_TRUE(waitUntil([&] { return layoutOf(*wnd_) == before; })) << layoutOf(*wnd_) << "\n"
                                                                      << before;
    EXPECT_EQ(welcome(), nullptr);
}

TEST_F(MainWndTest, DamagedOrForeignStoredLayoutGivesTheDefaults)
{
    start();
    const Layout defaults = layoutOf(*wnd_);
    rearrange();
    const QByteArray geometry = wnd_->saveGeometry();
    const QByteArray otherVersion = wnd_->dockManager()->saveState(5);
    wnd_.reset();

    const std::vector<std::function<void()>> damages = {
        [&] {  // not an ini file at all
            std::ofstream(home_.filePath(settingsFile).toStdString(), std::ios::binary)
                << std::string("\0\xff\x01[[[recents\n=\n\xfe", 16);
        },
        [&] {  // a dock state of another version
            QSettings s(home_.filePath(settingsFile), QSettings::IniFormat);
            s.setValue("geometry", geometry);
            s.setValue("dockManagerState", otherVersion);
        },
        [&] {  // values that aren't a geometry or a dock state
            QSettings s(home_.filePath(settingsFile), QSettings::IniFormat);
            s.setValue("geometry", QByteArray("nonsense"));
            s.setValue("dockManagerState", QByteArray("<QtAdvancedDockingSystem broken"));
            s.setValue("recents/quantity", "many");
        }};
    for (std::size_t i = 0; i < damages.size(); ++i)
    {
        SCOPED_TRACE(i);
        QFile::remove(home_.filePath(settingsFile));
        QDir(home_.path()).mkpath(".scintarieditor");
        damages[i]();
        start();
        TestSupport::processEventsFor(30);
        EXPECT_EQ(layoutOf(*wnd_), defaults);
        EXPECT_EQ(wnd_->recents().numEntries(), 0u);
        EXPECT_NE(welcome(), nullptr);
    }
}

// --- Closing ---------------------------------------------------------------------------

// A window whose save step before closing is answered by the test.
class HeldCloseWnd : public Ple::MainWnd
{
public:
    using MainWnd::MainWnd;
    int calls = 0;
    Callback succeeded, failed;

protected:
    void saveProjectsBeforeClose(Callback s, Callback f) override
    {
        ++calls;
        succeeded = std::move(s);
        failed = std::move(f);
    }
};

TEST_F(MainWndTest, SettingsAreWrittenOnlyWhenTheCloseGoesThrough)
{
    auto* wnd = start<HeldCloseWnd>();
    wnd->openProjectRequested(makeProject("alpha"), false);
    wnd->close();
    wnd->close();  // repeated while the save step runs
    EXPECT_EQ(wnd->calls, 1);
    wnd->failed();
    TestSupport::processEventsFor(20);
    EXPECT_TRUE(wnd->isVisible());
    {
        QSettings written(home_.filePath(settingsFile), QSettings::IniFormat);
        EXPECT_TRUE(written.allKeys().isEmpty()) << written.allKeys().join(",").toStdString();
    }

    wnd->close();  // a fresh attempt
    EXPECT_EQ(wnd->calls, 2);
    wnd->succeeded();
    EXPECT_TRUE(waitUntil([&] { return !wnd->isVisible(); }));
    QSettings written(home_.filePath(settingsFile), QSettings::IniFormat);
    for (const char* key :
         {"projects", "geometry", "dockManagerState", "recents/quantity", "recents/path0"})
        EXPECT_TRUE(written.contains(key)) << key;
    EXPECT_EQ(written.value("projects").toStringList(),
              QStringList({home_.filePath("projects/alpha.sxproj")}));
}

// --- Projects --------------------------------------------------------------------------

TEST_F(MainWndTest, AProjectGetsADockAboveEmittersAndOpensOnlyOnce)
{
    start();
    const QString alpha = makeProject("alpha");
    wnd_->openProjectRequested(alpha, false);
    TestSupport::processEventsFor(20);
    ASSERT_EQ(wnd_->numProjects(), 1u);
    ads::CDockWidget* d = dock(alpha);
    ASSERT_NE(d, nullptr);
    EXPECT_EQ(d->windowTitle(), "alpha");
    const auto features = d->features();
    for (auto feature :
         {ads::CDockWidget::DockWidgetClosable, ads::CDockWidget::DockWidgetDeleteOnClose,
          ads::CDockWidget::CustomCloseHandling})
        EXPECT_TRUE(features.testFlag(feature)) << feature;
    EXPECT_TRUE(d->tabWidget()->toolTip().startsWith("Project window contains a tree of effects"));
    QSplitter* column = splitterAbove(dock("system_wnd"));
    EXPECT_EQ(column->widget(0), d->dockAreaWidget());
    EXPECT_TRUE(near(proportions(column), {0.5, 0.5}));
    EXPECT_TRUE(near(layoutOf(*wnd_).main, {1 / 6., 3 / 6., 2 / 6.})) << layoutOf(*wnd_);

    wnd_->openProjectRequested(makeProject("beta"), false);
    wnd_->openProjectRequested(alpha, false);  // raises its tab, opens nothing
    EXPECT_EQ(wnd_->numProjects(), 2u);
    EXPECT_TRUE(waitUntil([&] { return d->isCurrentTab(); }));
    EXPECT_EQ(wnd_->dockManager()->dockWidgetsMap().size(), 10);
    EXPECT_EQ(dock(home_.filePath("projects/beta.sxproj"))->dockAreaWidget(), d->dockAreaWidget());

    // Creating a project over an open one is refused with a message.
    TestSupport::ModalBoxDriver driver;
    driver.press("Error while creating project", "You have opened a project with the same path.\n",
                 QMessageBox::Ok);
    wnd_->createProjectRequested(alpha);
    EXPECT_TRUE(waitUntil([&] { return driver.answeredCount() == 1; }));
    EXPECT_EQ(wnd_->numProjects(), 2u);
}

TEST_F(MainWndTest, AProjectThatDoesNotOpenLeavesNoTraceButAMessage)
{
    start();
    TestSupport::ModalBoxDriver driver;
    driver.press("Error opening project", "Can't open project file", QMessageBox::Ok);
    const QStringList menusBefore = TestSupport::menuTitles(wnd_->menuBar());
    wnd_->openProjectRequested(home_.filePath("gone.sxproj"), false);
    EXPECT_EQ(driver.answeredCount(), 1);
    EXPECT_EQ(wnd_->numProjects(), 0u);
    EXPECT_EQ(wnd_->recents().numEntries(), 0u);
    EXPECT_EQ(wnd_->dockManager()->dockWidgetsMap().size(), 8);
    TestSupport::processEventsFor(10);
    EXPECT_EQ(TestSupport::menuTitles(wnd_->menuBar()), menusBefore);
}

TEST_F(MainWndTest, ClosingTheLastProjectTabBringsUpTheWelcomeDialog)
{
    start();
    welcome()->hide();
    const QString alpha = makeProject("alpha");
    wnd_->openProjectRequested(alpha, false);
    ASSERT_TRUE(waitUntil([&] { return dock(alpha)->isCurrentTab(); }));
    QAbstractButton* closeButton = dock(alpha)->tabWidget()->findChild<QAbstractButton*>();
    ASSERT_NE(closeButton, nullptr);
    QTest::mouseClick(closeButton, Qt::LeftButton);
    EXPECT_TRUE(waitUntil([&] { return dock(alpha) == nullptr; }));
    EXPECT_EQ(wnd_->numProjects(), 0u);
    EXPECT_EQ(TestSupport::menuTitles(wnd_->menuBar()),
              QStringList({"Effect", "Projects", "Windows", "Help"}));
    EXPECT_NE(welcome(), nullptr);
    EXPECT_EQ(recentPaths(), QStringList({alpha}));
}

// All that depends on the samples project beside the program, in one test, since the
// file is shared by every test that runs at the same time.
TEST_F(MainWndTest, SamplesProjectIsOfferedWhenInstalledAndNeverListedInRecents)
{
    TestSupport::ModalBoxDriver driver;
    {
        QSettings s(home_.filePath(settingsFile), QSettings::IniFormat);
        s.setValue("projects", QStringList({"samples"}));
    }
    if (!QFile::exists(Ple::WelcomeDialog::samplesProjectPath()))
    {
        start();
        EXPECT_EQ(wnd_->numProjects(), 0u);  // skipped without a word
        EXPECT_FALSE(TestSupport::findAction(wnd_.get(), "Open Samples")->isEnabled());
        EXPECT_FALSE(welcome()->findChild<QToolButton*>("openSamples")->isEnabled());
    }
    SamplesProject samples;
    start();
    ASSERT_EQ(wnd_->numProjects(), 1u);
    EXPECT_TRUE(wnd_->project(0).samples_);
    EXPECT_NE(dock("__Samples__"), nullptr);
    EXPECT_TRUE(TestSupport::findAction(wnd_.get(), "Open Samples")->isEnabled());
    closeWindow();
    settings_->remove("projects");
    settings_->sync();

    start();
    ASSERT_EQ(wnd_->numProjects(), 0u);
    ASSERT_TRUE(welcome()->findChild<QToolButton*>("openSamples")->isEnabled());
    QTest::mouseClick(welcome()->findChild<QToolButton*>("openSamples"), Qt::LeftButton);
    ASSERT_EQ(wnd_->numProjects(), 1u);
    EXPECT_EQ(wnd_->project(0).path_, Ple::WelcomeDialog::samplesProjectPath());
    EXPECT_EQ(wnd_->recents().numEntries(), 0u);
    ASSERT_TRUE(closeWindow());
    EXPECT_EQ(settings_->value("projects").toStringList(), QStringList({"samples"}));
    EXPECT_EQ(settings_->value("recents/quantity").toInt(), 0);
    EXPECT_EQ(driver.seen().size(), 0u);
}

// --- Welcome dialog ---------------------------------------------------------------------

TEST_F(MainWndTest, WelcomeDialogListsRecentsAndOpensOneByItsLink)
{
    const QString alpha = makeProject("alpha");
    const QString gone = home_.filePath("projects/gone.sxproj");
    {
        QSettings s(home_.filePath(settingsFile), QSettings::IniFormat);
        s.setValue("recents/quantity", 2);
        s.setValue("recents/path0", gone);
        s.setValue("recents/path1", alpha);
    }
    start();
    Ple::WelcomeDialog* dialog = welcome();
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(dialog->windowTitle(), "Welcome");
    EXPECT_TRUE(dialog->windowFlags().testFlag(Qt::Tool));
    EXPECT_TRUE(dialog->testAttribute(Qt::WA_DeleteOnClose));
    for (const char* button : {"newProject", "openProject", "openSamples"})
        EXPECT_NE(dialog->findChild<QToolButton*>(button), nullptr) << button;
    EXPECT_FALSE(dialog->findChild<QLabel*>("logo")->pixmap(Qt::ReturnByValue).isNull());

    auto* group = dialog->findChild<QWidget*>("recentsGroup");
    QList<QLabel*> labels = group->findChildren<QLabel*>();
    ASSERT_EQ(labels.size(), 2);
    EXPECT_EQ(labels[0]->text(), QString("<span style=\" text-decoration: line-through; "
                                         "color:#0000ff;\">%1</span>")
                                     .arg(gone));
    EXPECT_EQ(labels[1]->text(),
              QString("<a href=\"%1\"><span style=\" text-decoration: underline; "
                      "color:#0000ff;\">%1</span></a>")
                  .arg(alpha));
    dialog->setRecentProjectColor(QColor(0x10, 0x20, 0x30));
    EXPECT_TRUE(group->findChildren<QLabel*>().at(1)->text().contains("color:#102030;"));

    QPointer<Ple::WelcomeDialog> alive = dialog;
    emit group->findChildren<QLabel*>().at(1)->linkActivated(alpha);
    EXPECT_TRUE(waitUntil([&] { return !alive; }));
    ASSERT_EQ(wnd_->numProjects(), 1u);
    EXPECT_EQ(wnd_->project(0).path_, alpha);
    EXPECT_EQ(recentPaths(), QStringList({alpha}));  // the vanished one is gone
    EXPECT_TRUE(wnd_->isVisible());
}

TEST_F(MainWndTest, CancellingTheWelcomeDialogEndsTheProgramOnlyWithoutProjects)
{
    for (bool withProject : {true, false})
    {
        SCOPED_TRACE(withProject);
        start();
        if (withProject)
        {
            wnd_->openProjectRequested(makeProject("alpha"), false);
            wnd_->showWelcomeDialog();
        }
        ASSERT_NE(welcome(), nullptr);
        welcome()->reject();
        TestSupport::processEventsFor(30);
        EXPECT_EQ(wnd_->isVisible(), withProject);
        if (!withProject)
        {
            EXPECT_TRUE(settings_->contains("dockManagerState"));
        }
    }
}

TEST_F(MainWndTest, WelcomeButtonsOpenAndCreateProjectsThroughFileDialogs)
{
    struct Row
    {
        const char* button;
        const char* dialogName;
        const char* caption;
        QString file;
    };
    const Row rows[] = {
        {"openProject", "openProjectDialog", "Open project file", makeProject("alpha")},
        {"newProject", "createProjectDialog", "Create project file",
         home_.filePath("projects/fresh.sxproj")}};
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.button);
        start();
        QPointer<Ple::WelcomeDialog> dialog = welcome();
        QTest::mouseClick(dialog->findChild<QToolButton*>(row.button), Qt::LeftButton);
        auto* files = wnd_->findChild<QFileDialog*>(row.dialogName);
        ASSERT_NE(files, nullptr);
        EXPECT_EQ(files->windowTitle(), row.caption);
        EXPECT_TRUE(files->isModal());
        EXPECT_EQ(files->nameFilters(), QStringList({"Scintari Editor Project (*.sxproj)"}));
        files->selectFile(row.file);
        QMetaObject::invokeMethod(files, "accept");
        EXPECT_TRUE(waitUntil([&] { return !dialog; }));
        ASSERT_EQ(wnd_->numProjects(), 1u);
        EXPECT_EQ(wnd_->project(0).path_, row.file);
        EXPECT_NE(dock(row.file), nullptr);
        EXPECT_TRUE(wnd_->isVisible());
    }
}

TEST_F(MainWndTest, AboutDialogShowsTheVersionAndGoesAwayWithItsButton)
{
    start();
    wnd_->showAboutDialog();
    QPointer<QDialog> about = wnd_->findChild<QDialog*>("About");
    ASSERT_NE(about, nullptr);
    EXPECT_EQ(about->findChild<QLabel*>("version")->text(), "9.9.9-test");
    for (const char* label : {"title", "url", "copyright"})
        EXPECT_FALSE(about->findChild<QLabel*>(label)->text().isEmpty()) << label;
    QTest::mouseClick(about->findChild<QPushButton*>("button"), Qt::LeftButton);
    EXPECT_TRUE(waitUntil([&] { return !about; }));
}

TEST_F(MainWndTest, MessagesAppearAsStripsOverTheWindow)
{
    start();
    wnd_->notifier().notify(Ple::NT_Positive, Ple::ND_Short, "Effect saved");
    QWidget* strip = wnd_->findChild<QWidget*>("NotifierPopup");
    ASSERT_NE(strip, nullptr);
    EXPECT_EQ(strip->parentWidget(), wnd_.get());
    EXPECT_TRUE(waitUntil([&] { return strip->isVisible(); }));
}

// --- Recents ---------------------------------------------------------------------------

// Random opening, closing, picking from the recents menu and restarting over 30 projects,
// against a model of the rule: an opened project goes to the front (or moves there), at most
// 20 are kept, an already open one changes nothing, the list survives restarts.
TEST_F(MainWndTest, RecentsFollowTheirRuleAcrossRestarts)
{
    QStringList paths;
    for (int i = 0; i < 30; ++i)
        paths << makeProject("p" + QString::number(i));
    std::mt19937 random(20240611);
    QStringList model;
    auto toFront = [&](QString p)
    {
        model.removeAll(p);
        model.prepend(p);
        while (model.size() > 20)
            model.removeLast();
    };
    start();
    for (int step = 0; step < 160; ++step)
    {
        const int kind = std::uniform_int_distribution<int>(0, 9)(random);
        if (kind < 5)
        {
            const QString p = paths[std::uniform_int_distribution<int>(0, 29)(random)];
            bool open = false;
            for (std::size_t i = 0; i < wnd_->numProjects(); ++i)
                open |= wnd_->project(i).path_ == p;
            if (!open)
                toFront(p);
            wnd_->openProjectRequested(p, false);
        }
        else if (kind < 7 && !model.isEmpty())
        {
            const int index = std::uniform_int_distribution<int>(0, model.size() - 1)(random);
            QMenu* menu = wnd_->findChild<QMenu*>("menuRecents");
            ASSERT_EQ(menu->actions().size(), model.size());
            EXPECT_EQ(menu->actions()[index]->toolTip(), model[index]);
            toFront(model[index]);
            menu->actions()[index]->trigger();
        }
        else if (kind < 9 && wnd_->numProjects() > 0)
        {
            wnd_->closeProject(
                std::uniform_int_distribution<std::size_t>(0, wnd_->numProjects() - 1)(random));
        }
        else
        {
            ASSERT_TRUE(closeWindow());
            start();
        }
        ASSERT_EQ(recentPaths(), model) << "step " << step;
    }
}

TEST(MainWndRecents, EntriesOutOfRangeAndVanishedFiles)
{
    Ple::ProjectRecents recents(3);
    TestSupport::TempHome home;
    QFile(home.filePath("a")).open(QFile::WriteOnly);
    for (const char* p : {"b", "a", "c", "a"})
        recents.addEntry(home.filePath(p).toStdString());
    EXPECT_EQ(recents.addEntry(home.filePath("b").toStdString()), 2u);
    EXPECT_TRUE(recents.entry(7).empty());
    recents.moveEntryOnTop(9);
    recents.moveEntryOnTop(2);
    EXPECT_EQ(recents.entry(0), home.filePath("b").toStdString());
    EXPECT_FALSE(recents.doesEntryExistsOnDisk(0));
    EXPECT_EQ(recents.removeUnexistent(), 2u);
    ASSERT_EQ(recents.numEntries(), 1u);
    EXPECT_EQ(recents.entry(0), home.filePath("a").toStdString());
}

// --- Pictures, screenshot and start-up time ----------------------------------------------

TEST(MainWndPictures, EveryPictureTheWindowAsksForLoads)
{
    for (const char* name : {"icon", "logo128", "new_project", "open_project", "open_samples"})
    {
        const QPixmap pixmap(QString(":/editor/images/%1.png").arg(name));
        EXPECT_FALSE(pixmap.isNull()) << name;
    }
    EXPECT_EQ(QPixmap(":/editor/images/logo128.png").size(), QSize(128, 128));
}

TEST_F(MainWndTest, DefaultWindowScreenshotAndStartupTime)
{
    QElapsedTimer timer;
    timer.start();
    settings_ = std::make_unique<QSettings>(home_.filePath(settingsFile), QSettings::IniFormat);
    auto* wnd = new Ple::MainWnd("9.9.9-test", "https://export.test.example", *settings_);
    wnd_.reset(wnd);
    const qint64 constructed = timer.elapsed();
    QSignalSpy started(wnd, &Ple::MainWnd::startupFinished);
    ASSERT_TRUE(waitUntil([&] { return started.count() > 0; }));
    const qint64 ready = timer.elapsed();
    std::cout << "[ timing ] main window constructed and shown after " << constructed
              << " ms, ready (layout, settings, welcome) after " << ready << " ms" << std::endl;

    welcome()->hide();
    QFile style(":qdarkstyle/style.qss");  // the program's look, where the build has it
    if (style.open(QFile::ReadOnly | QFile::Text))
        wnd->setStyleSheet(QString::fromUtf8(style.readAll()));
    const QImage shot = wnd->grab().toImage();
    ASSERT_FALSE(shot.isNull());
    EXPECT_EQ(shot.size(), wnd->size() * shot.devicePixelRatio());
    const QString path = QDir(QCoreApplication::applicationDirPath())
                             .filePath("../screenshots/main_wnd_default.png");
    QDir().mkpath(QFileInfo(path).path());
    ASSERT_TRUE(shot.save(path));
    std::cout << "[ screenshot ] " << QFileInfo(path).canonicalFilePath().toStdString()
              << std::endl;
    // Not a blank picture: the docks' tabs and areas draw in more than one colour.
    std::set<QRgb> colours;
    for (int y = 0; y < shot.height(); y += 7)
        for (int x = 0; x < shot.width(); x += 7)
            colours.insert(shot.pixel(x, y));
    EXPECT_GT(colours.size(), 3u);
}

}  // namespace
