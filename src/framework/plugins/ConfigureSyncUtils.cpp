#include "ConfigureSyncUtils_p.h"

#include "core/UserDefaults.h"

#include <QVariantList>

namespace {

// As the preferences' own booleans are read: a "NO" typed as text is false.
bool isTrue(const QVariantMap &dictionary, const QString &key)
{
    return UserDefaults::boolValue(dictionary.value(key));
}

QStringList markedTools(const QVariantMap &choice)
{
    QStringList marked;
    for (const QVariant &entry : choice.value(QStringLiteral("tools")).toList()) {
        const QVariantMap tool = entry.toMap();
        if (isTrue(tool, QStringLiteral("sync")))
            marked.append(tool.value(QStringLiteral("tool")).toString());
    }
    return marked;
}

} // namespace

QStringList ConfigureSyncUtils::plugins(const QStringList &allPlugins, const QVariantMap &choice)
{
    if (choice.isEmpty() || isTrue(choice, QStringLiteral("syncAll")))
        return allPlugins;
    if (isTrue(choice, QStringLiteral("syncOnlySelected")))
        return markedTools(choice);
    if (isTrue(choice, QStringLiteral("syncAllButSelected"))) {
        const QStringList marked = markedTools(choice);
        QStringList remaining;
        for (const QString &name : allPlugins) {
            if (!marked.contains(name))
                remaining.append(name);
        }
        return remaining;
    }
    return {};
}
