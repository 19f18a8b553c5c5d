#include "DefaultsValue.h"

#include "core/PropertyList.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonObject>
#include <QRegularExpression>

#include <cmath>

namespace {

const QStringList kTypeFlags{QStringLiteral("-bool"),    QStringLiteral("-boolean"), QStringLiteral("-int"),
                             QStringLiteral("-integer"), QStringLiteral("-float"),   QStringLiteral("-string"),
                             QStringLiteral("-array"),   QStringLiteral("-dict")};

std::optional<QVariant> failed(QString *error, const QString &reason)
{
    if (error)
        *error = reason;
    return std::nullopt;
}

std::optional<bool> parseBool(const QString &word)
{
    const QString lower = word.toLower();
    if (lower == QLatin1String("yes") || lower == QLatin1String("true") || lower == QLatin1String("1"))
        return true;
    if (lower == QLatin1String("no") || lower == QLatin1String("false") || lower == QLatin1String("0"))
        return false;
    return std::nullopt;
}

// The flags that may type one value of -dict or one item of -array.
const QStringList kScalarFlags{QStringLiteral("-bool"),    QStringLiteral("-boolean"), QStringLiteral("-int"),
                               QStringLiteral("-integer"), QStringLiteral("-float"),   QStringLiteral("-string")};

// An untyped value of -dict or item of -array, typed by its look: YES, NO, true and false (any case)
// are booleans, whole numbers integers, other plain numbers reals, anything else text.
QVariant valueByLook(const QString &word)
{
    const QString lower = word.toLower();
    if (lower == QLatin1String("yes") || lower == QLatin1String("true"))
        return true;
    if (lower == QLatin1String("no") || lower == QLatin1String("false"))
        return false;
    static const QRegularExpression integer(QStringLiteral("^[+-]?[0-9]+$"));
    static const QRegularExpression real(QStringLiteral("^[+-]?([0-9]+\\.?[0-9]*|\\.[0-9]+)([eE][+-]?[0-9]+)?$"));
    bool ok = false;
    if (integer.match(word).hasMatch()) {
        const qint64 value = word.toLongLong(&ok);
        if (ok)
            return value;
    }
    if (real.match(word).hasMatch()) {
        const double value = word.toDouble(&ok);
        if (ok && std::isfinite(value))
            return value;
    }
    return word;
}

QString indent(int depth)
{
    return QString(depth * 4, QLatin1Char(' '));
}

} // namespace

QString DefaultsValue::syntax()
{
    return QStringLiteral("VALUE is -bool YES|NO, -int N, -float X, -string TEXT, -array ITEM..., -dict KEY VALUE... "
                          "or one word: an XML property list when it starts with \"<\", otherwise a string. Items "
                          "and values of -array and -dict are booleans, numbers or strings by their look; put a type "
                          "before one to choose, as in -dict note -string YES.");
}

std::optional<QVariant> DefaultsValue::parse(const QStringList &words, QString *error)
{
    if (words.isEmpty())
        return failed(error, QStringLiteral("a value is missing"));
    if (kTypeFlags.contains(words.constFirst()))
        return parseTyped(words.constFirst(), words.mid(1), error);
    if (words.size() > 1)
        return failed(error, QStringLiteral("\"%1\" is not a type, and a bare value is one word (quote it, or use "
                                            "-string, -array or -dict)")
                                 .arg(words.constFirst()));
    return parseBare(words.constFirst(), error);
}

std::optional<QVariant> DefaultsValue::parseItem(const QStringList &words, qsizetype &next, QString *error)
{
    const QString &word = words.at(next++);
    if (word == QLatin1String("-array") || word == QLatin1String("-dict"))
        return failed(error, QStringLiteral("-array and -dict cannot hold another -array or -dict; give the value as "
                                            "an XML property list"));
    if (!kScalarFlags.contains(word))
        return valueByLook(word);
    if (next >= words.size())
        return failed(error, next >= 2 ? QStringLiteral("%1 after \"%2\" has no value").arg(word, words.at(next - 2))
                                       : QStringLiteral("%1 has no value").arg(word));
    return parseScalar(word, words.at(next++), error);
}

std::optional<QVariant> DefaultsValue::parseTyped(const QString &flag, const QStringList &words, QString *error)
{
    if (flag == QLatin1String("-array")) {
        QVariantList list;
        for (qsizetype next = 0; next < words.size();) {
            const std::optional<QVariant> item = parseItem(words, next, error);
            if (!item)
                return std::nullopt;
            list.append(*item);
        }
        return QVariant(list);
    }
    if (flag == QLatin1String("-dict")) {
        QVariantMap map;
        for (qsizetype next = 0; next < words.size();) {
            const QString &key = words.at(next++);
            if (key.isEmpty())
                return failed(error, QStringLiteral("-dict keys may not be empty"));
            if (next >= words.size())
                return failed(error, QStringLiteral("-dict takes pairs of KEY VALUE; \"%1\" has no value").arg(key));
            const std::optional<QVariant> value = parseItem(words, next, error);
            if (!value)
                return std::nullopt;
            map.insert(key, *value);
        }
        return QVariant(map);
    }
    if (words.size() != 1)
        return failed(error, QStringLiteral("%1 takes exactly one value, not %2").arg(flag).arg(words.size()));
    return parseScalar(flag, words.constFirst(), error);
}

