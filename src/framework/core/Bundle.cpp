#include "Bundle.h"

#include "ExportedClass.h"
#include "Logging_p.h"
#include "PropertyList.h"

#include <QFile>
#include <QFileInfo>
#include <QLibrary>
#include <QRegularExpression>

#include <elf.h>

namespace {

const QString kResources = QStringLiteral("Resources");

// Only plain C identifiers can be part of an exported symbol's name; anything else is refused
// before it reaches the dynamic loader.
bool isClassName(const QString &name)
{
    static const QRegularExpression identifier(QStringLiteral("^[A-Za-z_][A-Za-z0-9_]*$"));
    return identifier.match(name).hasMatch();
}

QByteArray elfHeader(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.read(sizeof(Elf64_Ehdr)) : QByteArray();
}

// The dynamic loader answers a library for another processor with "No such file or directory";
// the ELF header tells the user what is really wrong.
QString elfProblem(const QString &path)
{
    const QByteArray library = elfHeader(path);
    if (library.size() < EI_NIDENT + 4 || !library.startsWith(ELFMAG))
        return QStringLiteral("%1 is not a shared library").arg(path);
    const QByteArray host = elfHeader(QStringLiteral("/proc/self/exe"));
    if (host.size() < EI_NIDENT + 4)
        return {};
    if (library.at(EI_CLASS) != host.at(EI_CLASS))
        return QStringLiteral("%1 is a %2-bit library; this system runs %3-bit programs")
            .arg(path, library.at(EI_CLASS) == ELFCLASS32 ? QStringLiteral("32") : QStringLiteral("64"),
                 host.at(EI_CLASS) == ELFCLASS32 ? QStringLiteral("32") : QStringLiteral("64"));
    // e_machine follows the identification bytes and e_type; both files share the host's byte order
    // only if they are for the same processor, so compare the raw bytes.
    if (library.mid(EI_NIDENT + 2, 2) != host.mid(EI_NIDENT + 2, 2) || library.at(EI_DATA) != host.at(EI_DATA))
        return QStringLiteral("%1 was built for another processor").arg(path);
    return {};
}

} // namespace

std::shared_ptr<Bundle> Bundle::bundleWithPath(const QString &path)
{
    if (path.isEmpty() || !QFileInfo(path).isDir())
        return nullptr;
    return std::shared_ptr<Bundle>(new Bundle(path));
}

Bundle::Bundle(const QString &path)
    : m_path(path)
{
    readInfoDictionary();
}

Bundle::~Bundle()
{
    // QLibrary's destructor leaves the library loaded, as objects made from it may outlive the bundle.
}

void Bundle::readInfoDictionary()
{
    const QString infoPath = m_path + QStringLiteral("/Info.plist");
    if (!QFileInfo::exists(infoPath)) {
        m_infoProblem = QStringLiteral("no Info.plist");
        return;
    }
    QString reason;
    const std::optional<QVariant> root = PropertyList::readFile(infoPath, &reason);
    if (!root) {
        m_infoProblem = QStringLiteral("Info.plist is not a property list (%1)").arg(reason);
        return;
    }
    if (root->metaType().id() != QMetaType::QVariantMap) {
        m_infoProblem = QStringLiteral("Info.plist holds no dictionary");
        return;
    }
    m_info = root->toMap();
}

QVariant Bundle::objectForInfoDictionaryKey(const QString &key) const
{
    return m_info ? m_info->value(key) : QVariant();
}

QString Bundle::bundleIdentifier() const
{
    const QVariant identifier = objectForInfoDictionaryKey(QStringLiteral("CFBundleIdentifier"));
    return identifier.metaType().id() == QMetaType::QString ? identifier.toString() : QString();
}

QString Bundle::resourcePath() const
{
    return m_path + QLatin1Char('/') + kResources;
}

QString Bundle::pathForResource(const QString &name, const QString &type) const
{
    if (name.isEmpty() || name.contains(QLatin1Char('/')))
        return {};
    const QString path =
        resourcePath() + QLatin1Char('/') + name + (type.isEmpty() ? QString() : QLatin1Char('.') + type);
    return QFileInfo(path).isFile() ? path : QString();
}

QString Bundle::executablePath() const
{
    const QVariant executable = objectForInfoDictionaryKey(QStringLiteral("CFBundleExecutable"));
    if (executable.metaType().id() != QMetaType::QString || executable.toString().isEmpty())
        return {};
    return m_path + QLatin1Char('/') + executable.toString();
}

bool Bundle::load()
{
    if (isLoaded())
        return true;
    const QString executable = executablePath();
    if (executable.isEmpty()) {
        m_loadError = QStringLiteral("Info.plist names no library (CFBundleExecutable)");
        return false;
    }
    if (!QFileInfo(executable).isFile()) {
        m_loadError = QStringLiteral("the library %1 is missing").arg(executable);
        return false;
    }
    m_library = std::make_unique<QLibrary>(executable);
    m_library->setLoadHints(QLibrary::ResolveAllSymbolsHint);
    if (!m_library->load()) {
        const QString problem = elfProblem(executable);
        m_loadError = problem.isEmpty() ? m_library->errorString() : problem;
        m_library.reset();
        qCWarning(lcPlugins) << "Cannot load" << executable << ':' << m_loadError;
        return false;
    }
    m_loadError.clear();
    return true;
}

bool Bundle::isLoaded() const
{
    return m_library && m_library->isLoaded();
}

const ExportedClass *Bundle::principalClass()
{
    const QVariant name = objectForInfoDictionaryKey(QStringLiteral("NSPrincipalClass"));
    if (name.metaType().id() != QMetaType::QString || name.toString().isEmpty()) {
        m_loadError = m_info ? QStringLiteral("Info.plist names no principal class (NSPrincipalClass)") : m_infoProblem;
        return nullptr;
    }
    const QString className = name.toString();
    if (!isClassName(className)) {
        m_loadError = QStringLiteral("the principal class name \"%1\" is not a C identifier").arg(className);
        return nullptr;
    }
    if (!load())
        return nullptr;
    using Describe = const ExportedClass *(*)();
    const auto describe = reinterpret_cast<Describe>(
        m_library->resolve(QStringLiteral("tivaro_class_%1").arg(className).toLatin1().constData()));
    if (!describe) {
        m_loadError = QStringLiteral("the library does not export the class %1").arg(className);
        return nullptr;
    }
    const ExportedClass *description = describe();
    if (!description || description->abi != ExportedClass::currentAbi || !description->create) {
        m_loadError = QStringLiteral("the class %1 was built for another version of the framework").arg(className);
        return nullptr;
    }
    return description;
}
