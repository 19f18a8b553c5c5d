#include "IPodOpener.h"

#include "Console.h"
#include "ExitCode.h"

#include "ipod/TVRiPodManager.h"

namespace IPodOpener {

TVRiPodPtr open(const QString &path, Console &console)
{
    const QString problem = TVRiPodManager::problemWithPath(path);
    if (!problem.isEmpty()) {
        console.fail(problem, ExitCode::Failure);
        return nullptr;
    }
    return TVRiPod::iPodAtPath(path);
}

TVRiPodPtr openWithText(const QString &path, const QString &input, Console &console, QString *text)
{
    TVRiPodPtr iPod = open(path, console);
    if (!iPod)
        return nullptr;
    const std::optional<QString> read = console.readTextInput(input);
    if (!read)
        return nullptr;
    *text = *read;
    return iPod;
}

QString commandLineOwner()
{
    return QStringLiteral("tivaro command line");
}

} // namespace IPodOpener
