#include "NSMutableArrayXtras.h"

#include <algorithm>

namespace NSMutableArrayXtras {

int tvrSort(const QVariantMap &first, const QVariantMap &second, const QString &key)
{
    const int order = QString::compare(first.value(key).toString(), second.value(key).toString(), Qt::CaseInsensitive);
    return order < 0 ? -1 : (order > 0 ? 1 : 0);
}

void sortUsingDictionaryKey(QList<QVariantMap> &items, const QString &key)
{
    std::stable_sort(items.begin(), items.end(),
                     [&key](const QVariantMap &a, const QVariantMap &b) { return tvrSort(a, b, key) < 0; });
}

} // namespace NSMutableArrayXtras
