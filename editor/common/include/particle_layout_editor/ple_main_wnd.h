#pragma once

#include <string>

#include <QMainWindow>
#include <QString>

class QSettings;
class QLabel;

namespace Ple {

// The editor's main window. It keeps the program's version string, the address
// of the export service and the settings of the program (owned by main).
class MainWnd : public QMainWindow {
  Q_OBJECT

 public:
  MainWnd(QString version, std::string exportServer, QSettings& settings);
  ~MainWnd() override;

  const QString& version() const { return version_; }
  const std::string& exportServer() const { return exportServer_; }
  QSettings& settings() const { return settings_; }

 private:
  QString version_;
  std::string exportServer_;
  QSettings& settings_;
  QLabel* exportServerLabel_ = nullptr;
};

}  // namespace Ple
