#pragma once

#include <QString>
#include <QStringList>
#include <QTemporaryDir>

// iPod trees for tests, built in a temporary folder: "iPod_Control/Device/SysInfo" with the lines a
// model of each family carries, and whatever Notes and Contacts a test adds.
namespace IPodFixture {

// The SysInfo text of a model of `family` (a family code) with `serial`; family 0 gives a SysInfo
// without "boardHwSwInterfaceRev".
QString sysInfoFor(int family, const QString &serial);

// Creates `root` (a folder whose name is the iPod's display name) as an iPod. An empty `sysInfo`
// writes no SysInfo file at all. Returns the root.
QString create(const QString &root, const QString &sysInfo);
QString createWithFamily(const QString &root, int family, const QString &serial);

// Writes `contents` to root/relativePath, creating folders.
void writeFile(const QString &root, const QString &relativePath, const QByteArray &contents);
QByteArray readFile(const QString &path);

// A mountinfo text listing these mount points (each "mountPoint fsType options").
QByteArray mountInfo(const QList<QStringList> &mounts);

} // namespace IPodFixture
