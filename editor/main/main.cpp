// The editor's process entry: crash hook, configuration folder and settings,
// the log file, the command line, the application object with its resources,
// fonts and stylesheet, the tooltip filter, the main window and the event loop;
// then the orderly end, which removes the log file. A log file left in the
// configuration folder is therefore the trace of a run that did not end
// normally (or of a run that only printed the help).

#include <iostream>
#include <memory>
#include <string>

#include <boost/filesystem/operations.hpp>
#include <boost/filesystem/path.hpp>
#include <boost/program_options.hpp>

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFontDatabase>
#include <QSettings>
#include <QTextStream>

#include "debug/debug_log.h"
#include "debug/debug_log_worker.h"
#include "error_handlers.h"
#include "particle_layout_editor/ple_main_wnd.h"
#include "particle_layout_editor/ple_static_style.h"
#include "particle_layout_editor/ple_tooltip.h"
#include "termination_signals.h"

#ifndef SCINTARI_VERSION_STRING
#error "SCINTARI_VERSION_STRING must be defined by the build"
#endif
#ifndef SCINTARI_EXPORT_SERVER
#error "SCINTARI_EXPORT_SERVER must be defined by the build"
#endif

namespace po = boost::program_options;
namespace fs = boost::filesystem;

namespace Const
{
// Configuration folder, directly under the user's home.
const char* const homeDirName = ".scintarieditor";
// Settings file in that folder; its name carries the generation of its format,
// which is independent of the program's version.
const char* const settingsFileName = "config_1_0_11.ini";
// The program's version, shown by the main window and sent with crash dumps.
const char* const versionString = SCINTARI_VERSION_STRING;
// Prefix of the log file's name.
const char* const logPrefix = "editor";
// Export service used when the command line names none.
const char* const defaultExportServer = SCINTARI_EXPORT_SERVER;
}  // namespace Const

namespace
{

po::options_description options()
{
    po::options_description description("Available options",
                                        po::options_description::m_default_line_length,
                                        po::options_description::m_default_line_length / 2);
    // clang-format off
  description.add_options()
    ("help", "Produces help message.")
    ("exportServer", po::value<std::string>()->default_value(Const::defaultExportServer),
     "Export server address.");
    // clang-format on
    return description;
}

void applyStyleSheet(QApplication& app)
{
    QFile file(":qdarkstyle/style.qss");
    if (!file.exists())
    {
        std::cout << "Unable to set stylesheet, file not found" << std::endl;
        return;
    }
    file.open(QFile::ReadOnly | QFile::Text);
    QTextStream stream(&file);
    app.setStyleSheet(stream.readAll());
}

void addApplicationFont(const char* resource)
{
    if (QFontDatabase::addApplicationFont(resource) < 0)
        DEBUG_LOG(Warning, std::string("Can't add application font ") + resource);
}

}  // namespace

int main(int argc, char* argv[])
{
    QElapsedTimer sinceStart;
    sinceStart.start();

    // 1. Crash reporting first: from here on a fatal signal leaves a dump.
    BugSplat::initialize();
    GoogleBreakpad::initialize();

    // 2. Configuration folder. Failure is logged (into memory until the log file
    //    is open) and start-up goes on.
    const fs::path configDir = fs::path(QDir::homePath().toStdString()) / Const::homeDirName;
    {
        boost::system::error_code error;
        fs::create_directories(configDir, error);
        if (error)
            DEBUG_LOG(Warning, "Can't create config directory: " + configDir.string() +
                                   "\n\twith error: " + error.message());
    }

    // 3. Settings.
    const fs::path settingsPath = configDir / Const::settingsFileName;
    auto settings = std::make_unique<QSettings>(QString::fromStdString(settingsPath.string()),
                                                QSettings::IniFormat);

    // 4. The log file in the configuration folder, written by its own thread.
    auto logWorker = Debug::LogWorker::create(Const::logPrefix, configDir.string());
    const std::string logFileName = logWorker->fileName();
    BugSplat::addLogFile(logFileName.c_str());
    DEBUG_LOG(Info, std::string("Scintari editor ") + Const::versionString + " starting");

    // 5. Command line; unknown options are ignored.
    po::variables_map vm;
    try
    {
        po::store(po::command_line_parser(argc, argv).options(options()).allow_unregistered().run(),
                  vm);
        po::notify(vm);
    }
    catch (const po::error& e)
    {
        DEBUG_LOG(Warning, std::string("Command line refused: ") + e.what());
        std::cerr << e.what() << "\n" << options() << std::endl;
        return 1;
    }

    // 6. Help ends the run before any application object exists.
    if (vm.count("help"))
    {
        std::cout << options() << std::endl;
        return 1;
    }

    // 7. The application object.
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    QCoreApplication::setAttribute(Qt::AA_DontUseNativeMenuBar);
    auto app = std::make_unique<QApplication>(argc, argv);
    auto terminationSignals = std::make_unique<TerminationSignals>();

    // 8. Resources.
    Q_INIT_RESOURCE(ads);
    Q_INIT_RESOURCE(editor);
    Q_INIT_RESOURCE(style);
    Q_INIT_RESOURCE(textedit);

    // 9. Fonts.
    addApplicationFont(":/editor/fonts/Sarala-Regular.ttf");
    addApplicationFont(":/editor/fonts/Sarala-Bold.ttf");

    // 10. Stylesheet.
    applyStyleSheet(*app);

    // 11. From here on a crash is reported: the upload tool lies beside us.
    GoogleBreakpad::setApplicationPath(QCoreApplication::applicationDirPath().toUtf8().constData());

    // 12. Tooltips and the style values the stylesheet can't set directly.
    Ple::Tooltip::setupApplicationFilter();
    Ple::StaticStyle::inst<Ple::LinksStyle>();

    // 13. Main window and event loop.
    const std::string exportServer = vm["exportServer"].as<std::string>();
    auto mainWnd =
        std::make_unique<Ple::MainWnd>(QString(Const::versionString), exportServer, *settings);
    mainWnd->show();
    DEBUG_LOG(Info, "Main window shown");
    // The window finishes its start-up (layout, settings, projects) in the event loop.
    QObject::connect(mainWnd.get(), &Ple::MainWnd::startupFinished,
                     [&sinceStart]
                     {
                         DEBUG_LOG(Info, "Main window ready " +
                                             std::to_string(sinceStart.elapsed()) +
                                             " ms after start");
                     });
    const int exitCode = app->exec();
    DEBUG_LOG(Info, "Event loop ended with code " + std::to_string(exitCode));

    // Orderly end.
    GoogleBreakpad::shutdown();
    logWorker.reset();
    {
        boost::system::error_code ignored;
        fs::remove(logFileName, ignored);
    }
    mainWnd.reset();
    terminationSignals.reset();
    app.reset();
    return exitCode;
}
