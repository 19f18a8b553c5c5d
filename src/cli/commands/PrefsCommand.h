#pragma once

#include "Command.h"

#include <memory>

class PreferenceStore;

// `tivaro prefs PLUGIN read|write|delete [KEY [VALUE]]`: one plug-in's own preferences, the plug-in
// named as `tivaro plugins` lists it or by its bundle identifier.
class PrefsCommand : public Command
{
public:
    QStringList words() const override { return {QStringLiteral("prefs")}; }
    QString summary() const override { return QStringLiteral("Read, write or delete a plug-in's preferences"); }
    int run(const QStringList &arguments, Console &console) override;

    // The plug-in's preferences; null, after saying why, when there is no such plug-in.
    static std::unique_ptr<PreferenceStore> storeFor(const QString &plugin, Console &console);
};