std::optional<QVariant> DefaultsValue::parseScalar(const QString &flag, const QString &word, QString *error)
{
    if (flag == QLatin1String("-string"))
        return QVariant(word);
    if (flag == QLatin1String("-bool") || flag == QLatin1String("-boolean")) {
        const std::optional<bool> value = parseBool(word);
        if (!value)
            return failed(error, QStringLiteral("%1 takes YES, NO, true or false, not \"%2\"").arg(flag, word));
        return QVariant(*value);
    }
    bool ok = false;
    if (flag == QLatin1String("-float")) {
        const double value = word.toDouble(&ok);
        if (!ok || !std::isfinite(value))
            return failed(error, QStringLiteral("-float takes a finite number such as 2.5, not \"%1\"").arg(word));
        return QVariant(value);
    }
    const qint64 value = word.toLongLong(&ok);
    if (!ok)
        return failed(error,
                      QStringLiteral("%1 takes a whole number of at most 19 digits, not \"%2\"").arg(flag, word));
    return QVariant(value);
}

std::optional<QVariant> DefaultsValue::parseBare(const QString &word, QString *error)
{
    const QString trimmed = word.trimmed();
    // Text meant as a property list must not be stored as a string because of a typing mistake.
    if (trimmed.startsWith(QLatin1Char('<'))) {
        QString reason;
        const std::optional<QVariant> value = PropertyList::fromData(trimmed.toUtf8(), &reason);
        if (!value)
            return failed(error, QStringLiteral("the value looks like an XML property list but cannot be read (%1); "
                                                "use -string to store it as text")
                                     .arg(reason));
        return value;
    }
    // libplist 2.2 reads no old-style text; what was meant as a dictionary must not become a string.
    if (trimmed.startsWith(QLatin1Char('{')) || trimmed.startsWith(QLatin1Char('(')))
        return failed(error, QStringLiteral("old-style property-list text cannot be read; give the value as XML, or "
                                            "with -dict or -array (use -string to store it as text)"));
    return QVariant(word);
}

QString DefaultsValue::toText(const QVariant &value)
{
    if (value.metaType().id() == QMetaType::QString)
        return value.toString();
    return toText(value, 0);
}

QString DefaultsValue::toText(const QVariant &value, int depth)
{
    switch (value.metaType().id()) {
    case QMetaType::QVariantMap: {
        const QVariantMap map = value.toMap();
        QString text = QStringLiteral("{\n");
        for (auto it = map.cbegin(); it != map.cend(); ++it)
            text += indent(depth + 1) + quoted(it.key()) + QStringLiteral(" = ") + toText(it.value(), depth + 1) +
                    QStringLiteral(";\n");
        return text + indent(depth) + QLatin1Char('}');
    }
    case QMetaType::QVariantList:
    case QMetaType::QStringList: {
        const QVariantList list = value.toList();
        QStringList items;
        for (const QVariant &item : list)
            items.append(indent(depth + 1) + toText(item, depth + 1));
        const QString body = items.isEmpty() ? QString() : items.join(QStringLiteral(",\n")) + QLatin1Char('\n');
        return QStringLiteral("(\n") + body + indent(depth) + QLatin1Char(')');
    }
    case QMetaType::Bool:
        // As `defaults read` shows booleans; --json tells them from numbers.
        return value.toBool() ? QStringLiteral("1") : QStringLiteral("0");
    case QMetaType::Double:
        return QString::number(value.toDouble(), 'g', QLocale::FloatingPointShortest);
    case QMetaType::QDateTime:
        return quoted(value.toDateTime().toUTC().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss +0000")));
    case QMetaType::QByteArray:
        return QLatin1Char('<') + QString::fromLatin1(value.toByteArray().toHex()) + QLatin1Char('>');
    case QMetaType::QString:
        return quoted(value.toString());
    default:
        return value.toString();
    }
}

QString DefaultsValue::quoted(const QString &string)
{
    static const QRegularExpression plain(QStringLiteral("^[A-Za-z0-9_$+/:.-]+$"));
    if (plain.match(string).hasMatch())
        return string;
    QString text = QStringLiteral("\"");
    for (const QChar c : string) {
        if (c == QLatin1Char('"') || c == QLatin1Char('\\'))
            text += QLatin1Char('\\') + c;
        else if (c == QLatin1Char('\n'))
            text += QStringLiteral("\\n");
        else if (c == QLatin1Char('\r'))
            text += QStringLiteral("\\r");
        else if (c == QLatin1Char('\t'))
            text += QStringLiteral("\\t");
        else
            text += c;
    }
    return text + QLatin1Char('"');
}

QJsonValue DefaultsValue::toJson(const QVariant &value)
{
    switch (value.metaType().id()) {
    case QMetaType::QVariantMap: {
        QJsonObject object;
        const QVariantMap map = value.toMap();
        for (auto it = map.cbegin(); it != map.cend(); ++it)
            object.insert(it.key(), toJson(it.value()));
        return object;
    }
    case QMetaType::QVariantList:
    case QMetaType::QStringList: {
        QJsonArray array;
        for (const QVariant &item : value.toList())
            array.append(toJson(item));
        return array;
    }
    case QMetaType::Bool:
        return value.toBool();
    case QMetaType::Double:
        return value.toDouble();
    case QMetaType::Int:
    case QMetaType::LongLong:
        return value.toLongLong();
    case QMetaType::QDateTime:
        return value.toDateTime().toUTC().toString(Qt::ISODateWithMs);
    case QMetaType::QByteArray:
        return QString::fromLatin1(value.toByteArray().toBase64());
    default:
        return value.toString();
    }
}
