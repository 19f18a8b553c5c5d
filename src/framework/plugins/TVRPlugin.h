#pragma once

#include "tivaro_export.h"

#include "core/AttributedString.h"

#include <QImage>
#include <QObject>
#include <QString>

#include <memory>
#include <optional>

class Bundle;
class QWidget;
class TVRSyncInfo;

// The base class of every plug-in: a bundle's principal class derives from it (or from
// TVRAppsPlugin / TVRUtilityPlugin) and overrides what it needs. The base loads the bundle's
// identity (name, version, icon) and gives every other operation a do-nothing default.
//
// A plug-in class is exported from its library with TIVARO_EXPORT_CLASS (core/ExportedClass.h).
// Plug-ins are made by PluginManager and shared as std::shared_ptr; the library stays loaded for
// the life of the process. prepareSync() runs on a worker thread, everything else on the main thread.
class TIVARO_EXPORT TVRPlugin : public QObject
{
    Q_OBJECT

public:
    TVRPlugin();
    ~TVRPlugin() override;

    // Makes a plug-in of the class `Class` for the bundle at `path`; null when initWithPath fails.
    template<class Class> static std::shared_ptr<Class> pluginWithPath(const QString &path)
    {
        auto plugin = std::make_shared<Class>();
        return plugin->initWithPath(path) ? plugin : nullptr;
    }

    // Reads the bundle's identity and calls initPlugin(). False for a missing path, a path that is no
    // bundle or a bundle without an info dictionary; a missing "pluginName" is no failure here.
    bool initWithPath(const QString &path);
    // The same for a bundle already open, as discovery has it: its Info.plist is not read again.
    bool initWithBundle(const std::shared_ptr<Bundle> &bundle);
    // A subclass's own set-up, called once at the end of initWithPath().
    virtual void initPlugin() {}

    // Counts the progress steps this plug-in will report during sync() and answers whether it needs
    // the internet. Must always write *needsInternet: the caller does not reset it between plug-ins.
    // Runs on a worker thread; syncInfo is null there.
    virtual qint32 prepareSync(bool *needsInternet, TVRSyncInfo *syncInfo);
    // Runs on the main thread and must end, once, by reporting completion to the sync driver. The
    // default does nothing and so never completes: a plug-in that does not override it stops the sync.
    virtual void sync(TVRSyncInfo *syncInfo);
    // The user cancelled; the plug-in is still expected to report completion.
    virtual void cancelSync() {}

    QString path() const { return m_pluginPath; }
    std::shared_ptr<Bundle> bundle() const { return m_pluginBundle; }
    // The "pluginName" of the Info.plist: the key the plug-in is known by everywhere. May be empty.
    QString name() const { return m_pluginName; }
    // "<name>.tif" in the bundle's resources, else "<name>.icns"; read from disk on first use. A null
    // image when there is no icon or it cannot be decoded.
    QImage image() const;
    // The file image() reads; empty when the bundle has no icon.
    QString imagePath() const { return m_pluginImgPath; }
    // The "pluginVersion" of the Info.plist when it is a string, else empty.
    QString version() const { return m_pluginVersion; }

    virtual bool hasSettings() const { return false; }
    // The plug-in's settings window, owned by the plug-in; none by default.
    virtual QObject *showSettingsWindow() { return nullptr; }
    virtual bool requiresInternetConnection() const { return false; }
    // The plug-in's view, owned by the plug-in; none by default.
    virtual QWidget *view() { return nullptr; }
    virtual AttributedString aboutInformation() const { return m_pluginAboutInfo; }

protected:
    // A subclass sets its about text here; the base class never fills it.
    AttributedString m_pluginAboutInfo;

private:
    QString m_pluginPath;
    std::shared_ptr<Bundle> m_pluginBundle;
    QString m_pluginImgPath;
    mutable std::optional<QImage> m_pluginImg;
    QString m_pluginName;
    QString m_pluginVersion;
};
