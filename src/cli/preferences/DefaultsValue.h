#pragma once

#include <QJsonValue>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <optional>

// Preference values as the words of a command line, and back, in the manner of the Mac's `defaults`:
//     -bool YES|NO|true|false   -int N   -float X   -string TEXT
//     -array ITEM...            -dict KEY VALUE...
//     one bare word             an XML property list when it starts with "<", otherwise a string;
//                               old-style text ("{" or "(") is refused, as libplist cannot read it
// An item of -array or a value of -dict is one word typed by its look (YES, NO, true, false in any
// case are booleans; whole numbers integers; other plain numbers reals; the rest strings), or a
// scalar type flag and its word ("-string YES"), so that a stored choice's booleans are booleans.
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
    static std::optional<QVariant> parseScalar(const QString &flag, const QString &word, QString *error);
    // One item of -array or value of -dict at words[next]; moves `next` past it.
    static std::optional<QVariant> parseItem(const QStringList &words, qsizetype &next, QString *error);
    static std::optional<QVariant> parseBare(const QString &word, QString *error);
    static QString toText(const QVariant &value, int depth);
    static QString quoted(const QString &string);
};
