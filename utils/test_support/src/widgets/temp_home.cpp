#include "test_support/temp_home.h"

#include <QDir>

namespace TestSupport
{

TempHome::TempHome() : home_(save("HOME")), configHome_(save("XDG_CONFIG_HOME"))
{
    if (!dir_.isValid())
        return;
    qputenv("HOME", QFile::encodeName(dir_.path()));
    QDir(dir_.path()).mkpath(".config");
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(dir_.filePath(".config")));
}

TempHome::~TempHome()
{
    restore(home_);
    restore(configHome_);
}

TempHome::SavedVariable TempHome::save(const char* name)
{
    return {name, qEnvironmentVariableIsSet(name), qgetenv(name)};
}

void TempHome::restore(const SavedVariable& saved)
{
    if (saved.wasSet)
        qputenv(saved.name, saved.value);
    else
        qunsetenv(saved.name);
}

}  // namespace TestSupport
