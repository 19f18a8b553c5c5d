#include "TextFilesPlugin.h"

#include "TextFileFinder.h"

#include "core/ExportedClass.h"
#include "plugins/TVRPrefs.h"

#include <QDir>
#include <QFileInfo>

const QString TextFilesPlugin::folderKey = QStringLiteral("folder");

void TextFilesPlugin::initPlugin()
{
    m_pluginAboutInfo = AttributedString(QStringLiteral("Copies the text files of a folder onto the iPod as notes."));
}

qint32 TextFilesPlugin::prepareSync(bool *needsInternet, TVRSyncInfo *)
{
    *needsInternet = false;
    QString problem;
    const QString folder = textFolder(&problem);
    return folder.isNull() ? 0 : qint32(TextFileFinder::find(folder).size());
}

void TextFilesPlugin::sync(TVRSyncInfo *syncInfo)
{
    m_copier = std::make_unique<TextFileCopier>(syncInfo, this, name());
    QString problem;
    const QString folder = textFolder(&problem);
    if (folder.isNull())
        m_copier->fail(problem);
    else
        m_copier->start(folder, TextFileFinder::find(folder));
}

void TextFilesPlugin::cancelSync()
{
    if (m_copier)
        m_copier->cancel();
}

QString TextFilesPlugin::textFolder(QString *problem) const
{
    const std::unique_ptr<TVRPrefs> prefs = TVRPrefs::prefsWithBundle(bundle().get());
    QString folder = prefs ? prefs->objectForKey(folderKey).toString() : QString();
    if (folder.isEmpty()) {
        *problem = QStringLiteral("No folder of text files is chosen: set one with "
                                  "tivaro prefs \"%1\" write folder PATH")
                       .arg(name());
        return {};
    }
    if (folder == QLatin1String("~") || folder.startsWith(QLatin1String("~/")))
        folder.replace(0, 1, QDir::homePath());
    if (!QFileInfo(folder).isAbsolute()) {
        *problem = QStringLiteral("The folder of text files \"%1\" is not a full path.").arg(folder);
        return {};
    }
    if (!QFileInfo(folder).isDir()) {
        *problem = QStringLiteral("The folder of text files %1 does not exist.").arg(folder);
        return {};
    }
    return QDir::cleanPath(folder);
}

TIVARO_EXPORT_CLASS(TextFilesPlugin)
