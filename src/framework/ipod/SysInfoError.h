#pragma once

#include "tivaro_export.h"

#include <QString>

#include <stdexcept>

// Raised when an iPod's SysInfo file has a line with an empty key or an empty value, or cannot be read
// (no regular file, too large): such a file cannot be turned into a dictionary. Hosts catch it and say
// which iPod and why.
// For Tivaro's programs; plug-ins have no use for it.
class TIVARO_EXPORT SysInfoError : public std::runtime_error
{
public:
    // A `line` of 0 stands for the file as a whole (one that is no regular file, say).
    SysInfoError(const QString &path, int line, const QString &reason)
        : std::runtime_error((line > 0 ? QStringLiteral("%1: line %2: %3").arg(path).arg(line).arg(reason)
                                       : QStringLiteral("%1: %2").arg(path, reason))
                                 .toStdString())
        , m_path(path)
        , m_line(line)
    {}

    QString path() const { return m_path; }
    int line() const { return m_line; }
    QString message() const { return QString::fromStdString(what()); }

private:
    QString m_path;
    int m_line;
};
