#pragma once

#include "tivaro_export.h"

#include <QByteArray>
#include <QString>
#include <QVariant>

#include <optional>

// Property lists (XML or binary) to and from QVariant, through libplist.
// Dictionaries are QVariantMap, arrays QVariantList, strings QString, integers qint64
// (larger ones cannot be stored), reals double, booleans bool, dates QDateTime (UTC, 1932 to 2069), data QByteArray.
namespace PropertyList {

// Parses XML or binary plist bytes; nullopt (and *error set) when the bytes are no property list.
TIVARO_EXPORT std::optional<QVariant> fromData(const QByteArray &bytes, QString *error = nullptr);
// Reads a file; nullopt when it is missing, unreadable or not a property list.
TIVARO_EXPORT std::optional<QVariant> readFile(const QString &path, QString *error = nullptr);

// Serialises as XML; nullopt when the value holds a type a property list cannot carry.
TIVARO_EXPORT std::optional<QByteArray> toXml(const QVariant &value, QString *error = nullptr);
// Writes XML atomically (and durably): the old file stays whole if anything fails.
TIVARO_EXPORT bool writeFile(const QString &path, const QVariant &value, QString *error = nullptr);

} // namespace PropertyList
