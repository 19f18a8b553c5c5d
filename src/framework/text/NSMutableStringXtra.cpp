#include "NSMutableStringXtra.h"

namespace NSMutableStringXtra {

qsizetype replaceOccurrencesOfString(QString &text, const QString &target, const QString &replacement)
{
    if (target.isEmpty())
        return 0;
    qsizetype count = 0;
    for (qsizetype at = text.indexOf(target); at >= 0; at = text.indexOf(target, at + target.size()))
        ++count;
    if (count > 0)
        text.replace(target, replacement);
    return count;
}

} // namespace NSMutableStringXtra
