#include "termination_signals.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include <QCoreApplication>
#include <QSocketNotifier>

#include "debug/debug_log.h"

namespace
{

int pipeFds[2] = {-1, -1};

void onTerminationSignal(int signal)
{
    const int savedErrno = errno;
    const unsigned char byte = static_cast<unsigned char>(signal);
    [[maybe_unused]] ssize_t n = ::write(pipeFds[1], &byte, 1);
    errno = savedErrno;
}

}  // namespace

TerminationSignals::TerminationSignals(QObject* parent) : QObject(parent)
{
    if (::pipe2(pipeFds, O_CLOEXEC | O_NONBLOCK) != 0)
    {
        DEBUG_LOG(Warning, std::string("Can't make the signal pipe: ") + std::strerror(errno));
        return;
    }
    notifier_ = new QSocketNotifier(pipeFds[0], QSocketNotifier::Read, this);
    connect(notifier_, &QSocketNotifier::activated, this, &TerminationSignals::onSignalByte);

    struct sigaction action
    {
    };
    action.sa_handler = &onTerminationSignal;
    action.sa_flags = SA_RESTART | SA_RESETHAND;
    sigemptyset(&action.sa_mask);
    ::sigaction(SIGINT, &action, &previousInt_);
    ::sigaction(SIGTERM, &action, &previousTerm_);
    installed_ = true;
}

TerminationSignals::~TerminationSignals()
{
    if (!installed_)
        return;
    ::sigaction(SIGINT, &previousInt_, nullptr);
    ::sigaction(SIGTERM, &previousTerm_, nullptr);
    delete notifier_;
    ::close(pipeFds[0]);
    ::close(pipeFds[1]);
    pipeFds[0] = pipeFds[1] = -1;
}

void TerminationSignals::onSignalByte()
{
    unsigned char byte = 0;
    while (::read(pipeFds[0], &byte, 1) == 1)
        DEBUG_LOG(Info, "Signal " + std::to_string(byte) + " received, quitting");
    QCoreApplication::quit();
}
