#pragma once

#include "TVRPlugin.h"

#include <QVariant>

// An application-style plug-in: one that also offers a window of its own.
class TVRAppsPlugin : public TVRPlugin
{
    Q_OBJECT

public:
    // The plug-in's window, owned by the plug-in; none by default.
    virtual QWidget *window() { return nullptr; }
    virtual QString shortDescription() const { return QStringLiteral("No information provided."); }
    virtual void syncApp(const QVariant &) {}
};
