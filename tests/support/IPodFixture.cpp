#include "IPodFixture.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace {

const char *revisionFor(int family)
{
    switch (family) {
    case 1:
        return "0x00020000 (2.0 1)";
    case 2:
        return "0x00030001 (3.0 1)";
    case 3:
        return "0x00070002 (7.0 2)";
    case 4:
        return "0x00050014 (5.0 4)";
    case 5:
        return "0x00060004 (6.0 4)";
    case 6:
        return "0x000B0005 (B.0 5)";
    case 7:
        return "0x000C0005 (C.0 5)";
    default:
        return nullptr;
    }
}

} // namespace

namespace IPodFixture {

QString sysInfoFor(int family, const QString &serial)
{
    QString text = QStringLiteral("BoardHwName: iPod Q98\npszSerialNumber: %1\nModelNumStr: xA147\n").arg(serial);
    if (const char *revision = revisionFor(family))
        text += QStringLiteral("boardHwSwInterfaceRev: %1\n").arg(QLatin1String(revision));
    text += QStringLiteral("visibleBuildID: 0x01218000 (1.2.1)\n");
    return text;
}

QString create(const QString &root, const QString &sysInfo)
{
    QDir().mkpath(root + QStringLiteral("/iPod_Control/Device"));
    if (!sysInfo.isEmpty())
        writeFile(root, QStringLiteral("iPod_Control/Device/SysInfo"), sysInfo.toUtf8());
    return root;
}

QString createWithFamily(const QString &root, int family, const QString &serial)
{
    // Shuffles carry no SysInfo: that is what makes them family 128.
    return create(root, family == 128 ? QString() : sysInfoFor(family, serial));
}

void writeFile(const QString &root, const QString &relativePath, const QByteArray &contents)
{
    const QString path = root + QLatin1Char('/') + relativePath;
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        file.write(contents);
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QByteArray mountInfo(const QList<QStringList> &mounts)
{
    QByteArray text;
    int id = 20;
    for (const QStringList &mount : mounts) {
        QByteArray point = QFile::encodeName(mount.value(0));
        point.replace(' ', "\\040");
        text += QByteArray::number(id++) + " 1 8:1 / " + point + ' ' + mount.value(2, QStringLiteral("rw")).toUtf8() +
                " shared:1 - " + mount.value(1).toUtf8() + " /dev/sdz1 rw\n";
    }
    return text;
}

} // namespace IPodFixture
