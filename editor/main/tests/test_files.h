#pragma once

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QString>
#include <QStringList>

namespace TestFiles
{

inline QByteArray read(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return file.readAll();
}

inline bool write(const QString& path, const QByteArray& data)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    return file.write(data) == data.size();
}

// Log files of the editor in a folder.
inline QStringList editorLogs(const QString& folder)
{
    return QDir(folder).entryList({"editor.*.log"}, QDir::Files);
}

// Puts a stand-in for the upload tool into `folder`: it writes its arguments,
// one per line, into upload_args.txt beside itself and exits with
// $FAKE_UPLOAD_EXIT (0 when unset).
inline bool writeFakeUploadTool(const QString& folder)
{
    const QString tool = QDir(folder).filePath("minidump_upload");
    if (!write(tool, "#!/bin/sh\n"
                     "printf '%s\\n' \"$@\" > \"$(dirname \"$0\")/upload_args.txt\"\n"
                     "exit \"${FAKE_UPLOAD_EXIT:-0}\"\n"))
        return false;
    return QFile::setPermissions(tool, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

// The arguments the stand-in upload tool in `folder` was last started with.
inline QStringList fakeUploadArguments(const QString& folder)
{
    return QString::fromUtf8(read(QDir(folder).filePath("upload_args.txt")))
        .split('\n', Qt::SkipEmptyParts);
}

}  // namespace TestFiles
