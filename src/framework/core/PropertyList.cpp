#include "PropertyList.h"

#include "FileWriter_p.h"
#include "PropertyListGuard_p.h"

#include <QDateTime>
#include <QFile>
#include <QTimeZone>

#include <plist/plist.h>

#include <limits>
#include <memory>

namespace {

// Property-list dates count seconds from 2001-01-01 00:00 UTC.
const QDateTime kReferenceDate(QDate(2001, 1, 1), QTime(0, 0), Qt::UTC);

struct PlistDeleter {
    void operator()(plist_t node) const { plist_free(node); }
};
using PlistPtr = std::unique_ptr<std::remove_pointer_t<plist_t>, PlistDeleter>;

// Turns a libplist tree into QVariants, refusing what libplist cannot give back faithfully.
class Reader
{
public:
    QString error;

    QVariant read(plist_t node, int depth = 0)
    {
        if (depth > PropertyListGuard::kMaximumDepth) {
            fail(QStringLiteral("it nests deeper than %1 levels").arg(PropertyListGuard::kMaximumDepth));
            return {};
        }
        switch (plist_get_node_type(node)) {
        case PLIST_DICT:
            return readDict(node, depth);
        case PLIST_ARRAY:
            return readArray(node, depth);
        case PLIST_BOOLEAN: {
            uint8_t value = 0;
            plist_get_bool_val(node, &value);
            return bool(value);
        }
        case PLIST_UINT: {
            uint64_t value = 0;
            plist_get_uint_val(node, &value);
            // libplist keeps negative integers as their two's complement in 64 bits.
            return qint64(value);
        }
        case PLIST_REAL: {
            double value = 0;
            plist_get_real_val(node, &value);
            return value;
        }
        case PLIST_STRING: {
            uint64_t length = 0;
            const char *value = plist_get_string_ptr(node, &length);
            return QString::fromUtf8(value, qsizetype(length));
        }
        case PLIST_DATA: {
            char *value = nullptr;
            uint64_t length = 0;
            plist_get_data_val(node, &value, &length);
            const QByteArray bytes(value, qsizetype(length));
            free(value);
            return bytes;
        }
        case PLIST_DATE:
            return readDate(node);
        case PLIST_UID: {
            uint64_t value = 0;
            plist_get_uid_val(node, &value);
            return qint64(value);
        }
        default:
            return {};
        }
    }

private:
    void fail(const QString &reason)
    {
        if (error.isEmpty())
            error = reason;
    }

    QVariant readDict(plist_t node, int depth)
    {
        QVariantMap map;
        plist_dict_iter it = nullptr;
        plist_dict_new_iter(node, &it);
        while (error.isEmpty()) {
            char *key = nullptr;
            plist_t value = nullptr;
            plist_dict_next_item(node, it, &key, &value);
            if (!key)
                break;
            map.insert(QString::fromUtf8(key), read(value, depth + 1));
            free(key);
        }
        free(it);
        return map;
    }

    QVariant readArray(plist_t node, int depth)
    {
        QVariantList list;
        const uint32_t count = plist_array_get_size(node);
        list.reserve(static_cast<qsizetype>(count));
        for (uint32_t i = 0; i < count && error.isEmpty(); ++i)
            list.append(read(plist_array_get_item(node, i), depth + 1));
        return list;
    }

