#pragma once

#include "tivaro_export.h"

#include <QList>
#include <QString>
#include <QVariantMap>

// Helpers on lists of dictionaries, such as feed items.
namespace NSMutableArrayXtras {

// The order of two dictionaries by the text under `key`, ignoring case: negative, 0 or positive.
TIVARO_EXPORT int tvrSort(const QVariantMap &first, const QVariantMap &second, const QString &key);
// Sorts `items` in place by tvrSort; equal items keep their order.
TIVARO_EXPORT void sortUsingDictionaryKey(QList<QVariantMap> &items, const QString &key);

} // namespace NSMutableArrayXtras
