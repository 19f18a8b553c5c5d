#include "TVRiPod.h"

#include "NotePaginator.h"
#include "SysInfoParser.h"
#include "TVRContactsManager.h"
#include "TVRiPodManager.h"

#include "core/FileWriter.h"
#include "core/Logging.h"
#include "core/PathUtils.h"
#include "core/VolumeEjector.h"
#include "feeds/NSFileManagerXtras.h"
#include "feeds/NSStringXtra.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

#include <array>
#include <utility>

namespace {

const QString kSyncSerialKey = QStringLiteral("TVRSyncSN");
const QString kUseTVRFolderKey = QStringLiteral("notesUseTVRFolder");
// The longest file name Linux volumes (and FAT's long names) accept, in bytes.
constexpr qsizetype kMaximumFileNameBytes = 255;

// Prefixes of "boardHwSwInterfaceRev", tested in this order; the first match wins.
const std::array<std::pair<const char *, qint32>, 11> kFamilyPrefixes{{
    {"0x00010000", TVRiPod::kFamily1G2G},
    {"0x00020000", TVRiPod::kFamily1G2G},
    {"0x00030001", TVRiPod::kFamily3G},
    {"0x00040013", TVRiPod::kFamilyMini},
    {"0x00070002", TVRiPod::kFamilyMini},
    {"0x00050013", TVRiPod::kFamily4G},
    {"0x00050014", TVRiPod::kFamily4G},
    {"0x00060000", TVRiPod::kFamilyPhoto},
    {"0x00060004", TVRiPod::kFamilyPhoto},
    {"0x000C0005", TVRiPod::kFamilyNano},
    {"0x000B0005", TVRiPod::kFamily5G},
}};

// Regular files below `folder`, hidden folders included, symbolic links not followed.
template<typename Visitor> void forEachRegularFile(const QString &folder, Visitor visit)
{
    QDirIterator it(folder, QDir::Files | QDir::Hidden | QDir::System | QDir::NoSymLinks, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        it.next();
        const QFileInfo info = it.fileInfo();
        if (info.isFile() && !info.isSymLink())
            visit(info);
    }
}

void removeEntry(const QString &path)
{
    const QFileInfo info(path);
    if (info.isDir() && !info.isSymLink())
        QDir(path).removeRecursively();
    else if (info.exists() || info.isSymLink())
        QFile::remove(path);
}

void removeEntriesWithPrefix(const QString &folder, const QString &prefix)
{
    const QStringList names =
        QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    for (const QString &name : names) {
        if (name.startsWith(prefix, Qt::CaseSensitive))
            removeEntry(PathUtils::appendingPathComponent(folder, name));
    }
}

} // namespace

TVRiPodPtr TVRiPod::iPodAtPath(const QString &path)
{
    if (!TVRiPodManager::isiPodAtPath(path))
        return nullptr;
    return withPath(path);
}

TVRiPodPtr TVRiPod::connectediPod()
{
    const QList<TVRiPodPtr> iPods = TVRiPodManager::sharedManager().connectediPods();
    for (const TVRiPodPtr &iPod : iPods) {
        if (!iPod->isiPodShuffle() && iPod->syncsWithTivaro())
            return iPod;
    }
    return nullptr;
}

TVRiPodPtr TVRiPod::withPath(const QString &path)
{
    return std::make_shared<TVRiPod>(Passkey{}, path);
}

// UserDefaults may be made on any thread, so the defaults need no trip to the main thread.
TVRiPod::TVRiPod(Passkey, const QString &path)
    : m_iPodPath(path)
    , m_database(std::make_unique<TDBiPod>(path))
{
    m_defaults.addSuiteNamed(UserDefaults::applicationDomain());
    m_defaults.synchronize();
    getSysInfo();
}