    // libplist hands dates out as 32-bit seconds: one beyond 1932 to 2069 comes out as the lowest
    // value, never as itself. (Its date comparison cannot tell either: it is wrong before 2001.)
    QVariant readDate(plist_t node)
    {
        int32_t seconds = 0;
        int32_t microseconds = 0;
        plist_get_date_val(node, &seconds, &microseconds);
        if (seconds == std::numeric_limits<int32_t>::min()) {
            fail(QStringLiteral("a date lies outside 1932 to 2069, which cannot be read faithfully"));
            return {};
        }
        return kReferenceDate.addMSecs(qint64(seconds) * 1000 + microseconds / 1000);
    }
};

plist_t fromVariant(const QVariant &value, QString *error);

plist_t fromMap(const QVariantMap &map, QString *error)
{
    plist_t dict = plist_new_dict();
    for (auto it = map.cbegin(); it != map.cend(); ++it) {
        plist_t item = fromVariant(it.value(), error);
        if (!item) {
            plist_free(dict);
            return nullptr;
        }
        plist_dict_set_item(dict, it.key().toUtf8().constData(), item);
    }
    return dict;
}

plist_t fromList(const QVariantList &list, QString *error)
{
    plist_t array = plist_new_array();
    for (const QVariant &element : list) {
        plist_t item = fromVariant(element, error);
        if (!item) {
            plist_free(array);
            return nullptr;
        }
        plist_array_append_item(array, item);
    }
    return array;
}

plist_t fromDate(const QDateTime &date, QString *error)
{
    const qint64 ms = kReferenceDate.msecsTo(date);
    const qint64 seconds = ms >= 0 ? ms / 1000 : -((-ms + 999) / 1000);
    // libplist takes the seconds as 32 bits (1932-12-13 to 2069-01-19); refuse rather than wrap.
    if (seconds < std::numeric_limits<int32_t>::min() || seconds > std::numeric_limits<int32_t>::max()) {
        if (error)
            *error = QStringLiteral("the date %1 is outside the range a property list can hold")
                         .arg(date.toString(Qt::ISODate));
        return nullptr;
    }
    const qint64 micro = (ms - seconds * 1000) * 1000;
    return plist_new_date(int32_t(seconds), int32_t(micro));
}

plist_t fromVariant(const QVariant &value, QString *error)
{
    switch (value.metaType().id()) {
    case QMetaType::QVariantMap:
        return fromMap(value.toMap(), error);
    case QMetaType::QVariantList:
    case QMetaType::QStringList:
        return fromList(value.toList(), error);
    case QMetaType::QString:
        return plist_new_string(value.toString().toUtf8().constData());
    case QMetaType::Bool:
        return plist_new_bool(value.toBool() ? 1 : 0);
    case QMetaType::Int:
    case QMetaType::LongLong:
    case QMetaType::Long:
    case QMetaType::Short:
        return plist_new_uint(uint64_t(value.toLongLong()));
    case QMetaType::UInt:
    case QMetaType::ULongLong:
    case QMetaType::ULong:
    case QMetaType::UShort: {
        // libplist writes and reads integers as signed 64 bits; a larger one would come back negative.
        const quint64 number = value.toULongLong();
        if (number > quint64(std::numeric_limits<qint64>::max())) {
            if (error)
                *error = QStringLiteral("the integer %1 is too large for a property list").arg(number);
            return nullptr;
        }
        return plist_new_uint(number);
    }
    case QMetaType::Double:
    case QMetaType::Float:
        return plist_new_real(value.toDouble());
    case QMetaType::QByteArray: {
        const QByteArray bytes = value.toByteArray();
        return plist_new_data(bytes.constData(), uint64_t(bytes.size()));
    }
    case QMetaType::QDateTime:
        return fromDate(value.toDateTime(), error);
    default:
        if (error)
            *error = QStringLiteral("a value of type %1 cannot be stored in a property list")
                         .arg(QString::fromLatin1(value.typeName() ? value.typeName() : "null"));
        return nullptr;
    }
}

} // namespace

namespace PropertyList {

std::optional<QVariant> fromData(const QByteArray &bytes, QString *error)
{
    if (bytes.isEmpty() || bytes.size() > std::numeric_limits<int32_t>::max()) {
        if (error)
            *error = bytes.isEmpty() ? QStringLiteral("empty file") : QStringLiteral("file too large");
        return std::nullopt;
    }
    const QString unsafe = PropertyListGuard::problemWith(bytes);
    if (!unsafe.isEmpty()) {
        if (error)
            *error = QStringLiteral("refused: ") + unsafe;
        return std::nullopt;
    }
    plist_t root = nullptr;
    plist_from_memory(bytes.constData(), uint32_t(bytes.size()), &root);
    if (!root) {
        if (error)
            *error = QStringLiteral("not a property list");
        return std::nullopt;
    }
    const PlistPtr owner(root);
    Reader reader;
    QVariant value = reader.read(root);
    if (!reader.error.isEmpty()) {
        if (error)
            *error = reader.error;
        return std::nullopt;
    }
    return value;
}

std::optional<QVariant> readFile(const QString &path, QString *error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        if (error)
            *error = file.errorString();
        return std::nullopt;
    }
    return fromData(file.readAll(), error);
}

std::optional<QByteArray> toXml(const QVariant &value, QString *error)
{
    const PlistPtr root(fromVariant(value, error));
    if (!root)
        return std::nullopt;
    char *xml = nullptr;
    uint32_t length = 0;
    plist_to_xml(root.get(), &xml, &length);
    if (!xml) {
        if (error)
            *error = QStringLiteral("the property list could not be serialised");
        return std::nullopt;
    }
    QByteArray bytes(xml, qsizetype(length));
    free(xml);
    return bytes;
}

bool writeFile(const QString &path, const QVariant &value, QString *error)
{
    const std::optional<QByteArray> xml = toXml(value, error);
    if (!xml)
        return false;
    return FileWriter::writeAtomically(path, *xml, FileWriter::Durable, error);
}

} // namespace PropertyList
