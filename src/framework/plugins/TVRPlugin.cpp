#include "TVRPlugin.h"

#include "core/Bundle.h"
#include "core/Logging_p.h"

#include <QFileInfo>

TVRPlugin::TVRPlugin() = default;
TVRPlugin::~TVRPlugin() = default;

bool TVRPlugin::initWithPath(const QString &path)
{
    if (path.isEmpty() || !QFileInfo::exists(path))
        return false;
    return initWithBundle(Bundle::bundleWithPath(path));
}

bool TVRPlugin::initWithBundle(const std::shared_ptr<Bundle> &bundle)
{
    if (!bundle || !bundle->infoDictionary())
        return false;
    m_pluginPath = bundle->bundlePath();
    m_pluginBundle = bundle;

    const QVariant name = m_pluginBundle->objectForInfoDictionaryKey(QStringLiteral("pluginName"));
    if (name.metaType().id() == QMetaType::QString)
        m_pluginName = name.toString();

    // The TIFF wins over the ICNS; the file is only read when the image is first asked for.
    m_pluginImgPath = m_pluginBundle->pathForResource(m_pluginName, QStringLiteral("tif"));
    if (m_pluginImgPath.isEmpty())
        m_pluginImgPath = m_pluginBundle->pathForResource(m_pluginName, QStringLiteral("icns"));

    const QVariant version = m_pluginBundle->objectForInfoDictionaryKey(QStringLiteral("pluginVersion"));
    if (version.metaType().id() == QMetaType::QString)
        m_pluginVersion = version.toString();

    initPlugin();
    return true;
}

qint32 TVRPlugin::prepareSync(bool *needsInternet, TVRSyncInfo *)
{
    if (needsInternet)
        *needsInternet = false;
    return 0;
}

void TVRPlugin::sync(TVRSyncInfo *)
{}

QImage TVRPlugin::image() const
{
    if (!m_pluginImg) {
        m_pluginImg = m_pluginImgPath.isEmpty() ? QImage() : QImage(m_pluginImgPath);
        if (!m_pluginImgPath.isEmpty() && m_pluginImg->isNull())
            qCWarning(lcPlugins) << "Cannot read the icon" << m_pluginImgPath;
    }
    return *m_pluginImg;
}
