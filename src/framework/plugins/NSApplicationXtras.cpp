#include "NSApplicationXtras_p.h"

#include <QRegularExpression>
#include <QSysInfo>

#include <algorithm>

namespace {

quint32 binaryCodedDecimal(quint32 value)
{
    quint32 coded = 0;
    for (int shift = 0; value != 0; shift += 4, value /= 10)
        coded |= (value % 10) << shift;
    return coded;
}

} // namespace

namespace NSApplicationXtras {

quint32 MacOSVersion()
{
    // QSysInfo reads uname() on Linux; the release does not change while the process runs.
    static const quint32 version = versionFromRelease(QSysInfo::kernelVersion());
    return version;
}

quint32 versionFromRelease(const QString &release)
{
    static const QRegularExpression leadingNumbers(QStringLiteral("^([0-9]+)(?:\\.([0-9]+))?(?:\\.([0-9]+))?"));
    const QRegularExpressionMatch match = leadingNumbers.match(release);
    if (!match.hasMatch())
        return 0;
    // Each part is read as at most 64 bits (longer ones fail to convert and count as the largest).
    const auto part = [&match](int index, quint64 largest) {
        bool ok = false;
        const quint64 value = match.capturedView(index).toULongLong(&ok);
        return quint32(ok ? std::min(value, largest) : (match.capturedView(index).isEmpty() ? 0 : largest));
    };
    return binaryCodedDecimal(part(1, 999999)) << 8 | part(2, 9) << 4 | part(3, 9);
}

bool runningOnJaguar(quint32 version)
{
    return version >= 0x1020 && version <= 0x102F;
}

bool runningOnPanther(quint32 version)
{
    return version >= 0x1030 && version <= 0x103F;
}

bool runningOnTiger(quint32 version)
{
    return version >= 0x1040 && version <= 0x104F;
}

} // namespace NSApplicationXtras
