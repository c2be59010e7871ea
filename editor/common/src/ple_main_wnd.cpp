#include "particle_layout_editor/ple_main_wnd.h"

#include <QGuiApplication>
#include <QIcon>
#include <QLabel>
#include <QScreen>
#include <QSettings>
#include <QStatusBar>

#include "debug/debug_log.h"

namespace Ple {

namespace {
const QSize defaultSize(1280, 800);
}

MainWnd::MainWnd(QString version, std::string exportServer, QSettings& settings)
    : version_(std::move(version)), exportServer_(std::move(exportServer)), settings_(settings) {
  setObjectName("MainWnd");
  setWindowTitle(QString("ScintariParticles Editor %1").arg(version_));
  setWindowIcon(QIcon(":/editor/icons/scintari.svg"));

  // Not larger than the screen's free area, for small displays.
  QSize size = defaultSize;
  if (QScreen* screen = QGuiApplication::primaryScreen())
    size = size.boundedTo(screen->availableGeometry().size());
  resize(size);

  exportServerLabel_ = new QLabel(
      QString("Export server: %1").arg(QString::fromStdString(exportServer_)), this);
  exportServerLabel_->setObjectName("exportServerLabel");
  statusBar()->addPermanentWidget(exportServerLabel_);

  DEBUG_LOG(Info, "Main window created, version " + version_.toStdString() +
                      ", export server " + exportServer_);
}

MainWnd::~MainWnd() { DEBUG_LOG(Info, "Main window destroyed"); }

}  // namespace Ple