void TVRiPod::getSysInfo()
{
    const std::optional<QVariantMap> information = deviceInformation();
    if (information) {
        m_serialNumber = information->value(QStringLiteral("pszSerialNumber")).toString();
        // Values keep what follows them up to the line feed; a file with Windows line ends keeps
        // its carriage returns, which is worth knowing when a serial number does not match.
        if (m_serialNumber.endsWith(QLatin1Char('\r')))
            qCInfo(lcIPod) << "SysInfo of" << m_iPodPath << "has Windows line ends; values keep the carriage return";
    }
    m_ipodFamily = familyFromDeviceInformation(information);
}

qint32 TVRiPod::familyFromDeviceInformation(const std::optional<QVariantMap> &information)
{
    if (!information || information->isEmpty())
        return kFamilyShuffle;
    const QString revision = information->value(QStringLiteral("boardHwSwInterfaceRev")).toString();
    for (const auto &[prefix, family] : kFamilyPrefixes) {
        if (revision.startsWith(QLatin1String(prefix), Qt::CaseSensitive))
            return family;
    }
    return kFamilyUnknown;
}

std::optional<QVariantMap> TVRiPod::deviceInformation() const
{
    if (m_iPodPath.isNull())
        return std::nullopt;
    const std::optional<QString> text = StringEncoding::readPlainTextFile(sysInfoPath());
    if (!text)
        return std::nullopt;
    return SysInfoParser::parse(*text, sysInfoPath());
}

QString TVRiPod::iPodFamilyDescription() const
{
    return iPodFamilyDescription(m_ipodFamily);
}

QString TVRiPod::iPodFamilyDescription(qint32 family)
{
    switch (family) {
    case kFamily1G2G:
        return QStringLiteral("iPod 1G/2G");
    case kFamily3G:
        return QStringLiteral("iPod 3G");
    case kFamilyMini:
        return QStringLiteral("iPod mini");
    case kFamily4G:
        return QStringLiteral("iPod 4G");
    case kFamilyPhoto:
        return QStringLiteral("iPod photo/color");
    case kFamily5G:
        return QStringLiteral("iPod 5G");
    case kFamilyNano:
        return QStringLiteral("iPod nano");
    case kFamilyShuffle:
        return QStringLiteral("iPod shuffle");
    default:
        return QStringLiteral("Unknown");
    }
}

// The user's name from DeviceInfo; without one, the mount point's own name, which desktops set
// from the volume label.
QString TVRiPod::name() const
{
    const QString deviceName = m_database->name();
    return deviceName.isEmpty() ? PathUtils::lastPathComponent(m_iPodPath) : deviceName;
}

QString TVRiPod::description() const
{
    return QStringLiteral("%1 = \"%2\"").arg(name(), iPodFamilyDescription());
}

bool TVRiPod::isEqualToiPod(const TVRiPod *other) const
{
    return other && other->path() == path();
}

int TVRiPod::compare(const TVRiPod &other) const
{
    return name().compare(other.name(), Qt::CaseInsensitive);
}

bool TVRiPod::isiPodShuffle() const
{
    return m_ipodFamily == kFamilyShuffle;
}

bool TVRiPod::hasDisplay() const
{
    return m_ipodFamily != kFamilyShuffle;
}

bool TVRiPod::hasColorDisplay() const
{
    return m_ipodFamily == kFamilyPhoto || m_ipodFamily == kFamily5G || m_ipodFamily == kFamilyNano;
}

bool TVRiPod::hasPhotoAlbum() const
{
    return hasColorDisplay();
}

bool TVRiPod::hasNotes() const
{
    return m_ipodFamily != kFamily1G2G && m_ipodFamily != kFamilyShuffle;
}

bool TVRiPod::useNotes() const
{
    return hasNotes();
}

bool TVRiPod::hasTVOut() const
{
    return m_ipodFamily == kFamilyPhoto || m_ipodFamily == kFamily5G;
}

bool TVRiPod::hasVideoPlayback() const
{
    return m_ipodFamily == kFamily5G;
}

QString TVRiPod::notesFolder() const
{
    return PathUtils::appendingPathComponent(m_iPodPath, QStringLiteral("Notes"));
}

QString TVRiPod::contactsFolder() const
{
    return PathUtils::appendingPathComponent(m_iPodPath, QStringLiteral("Contacts"));
}

