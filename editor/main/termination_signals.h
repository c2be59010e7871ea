#pragma once

#include <csignal>

#include <QObject>

class QSocketNotifier;

// Turns SIGINT and SIGTERM into an orderly QApplication::quit(), so that
// Ctrl+C in a terminal or a polite kill ends the editor like closing it does.
// The signal handler only writes a byte into a pipe; the event loop reads it.
// A second signal of the same kind takes its default action.
class TerminationSignals : public QObject
{
    Q_OBJECT

public:
    explicit TerminationSignals(QObject* parent = nullptr);
    ~TerminationSignals() override;

private:
    void onSignalByte();

    QSocketNotifier* notifier_ = nullptr;
    struct sigaction previousInt_
    {
    };
    struct sigaction previousTerm_
    {
    };
    bool installed_ = false;
};
