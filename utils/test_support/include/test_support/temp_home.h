#pragma once

#include <QByteArray>
#include <QString>
#include <QTemporaryDir>

namespace TestSupport
{

// A fresh, empty home folder for the lifetime of the object: HOME (and XDG_CONFIG_HOME,
// which Qt's own dialogs write to) point into it, and are put back when it goes.
class TempHome
{
public:
    TempHome();
    ~TempHome();
    TempHome(const TempHome&) = delete;
    TempHome& operator=(const TempHome&) = delete;

    bool isValid() const { return dir_.isValid(); }
    QString path() const { return dir_.path(); }
    QString filePath(const QString& relative) const { return dir_.filePath(relative); }

private:
    struct SavedVariable
    {
        const char* name;
        bool wasSet;
        QByteArray value;
    };
    static SavedVariable save(const char* name);
    static void restore(const SavedVariable& saved);

    QTemporaryDir dir_;
    SavedVariable home_;
    SavedVariable configHome_;
};

}  // namespace TestSupport
