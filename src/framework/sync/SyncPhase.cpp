#include "SyncPhase.h"

#include "core/Logging_p.h"

bool SyncPhase::allows(Phase from, Phase to)
{
    switch (from) {
    case Phase::Idle:
        return to == Phase::Preparing;
    case Phase::Preparing:
        return to == Phase::CheckingInternet || to == Phase::SyncingPlugins;
    case Phase::CheckingInternet:
        return to == Phase::SyncingPlugins;
    case Phase::SyncingPlugins:
        return to == Phase::Finishing;
    case Phase::Finishing:
        return to == Phase::WaitingToEject || to == Phase::Idle;
    case Phase::WaitingToEject:
        return to == Phase::Ejecting || to == Phase::Idle;
    case Phase::Ejecting:
        return to == Phase::Idle;
    }
    return false;
}

bool SyncPhase::moveTo(Phase next)
{
    if (!allows(m_current, next)) {
        qCWarning(lcSync) << "A sync cannot move from" << m_current << "to" << next;
        return false;
    }
    m_current = next;
    return true;
}
