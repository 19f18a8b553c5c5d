#include "TVRiPod.h"

#include "IPodOutput_p.h"
#include "IPodPathCheck_p.h"
#include "NotePaginator_p.h"
#include "SysInfoError.h"
#include "SysInfoParser_p.h"

#include "core/FileWriter_p.h"
#include "core/Logging_p.h"
#include "core/PathUtils.h"
#include "core/VolumeEjector_p.h"
#include "core/VolumeRoot_p.h"
#include "ipoddb/TDBiPod_p.h"
#include "text/NSStringXtra.h"

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
// Files the iPod keeps about itself are small; anything larger (or a device) is not read.
constexpr qint64 kMaximumSysInfoBytes = 64 * 1024;
// A contacts file larger than this is no address book the iPod could show; it is not counted.
constexpr qint64 kMaximumContactsFileBytes = 16 * 1024 * 1024;

int digits(qint64 number)
{
    return int(QByteArray::number(number).size());
}

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

} // namespace

TVRiPodPtr TVRiPod::iPodAtPath(const QString &path)
{
    if (!IPodPathCheck::isiPodAtPath(path))
        return nullptr;
    return withPath(path);
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
    const Result<std::optional<QVariantMap>> read = deviceInformation();
    // Construction has no result to carry the error: a SysInfo that cannot be read stops it.
    if (!read)
        throw SysInfoError(read.errorString());
    const std::optional<QVariantMap> &information = *read;
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

Result<std::optional<QVariantMap>> TVRiPod::deviceInformation() const
{
    if (m_iPodPath.isNull())
        return std::optional<QVariantMap>();
    QString problem;
    const std::unique_ptr<VolumeRoot> volume = VolumeRoot::open(m_iPodPath, &problem);
    const QByteArray relative = QByteArrayLiteral("iPod_Control/Device/SysInfo");
    if (!volume || volume->entry(relative).kind == VolumeRoot::Kind::Missing)
        return std::optional<QVariantMap>();
    // A pipe would hang the read and a link to a device would never end it: read only a small regular file.
    const std::optional<QByteArray> bytes = volume->readFile(relative, kMaximumSysInfoBytes, &problem);
    if (!bytes)
        return Error{Error::Io, QStringLiteral("%1: %2").arg(sysInfoPath(), problem)};
    const std::optional<QString> text = StringEncoding::decodePlainText(*bytes);
    if (!text)
        return std::optional<QVariantMap>();
    const Result<QVariantMap> information = SysInfoParser::parse(*text, sysInfoPath());
    if (!information)
        return information.error();
    return std::optional<QVariantMap>(*information);
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
    const std::unique_ptr<VolumeRoot> volume = VolumeRoot::open(m_iPodPath);
    forEachRegularFile(contactsFolder(), [&](const QFileInfo &file) {
        const std::optional<QByteArray> relative = volume ? volume->relativePath(file.filePath()) : std::nullopt;
        const std::optional<QByteArray> bytes =
            relative ? volume->readFile(*relative, kMaximumContactsFileBytes) : std::nullopt;
        const std::optional<QString> text = bytes ? StringEncoding::decodePlainText(*bytes) : std::nullopt;
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

std::unique_ptr<VolumeRoot> TVRiPod::openVolume(QString *error) const
{
    const QString gone = QStringLiteral("The iPod is no longer at %1.").arg(m_iPodPath);
    if (m_iPodPath.isEmpty() || !IPodPathCheck::isiPodAtPath(m_iPodPath)) {
        *error = gone;
        return nullptr;
    }
    std::unique_ptr<VolumeRoot> volume = VolumeRoot::open(m_iPodPath, error);
    // Checked through the open root: should the iPod go between the two looks, this is its empty mount point.
    if (volume && volume->entry(QByteArrayLiteral("iPod_Control")).kind != VolumeRoot::Kind::Folder) {
        *error = gone;
        return nullptr;
    }
    return volume;
}

IPodManifest &TVRiPod::manifest(const VolumeRoot &volume) const
{
    m_manifest.load(volume);
    return m_manifest;
}

template<typename Work> RemovalReport TVRiPod::withOutput(Work work) const
{
    QString problem;
    const std::unique_ptr<VolumeRoot> volume = openVolume(&problem);
    if (!volume) {
        qCWarning(lcIPod).noquote() << "Nothing removed:" << problem;
        return {};
    }
    IPodOutput output(*volume, manifest(*volume));
    return work(*volume, output);
}

QByteArray TVRiPod::pathOnVolume(const QString &path) const
{
    const QString root = QDir::cleanPath(m_iPodPath);
    const QString cleaned = QDir::cleanPath(path);
    const QString prefix = root.endsWith(QLatin1Char('/')) ? root : root + QLatin1Char('/');
    return cleaned.startsWith(prefix) ? QFile::encodeName(cleaned.mid(prefix.size())) : QByteArray();
}

RemovalReport TVRiPod::removeNotesFoldersNamed(const QString &name) const
{
    // A name that is empty or climbs out of the Notes folder would remove far more than old notes.
    if (name.isEmpty() || name == QLatin1String(".") || name == QLatin1String("..") ||
        name.contains(QLatin1Char('/'))) {
        qCWarning(lcIPod) << "Refusing to remove notes folder named" << name;
        return {};
    }
    const QByteArray encoded = QFile::encodeName(name);
    return withOutput([&encoded](const VolumeRoot &, IPodOutput &output) {
        RemovalReport report = output.removeBelow("Notes/" + encoded);
        report.add(output.removeBelow("Notes/Tivaro/" + encoded));
        return report;
    });
}

namespace {

RemovalReport removeEntriesWithPrefix(const VolumeRoot &volume, IPodOutput &output, const QByteArray &folder,
                                      const QString &prefix)
{
    RemovalReport report;
    const QByteArray encodedPrefix = QFile::encodeName(prefix);
    for (const VolumeRoot::Entry &entry : volume.list(folder)) {
        if (entry.name.startsWith(encodedPrefix))
            report.add(output.removeBelow(folder + '/' + entry.name));
    }
    return report;
}

} // namespace

RemovalReport TVRiPod::removeContactsWithPrefix(const QString &prefix) const
{
    return withOutput([&prefix](const VolumeRoot &volume, IPodOutput &output) {
        return removeEntriesWithPrefix(volume, output, QByteArrayLiteral("Contacts"), prefix);
    });
}

RemovalReport TVRiPod::removeCalendarsWithPrefix(const QString &prefix) const
{
    return withOutput([&prefix](const VolumeRoot &volume, IPodOutput &output) {
        return removeEntriesWithPrefix(volume, output, QByteArrayLiteral("Calendars"), prefix);
    });
}

RemovalReport TVRiPod::removeOwnFilesBelow(const QString &path) const
{
    const QByteArray relative = pathOnVolume(path);
    if (relative.isEmpty()) {
        qCWarning(lcIPod) << "Refusing to remove" << path << "which is not below the iPod" << m_iPodPath;
        return {};
    }
    return withOutput([&relative](const VolumeRoot &, IPodOutput &output) { return output.removeBelow(relative); });
}

RemovalReport TVRiPod::removeOwnFiles(const QList<QByteArray> &paths) const
{
    if (paths.isEmpty())
        return {};
    return withOutput([&paths](const VolumeRoot &, IPodOutput &output) { return output.removeFiles(paths); });
}

QHash<QByteArray, IPodManifest::Entry> TVRiPod::ownFiles() const
{
    QString problem;
    if (const std::unique_ptr<VolumeRoot> volume = openVolume(&problem))
        return manifest(*volume).entries();
    return m_manifest.entries();
}

QString TVRiPod::prepareOwnFilesRecord()
{
    QString problem;
    const std::unique_ptr<VolumeRoot> volume = openVolume(&problem);
    if (!volume)
        return problem;
    manifest(*volume);
    if (m_recordReportTaken)
        return QString();
    m_recordReportTaken = true;
    return m_manifest.loadReport();
}

bool TVRiPod::saveOwnFilesRecord(QString *error) const
{
    if (!m_manifest.hasUnsavedChanges())
        return true;
    QString problem;
    const std::unique_ptr<VolumeRoot> volume = openVolume(&problem);
    if (volume && m_manifest.save(*volume, &problem))
        return true;
    if (error)
        *error = problem;
    qCWarning(lcIPod).noquote() << "Tivaro's record of its files on" << m_iPodPath << "was not saved:" << problem;
    return false;
}

TVRiPod::~TVRiPod()
{
    saveOwnFilesRecord();
}

std::optional<QList<TDBTrackPtr>> TVRiPod::tracks()
{
    return m_database->tracks();
}

std::optional<QList<TDBPlaylistPtr>> TVRiPod::playlists()
{
    return m_database->playlists();
}

bool TVRiPod::eject()
{
    QString error;
    return ejectVolume(&error) || failWith(error);
}

bool TVRiPod::ejectVolume(QString *error) const
{
    VolumeEjector ejector;
    if (ejector.unmountAndEject(m_iPodPath))
        return true;
    *error = ejector.errorString();
    return false;
}

std::optional<QByteArray> TVRiPod::noteFolder(const QString &localPath, QString *error) const
{
    // Notes stay below the notes folder, whatever folder a plug-in asks for.
    const QStringList parts = localPath.split(QLatin1Char('/'));
    if (parts.contains(QStringLiteral("..")) || parts.contains(QStringLiteral("."))) {
        *error = QStringLiteral("The folder \"%1\" is outside the notes folder.").arg(localPath);
        return std::nullopt;
    }
    QByteArray folder = pathOnVolume(realTivaroFolder());
    for (const QString &part : parts) {
        if (!part.isEmpty())
            folder += '/' + QFile::encodeName(part);
    }
    return folder;
}

namespace {

// The number of pages `utf8` makes; only needed when the note's name is near the file-name limit.
int countPages(int limit, const QString &noteName, const QByteArray &utf8)
{
    int pages = 0;
    NotePaginator(limit, noteName).paginate(utf8, [&pages](const NotePage &) {
        ++pages;
        return true;
    });
    return pages;
}

// Whether the file name of the note's last page fits the volume. A note has at most one page more than it
// has bytes, so most names are judged without paginating.
bool lastPageNameFits(int limit, const QString &noteName, const QByteArray &nameBytes, const QByteArray &utf8)
{
    const auto nameLength = [&nameBytes](qint64 pages) {
        return pages <= 1 ? nameBytes.size() + 4 : nameBytes.size() + 2 + digits(pages) + 4;
    };
    if (nameLength(utf8.size() + 2) <= kMaximumFileNameBytes)
        return true;
    return nameLength(countPages(limit, noteName, utf8)) <= kMaximumFileNameBytes;
}

} // namespace

bool TVRiPod::writeNoteToiPod(const QString &text, const QString &name, const QString &localPath, unsigned encoding)
{
    const int limit =
        encoding == StringEncoding::Unicode ? NotePaginator::kUnicodePageLimit : NotePaginator::kPageLimit;
    const QString noteName = NSStringXtra::correctFilename(name);
    m_lastError.clear();
    m_lastNotePageCount = 0;
    m_lastNoteDroppedBytes = 0;
    m_lastNoteFiles.clear();
    const QByteArray nameBytes = QFile::encodeName(noteName);
    const QByteArray utf8 = text.toUtf8();
    // Said before anything is written: a note must not stop at its second page for its name's sake.
    if (!lastPageNameFits(limit, noteName, nameBytes, utf8))
        return failWith(QStringLiteral("The note name \"%1\" is too long for a file on the iPod (at most %2 bytes "
                                       "with the page number).")
                            .arg(name)
                            .arg(kMaximumFileNameBytes));

    QString problem;
    const std::unique_ptr<VolumeRoot> volume = openVolume(&problem);
    if (!volume)
        return failWith(problem);
    const std::optional<QByteArray> folder = noteFolder(localPath, &problem);
    if (!folder)
        return failWith(problem);
    const QByteArray overflowFolder = *folder + '/' + QFile::encodeName(pagesOverflowDirectory());
    IPodOutput output(*volume, manifest(*volume));
    // Each folder is opened once, from the volume's root: pages never land beside a vanished iPod.
    UniqueFd folders[2];
    NotePaginator paginator(limit, noteName);
    const bool written = paginator.paginate(utf8, [&](const NotePage &page) {
        const int which = page.index == 0 ? 0 : 1;
        const QByteArray &folderPath = which == 0 ? *folder : overflowFolder;
        QString reason;
        const QByteArray fileName = NotePaginator::fileNameBytesForPage(page.index, nameBytes);
        const QByteArray path = folderPath + '/' + fileName;
        if (!folders[which] && !(folders[which] = volume->openFolder(folderPath, true, &reason)))
            return failWith(QStringLiteral("Cannot write %1: %2").arg(volume->displayPath(path), reason));
        if (!FileWriter::writeAtomicallyAt(folders[which].get(), fileName, page.bytes, FileWriter::Cached,
                                           output.replacePolicy(path), &reason))
            return failWith(QStringLiteral("Cannot write %1: %2").arg(volume->displayPath(path), reason));
        output.recordWritten(path, m_outputOwner, m_outputGroup, page.bytes.size());
        m_lastNoteFiles.append(path);
        m_writtenFiles.insert(path);
        ++m_lastNotePageCount;
        return true;
    });
    if (paginator.droppedFrom() >= 0)
        m_lastNoteDroppedBytes = utf8.size() - paginator.droppedFrom();
    if (written) {
        removeStalePages(output, overflowFolder, nameBytes, m_lastNotePageCount);
        return true;
    }
    if (!openVolume(&problem))
        return failWith(problem);
    if (m_lastError.isEmpty())
        failWith(
            QStringLiteral("The note \"%1\" cannot be paginated: its name leaves no room for its text.").arg(name));
    return false;
}

void TVRiPod::removeStalePages(IPodOutput &output, const QByteArray &overflowFolder, const QByteArray &nameBytes,
                               int pageCount) const
{
    // Pages run without a gap, so the record is asked page after page until one is not in it.
    QList<QByteArray> stale;
    for (int index = std::max(pageCount, 1);; ++index) {
        const QByteArray path = overflowFolder + '/' + NotePaginator::fileNameBytesForPage(index, nameBytes);
        if (!m_manifest.entry(path))
            break;
        stale.append(path);
    }
    if (!stale.isEmpty())
        output.removeFiles(stale);
}

bool TVRiPod::writeFileToiPod(const QString &path, const QByteArray &data)
{
    m_lastError.clear();
    const QByteArray relative = pathOnVolume(path);
    if (relative.isEmpty())
        return failWith(QStringLiteral("Cannot write %1: it is not on the iPod at %2.").arg(path, m_iPodPath));
    QString problem;
    const std::unique_ptr<VolumeRoot> volume = openVolume(&problem);
    if (!volume)
        return failWith(problem);
    IPodOutput output(*volume, manifest(*volume));
    if (!volume->writeFile(relative, data, FileWriter::Cached, output.replacePolicy(relative), &problem))
        return failWith(problem.left(1).toUpper() + problem.mid(1));
    output.recordWritten(relative, m_outputOwner, m_outputGroup, data.size());
    m_writtenFiles.insert(relative);
    return true;
}

bool TVRiPod::writeString(const QString &string, const QString &path, unsigned encoding)
{
    m_lastError.clear();
    const std::optional<QByteArray> bytes = StringEncoding::encode(string, encoding);
    if (!bytes)
        return failWith(QStringLiteral("The text for %1 cannot be written in the requested encoding.").arg(path));
    return writeFileToiPod(path, *bytes);
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
