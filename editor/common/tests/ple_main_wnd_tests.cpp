#include <QDir>
#include <QGuiApplication>
#include <QLabel>
#include <QScreen>
#include <QSettings>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include "particle_layout_editor/ple_main_wnd.h"

TEST(MainWnd, KeepsItsArgumentsAndShowsTheExportServer) {
  QTemporaryDir dir;
  QSettings settings(dir.filePath("config.ini"), QSettings::IniFormat);
  Ple::MainWnd wnd("9.9.9-test", "https://export.test.example", settings);
  EXPECT_EQ(wnd.version(), "9.9.9-test");
  EXPECT_EQ(wnd.exportServer(), "https://export.test.example");
  EXPECT_EQ(&wnd.settings(), &settings);
  EXPECT_TRUE(wnd.windowTitle().contains("9.9.9-test"));
  auto* label = wnd.findChild<QLabel*>("exportServerLabel");
  ASSERT_NE(label, nullptr);
  EXPECT_TRUE(label->text().contains("https://export.test.example"));
}

TEST(MainWnd, DefaultSizeFitsTheScreen) {
  QTemporaryDir dir;
  QSettings settings(dir.filePath("config.ini"), QSettings::IniFormat);
  Ple::MainWnd wnd("v", "s", settings);
  const QSize available = QGuiApplication::primaryScreen()->availableGeometry().size();
  EXPECT_EQ(wnd.size(), QSize(1280, 800).boundedTo(available));
}
