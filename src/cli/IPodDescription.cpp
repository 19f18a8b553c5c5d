#include "IPodDescription.h"

#include <utility>

namespace {

// Each capability with the words that describe it to a person.
QList<std::pair<QString, bool>> capabilities(const TVRiPod &iPod)
{
    return {
        {QStringLiteral("isiPodShuffle"), iPod.isiPodShuffle()},
        {QStringLiteral("hasDisplay"), iPod.hasDisplay()},
        {QStringLiteral("hasColorDisplay"), iPod.hasColorDisplay()},
        {QStringLiteral("hasPhotoAlbum"), iPod.hasPhotoAlbum()},
        {QStringLiteral("hasNotes"), iPod.hasNotes()},
        {QStringLiteral("useNotes"), iPod.useNotes()},
        {QStringLiteral("hasTVOut"), iPod.hasTVOut()},
        {QStringLiteral("hasVideoPlayback"), iPod.hasVideoPlayback()},
    };
}

QString capabilityWords(const TVRiPod &iPod)
{
    QStringList words;
    if (iPod.isiPodShuffle())
        words << QStringLiteral("shuffle");
    if (iPod.hasDisplay())
        words << (iPod.hasColorDisplay() ? QStringLiteral("colour display") : QStringLiteral("display"));
    if (iPod.hasPhotoAlbum())
        words << QStringLiteral("photos");
    if (iPod.hasNotes())
        words << QStringLiteral("notes");
    if (iPod.hasTVOut())
        words << QStringLiteral("TV out");
    if (iPod.hasVideoPlayback())
        words << QStringLiteral("video");
    return words.isEmpty() ? QStringLiteral("none") : words.join(QStringLiteral(", "));
}

} // namespace

namespace IPodDescription {

QJsonObject toJson(const TVRiPod &iPod)
{
    QJsonObject object{
        {QStringLiteral("path"), iPod.path()},
        {QStringLiteral("name"), iPod.name()},
        {QStringLiteral("iPodFamily"), iPod.iPodFamily()},
        {QStringLiteral("iPodFamilyDescription"), iPod.iPodFamilyDescription()},
        {QStringLiteral("serialNumber"), iPod.serialNumber().isNull() ? QJsonValue() : QJsonValue(iPod.serialNumber())},
        {QStringLiteral("syncsWithTivaro"), iPod.syncsWithTivaro()},
        {QStringLiteral("numberOfNotes"), iPod.numberOfNotes()},
        {QStringLiteral("numberOfContacts"), iPod.numberOfContacts()},
    };
    for (const auto &[key, value] : capabilities(iPod))
        object.insert(key, value);
    return object;
}

QJsonObject toJson(const DetectedVolume &unusableVolume)
{
    return {
        {QStringLiteral("path"), unusableVolume.path},
        {QStringLiteral("fileSystemType"), unusableVolume.fileSystemType},
        {QStringLiteral("problem"), unusableVolume.problem},
    };
}

QStringList toText(const TVRiPod &iPod)
{
    const auto row = [](const QString &label, const QString &value) {
        return QStringLiteral("  %1 %2").arg(label.leftJustified(13), value);
    };
    return {
        QStringLiteral("%1  %2").arg(iPod.name(), iPod.path()),
        row(QStringLiteral("family"),
            QStringLiteral("%1 (%2)").arg(iPod.iPodFamily()).arg(iPod.iPodFamilyDescription())),
        row(QStringLiteral("serial"), iPod.serialNumber().isNull() ? QStringLiteral("unknown") : iPod.serialNumber()),
        row(QStringLiteral("capabilities"), capabilityWords(iPod)),
        row(QStringLiteral("syncs"),
            iPod.syncsWithTivaro() ? QStringLiteral("yes") : QStringLiteral("no (another iPod is chosen)")),
        row(QStringLiteral("notes"), QString::number(iPod.numberOfNotes())),
        row(QStringLiteral("contacts"), QString::number(iPod.numberOfContacts())),
    };
}

} // namespace IPodDescription
