#pragma once

#include <QJsonValue>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <optional>

// Preference values as the words of a command line, and back, in the manner of the Mac's `defaults`:
//     -bool YES|NO|true|false   -int N   -float X   -string TEXT
//     -array ITEM...            -dict KEY VALUE...  (items and values are strings)
//     one bare word             an XML property list when it starts with "<", otherwise a string;
//                               old-style text ("{" or "(") is refused, as libplist cannot read it
// Printed values use the old-style property-list notation `defaults read` shows.
class DefaultsValue
{
public:
    // The value the words after a key describe; nullopt with *error when they describe none.
    static std::optional<QVariant> parse(const QStringList &words, QString *error);

    // The value as `defaults read` prints it; a string at the top level is printed as it is.
    static QString toText(const QVariant &value);
    // Dates become ISO 8601 text (UTC), data base64 text.
    static QJsonValue toJson(const QVariant &value);

    // One line on the value forms, for usage texts.
    static QString syntax();

private:
    static std::optional<QVariant> parseTyped(const QString &flag, const QStringList &words, QString *error);
    static std::optional<QVariant> parseBare(const QString &word, QString *error);
    static QString toText(const QVariant &value, int depth);
    static QString quoted(const QString &string);
};