QString TVRiPod::calendarsFolder() const
{
    return PathUtils::appendingPathComponent(m_iPodPath, QStringLiteral("Calendars"));
}

QString TVRiPod::realTivaroFolder() const
{
    m_defaults.synchronize();
    if (m_defaults.boolForKey(kUseTVRFolderKey))
        return PathUtils::appendingPathComponent(notesFolder(), QStringLiteral("Velmora"));
    return notesFolder();
}

QString TVRiPod::sysInfoPath() const
{
    return PathUtils::appendingPathComponent(m_iPodPath, QStringLiteral("iPod_Control/Device/SysInfo"));
}

QString TVRiPod::pagesOverflowDirectory()
{
    return NotePaginator::pagesOverflowDirectory();
}

int TVRiPod::numberOfNotes() const
{
    if (m_iPodPath.isNull() || !QFileInfo(notesFolder()).isDir())
        return 0;
    int count = 0;
    forEachRegularFile(notesFolder(), [&count](const QFileInfo &file) {
        if (!file.fileName().startsWith(QLatin1Char('.')))
            ++count;
    });
    return count;
}

// Counts the pieces that "begin:vcard" cuts each file into, not the cards: a file with one card adds 2.
int TVRiPod::numberOfContacts() const
{
    if (!QFileInfo::exists(contactsFolder()))
        return 0;
    int count = 0;
    const QString marker = QStringLiteral("begin:vcard");
    forEachRegularFile(contactsFolder(), [&](const QFileInfo &file) {
        const std::optional<QString> text = StringEncoding::readPlainTextFile(file.filePath());
        if (!text)
            return;
        const qsizetype cards = text->toLower().count(marker);
        if (cards > 0)
            count += int(cards + 1);
    });
    return count;
}

bool TVRiPod::syncsWithTivaro() const
{
    m_defaults.synchronize();
    const QVariant chosen = m_defaults.objectForKey(kSyncSerialKey);
    if (!chosen.isValid())
        return true;
    if (chosen.metaType().id() != QMetaType::QString || m_serialNumber.isNull() || m_serialNumber != chosen.toString())
        return false;
    return !chosen.toString().isEmpty();
}

void TVRiPod::removeNotesFoldersNamed(const QString &name) const
{
    // A name that is empty or climbs out of the Notes folder would remove far more than old notes.
    if (name.isEmpty() || name == QLatin1String(".") || name == QLatin1String("..") ||
        name.contains(QLatin1Char('/'))) {
        qCWarning(lcIPod) << "Refusing to remove notes folder named" << name;
        return;
    }
    removeEntry(PathUtils::appendingPathComponent(notesFolder(), name));
    removeEntry(PathUtils::appendingPathComponent(notesFolder(), QStringLiteral("Tivaro/") + name));
}

void TVRiPod::removeContactsWithPrefix(const QString &prefix) const
{
    removeEntriesWithPrefix(contactsFolder(), prefix);
}

void TVRiPod::removeCalendarsWithPrefix(const QString &prefix) const
{
    removeEntriesWithPrefix(calendarsFolder(), prefix);
}

std::shared_ptr<TVRContactsManager> TVRiPod::contactsManagerNamed(const QString &name)
{
    return TVRContactsManager::managerForiPod(shared_from_this(), name);
}

bool TVRiPod::eject()
{
    VolumeEjector ejector;
    if (ejector.unmountAndEject(m_iPodPath))
        return true;
    return failWith(ejector.errorString());
}

