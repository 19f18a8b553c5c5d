#pragma once

#include "tivaro_export.h"

#include "TVRPlugin.h"

#include <QVariant>

// An application-style plug-in: one that also offers a window of its own.
class TIVARO_EXPORT TVRAppsPlugin : public TVRPlugin
{
    Q_OBJECT

public:
    // The plug-in's window, owned by the plug-in; none by default.
    virtual QWidget *window() { return nullptr; }
    virtual QString shortDescription() const { return QStringLiteral("No information provided."); }
    virtual void syncApp(const QVariant &) {}
};
