#include "PluginTree.h"

#include "core/Paths.h"
#include "core/PropertyList.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

namespace {

bool copyTree(const QString &from, const QString &to)
{
    if (!QDir().mkpath(to))
        return false;
    QDirIterator it(from, QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString source = it.next();
        const QString target = to + source.mid(from.size());
        if (it.fileInfo().isDir() ? !QDir().mkpath(target) : !QFile::copy(source, target))
            return false;
    }
    return true;
}

} // namespace

PluginTree::PluginTree()
{
    QDir().mkpath(builtInFolder());
    QDir().mkpath(outerFolder());
}

QString PluginTree::prefix() const
{
    return m_root.path() + QStringLiteral("/outer/lib/tivaro/helper");
}

QString PluginTree::builtInFolder() const
{
    return prefix() + QStringLiteral("/lib/tivaro/PlugIns");
}

QString PluginTree::outerFolder() const
{
    return m_root.path() + QStringLiteral("/outer/lib/tivaro/PlugIns");
}

QString PluginTree::prefixWithLinkedOuterLib() const
{
    const QString outer = m_root.path() + QStringLiteral("/merged");
    const QString prefix = outer + QStringLiteral("/a/b/c");
    QDir().mkpath(prefix + QStringLiteral("/lib/tivaro/PlugIns"));
    QFile::link(QStringLiteral("a/b/c/lib"), outer + QStringLiteral("/lib"));
    return prefix;
}

QString PluginTree::userFolder(const QString &name) const
{
    const QString folder = Paths::applicationSupportFolder() + QLatin1Char('/') + name;
    QDir().mkpath(folder);
    return folder;
}

QString PluginTree::install(const QString &fixture, const QString &folder, const QString &as)
{
    const QString target = folder + QLatin1Char('/') + (as.isEmpty() ? fixture : as);
    const QString source = QStringLiteral(TIVARO_TEST_PLUGINS_DIR) + QLatin1Char('/') + fixture;
    return QFileInfo::exists(source) && copyTree(source, target) ? target : QString();
}

bool PluginTree::setInfo(const QString &bundle, const QString &key, const QVariant &value)
{
    const QString path = bundle + QStringLiteral("/Info.plist");
    QVariantMap info = PropertyList::readFile(path).value_or(QVariant()).toMap();
    info.insert(key, value);
    return PropertyList::writeFile(path, info);
}
