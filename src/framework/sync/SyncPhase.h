#pragma once

#include "tivaro_export.h"

#include <QObject>

// Where a sync driver stands, as one value, and the moves between phases it may make:
//
//   Idle -> Preparing -> [CheckingInternet ->] SyncingPlugins -> Finishing -> Idle
//                                                                Finishing -> WaitingToEject -> Ejecting -> Idle
//                                                                             WaitingToEject -> Idle (eject cancelled)
//
// A cancelled sync takes the same road: it still finishes, saves its log and ejects when asked.
// For Tivaro's programs; plug-ins have no use for it.
class TIVARO_EXPORT SyncPhase
{
    Q_GADGET

public:
    enum class Phase {
        Idle,
        // Choosing the plug-ins and letting them count their work on a worker thread.
        Preparing,
        CheckingInternet,
        // The plug-ins run one after the other.
        SyncingPlugins,
        // Saving the record and the log, telling the delegate.
        Finishing,
        // The sync is over, the iPod still locked: the eject comes two seconds later, or is cancelled.
        WaitingToEject,
        // The eject runs on a thread of its own; it cannot be called back.
        Ejecting,
    };
    Q_ENUM(Phase)

    Phase current() const { return m_current; }
    static bool allows(Phase from, Phase to);
    // Moves to `next` when the table allows it. Any other move is a fault of the driver: the phase stays,
    // a warning names both phases, and the result is false.
    bool moveTo(Phase next);

private:
    Phase m_current = Phase::Idle;
};
