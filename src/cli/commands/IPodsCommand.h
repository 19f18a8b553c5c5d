#pragma once

#include "Command.h"

// `tivaro ipods`: the connected iPods, and the volumes that look like iPods but cannot be synced.
class IPodsCommand : public Command
{
public:
    QStringList words() const override { return {QStringLiteral("ipods")}; }
    QString summary() const override { return QStringLiteral("List the connected iPods"); }
    int run(const QStringList &arguments, Console &console) override;
};