bool TVRiPod::writeNoteToiPod(const QString &text, const QString &name, const QString &localPath, unsigned encoding)
{
    const int limit =
        encoding == StringEncoding::Unicode ? NotePaginator::kUnicodePageLimit : NotePaginator::kPageLimit;
    const QString noteName = NSStringXtra::correctFilename(name);
    m_lastError.clear();
    m_lastNotePageCount = 0;
    m_lastNoteDroppedBytes = 0;
    // Said here in words the user understands; a later page's longer name fails in the write below.
    if (QFile::encodeName(fileNameForPage(0, noteName)).size() > kMaximumFileNameBytes)
        return failWith(QStringLiteral("The note name \"%1\" is too long for a file on the iPod (at most %2 bytes).")
                            .arg(name)
                            .arg(kMaximumFileNameBytes));

    // An iPod unplugged mid-sync leaves its mount point behind, or nothing: folders built from there
    // would fill the computer's own disk instead.
    if (!m_iPodPath.isEmpty() && !TVRiPodManager::isiPodAtPath(m_iPodPath))
        return failWith(QStringLiteral("The iPod is no longer at %1.").arg(m_iPodPath));
    // Notes stay below the notes folder, whatever folder a plug-in asks for.
    if (localPath.split(QLatin1Char('/')).contains(QStringLiteral("..")))
        return failWith(QStringLiteral("The folder \"%1\" is outside the notes folder.").arg(localPath));
    const QString folder = PathUtils::appendingPathComponent(realTivaroFolder(), localPath);
    const QString overflowFolder = PathUtils::appendingPathComponent(folder, pagesOverflowDirectory());
    // Paths are put together as bytes: for a chain of a thousand pages, string work per page would
    // cost as much as writing the page.
    const QByteArray folderBytes = QFile::encodeName(folder) + '/';
    const QByteArray overflowBytes = QFile::encodeName(overflowFolder) + '/';
    const QByteArray nameBytes = noteName.toUtf8();
    int builtFolders = 0; // bit 0: the note's folder, bit 1: the overflow folder
    NotePaginator paginator(limit, noteName);
    const QByteArray utf8 = text.toUtf8();
    const bool written = paginator.paginate(utf8, [&](const NotePage &page) {
        const int folderBit = page.index == 0 ? 1 : 2;
        if (!(builtFolders & folderBit) && NSFileManagerXtras::buildPath(page.index == 0 ? folder : overflowFolder))
            builtFolders |= folderBit;
        const QByteArray pagePath = (page.index == 0 ? folderBytes : overflowBytes) +
                                    NotePaginator::fileNameBytesForPage(page.index, nameBytes);
        QString reason;
        if (FileWriter::writeAtomicallyToEncodedPath(pagePath, page.bytes, FileWriter::Cached, &reason)) {
            ++m_lastNotePageCount;
            return true;
        }
        failWith(QStringLiteral("Cannot write %1: %2").arg(QFile::decodeName(pagePath), reason));
        return false;
    });
    if (paginator.droppedFrom() >= 0)
        m_lastNoteDroppedBytes = utf8.size() - paginator.droppedFrom();
    if (!written && m_lastError.isEmpty())
        failWith(
            QStringLiteral("The note \"%1\" cannot be paginated: its name leaves no room for its text.").arg(name));
    return written;
}

bool TVRiPod::writeString(const QString &string, const QString &path, unsigned encoding)
{
    m_lastError.clear();
    const std::optional<QByteArray> bytes = StringEncoding::encode(string, encoding);
    if (!bytes)
        return failWith(QStringLiteral("The text for %1 cannot be written in the requested encoding.").arg(path));
    QString reason;
    if (!FileWriter::writeAtomically(path, *bytes, FileWriter::Cached, &reason))
        return failWith(QStringLiteral("Cannot write %1: %2").arg(path, reason));
    return true;
}

QString TVRiPod::pageNameAtIndex(int index, const QString &initialName)
{
    return NotePaginator::pageNameAtIndex(index, initialName);
}

QString TVRiPod::fileNameForPage(int index, const QString &initialName)
{
    return NotePaginator::fileNameForPage(index, initialName);
}

QString TVRiPod::titleForPage(int index, const QString &initialName)
{
    return NotePaginator::titleForPage(index, initialName);
}

QString TVRiPod::linkForPageAtIndex(int index, int placement, const QString &noteName)
{
    return NotePaginator::linkForPageAtIndex(index, placement, noteName);
}

bool TVRiPod::failWith(const QString &message)
{
    m_lastError = message;
    qCWarning(lcIPod).noquote() << message;
    return false;
}
