#pragma once

#include <QString>

#include <stdexcept>

// Raised when an iPod's SysInfo file has a line with an empty key or an empty value: such a file
// cannot be turned into a dictionary. Hosts catch it and say which iPod and which line.
class SysInfoError : public std::runtime_error
{
public:
    SysInfoError(const QString &path, int line, const QString &reason)
        : std::runtime_error(QStringLiteral("%1: line %2: %3").arg(path).arg(line).arg(reason).toStdString())
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
