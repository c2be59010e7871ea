#pragma once

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QString>
#include <QStringList>

namespace TestFiles {

inline QByteArray read(const QString& path) {
  QFile file(path);
  if (!file.open(QIODevice::ReadOnly)) return {};
  return file.readAll();
}

inline bool write(const QString& path, const QByteArray& data) {
  QFile file(path);
  if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) return false;
  return file.write(data) == data.size();
}

// Log files of the editor in a folder.
inline QStringList editorLogs(const QString& folder) {
  return QDir(folder).entryList({"editor.*.log"}, QDir::Files);
}

}  // namespace TestFiles
