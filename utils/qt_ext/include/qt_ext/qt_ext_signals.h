#pragma once

#include <utility>

#include <QObject>

namespace QtExt
{

// Reports an invalid connection with a Qt assertion that stays on in every
// build (unlike Q_ASSERT_X).
[[noreturn]] void checkedConnectFailed(const char* file, int line);

// QObject::connect that stops the program when the connection can't be made,
// so that a misspelt signal or slot signature shows at the first run.
template <class... Args>
QMetaObject::Connection checkedConnect(const char* file, int line, Args&&... args)
{
    QMetaObject::Connection connection = QObject::connect(std::forward<Args>(args)...);
    if (!connection)
        checkedConnectFailed(file, line);
    return connection;
}

}  // namespace QtExt

// QT_CHECKED_CONNECT(sender, signal, receiver, slot[, type]): any form of
// QObject::connect (SIGNAL/SLOT texts or member pointers); yields the connection.
#define QT_CHECKED_CONNECT(...) ::QtExt::checkedConnect(__FILE__, __LINE__, __VA_ARGS__)
