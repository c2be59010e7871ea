#include "qt_ext/qt_ext_signals.h"

#include <QtGlobal>

namespace QtExt
{

void checkedConnectFailed(const char* file, int line)
{
    qt_assert_x("QT_CHECKED_CONNECT", "CHECKED_CONNECT failed", file, line);
    // qt_assert_x ends the process through qFatal; make sure of it.
    qFatal("QT_CHECKED_CONNECT: CHECKED_CONNECT failed");
}

}  // namespace QtExt
