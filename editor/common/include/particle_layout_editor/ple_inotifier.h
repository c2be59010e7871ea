#pragma once

#include <functional>

#include <QString>

class QObject;

namespace Ple
{

// Colour of a message strip; any other value counts as neutral.
enum NotifyType
{
    NT_Neutral = 0,   // pale yellow
    NT_Positive = 1,  // pale green
    NT_Negative = 2,  // pale red
};

// How long a strip stays; any other value counts as short.
enum NotifyDuration
{
    ND_Short = 0,   // 2 s
    ND_Medium = 1,  // 4 s
    ND_Long = 2,    // 6 s
};

// Short messages for the user that need no answer.
class INotifier
{
public:
    virtual ~INotifier() = default;

    virtual void notify(NotifyType type, NotifyDuration duration, QString const& text) = 0;
    // `linkHandler` gets the link of an anchor of `text` that the user clicks,
    // as long as `linkContext` lives.
    virtual void notify(NotifyType type, NotifyDuration duration, QString const& text,
                        QObject* linkContext, std::function<void(QString)> linkHandler) = 0;
};

}  // namespace Ple
