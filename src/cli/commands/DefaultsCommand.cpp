#include "DefaultsCommand.h"

#include "preferences/ApplicationPreferenceStore.h"
#include "preferences/DefaultsTool.h"

int DefaultsCommand::run(const QStringList &arguments, Console &console)
{
    ApplicationPreferenceStore store;
    return DefaultsTool(QStringLiteral("tivaro defaults"), store, console).run(arguments);
}
