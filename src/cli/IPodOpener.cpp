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

} // namespace IPodOpener
