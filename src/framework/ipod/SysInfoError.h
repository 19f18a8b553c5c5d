#pragma once

#include "tivaro_export.h"

#include <QString>

#include <stdexcept>

// Raised by the constructors of TVRiPod (iPodAtPath, withPath) when the iPod's SysInfo file has a
// line with an empty key or an empty value, or cannot be read (no regular file, too large): such an
// iPod cannot be made. A constructor has no result to return; everything below it returns one.
// Hosts catch it and say which iPod and why.
// For Tivaro's programs; plug-ins have no use for it.
class TIVARO_EXPORT SysInfoError : public std::runtime_error
{
public:
    // `message` names the file and, for a bad line, the line.
    explicit SysInfoError(const QString &message)
        : std::runtime_error(message.toStdString())
    {}

    QString message() const { return QString::fromStdString(what()); }
};
