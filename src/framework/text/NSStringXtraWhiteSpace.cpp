// White space, lines, words and replacement.
#include "NSStringXtra.h"
#include "TextReplace_p.h"

#include <algorithm>
#include <array>
#include <utility>

namespace NSStringXtra {

QString trimWhiteSpace(const QString &text)
{
    return text.trimmed();
}

QString removeExtraLines(const QString &text)
{
    QString s = replace(text, QStringLiteral("\n"), QStringLiteral("\r"));
    static const std::array<std::pair<QString, QString>, 4> kSteps{{
        {QStringLiteral("\n"), QStringLiteral("\r")},
        {QStringLiteral("\r "), QStringLiteral("\r")},
        {QStringLiteral("\r\r\r\r"), QStringLiteral("\r\r")},
        {QStringLiteral("\r\r\r"), QStringLiteral("\r\r")},
    }};
    for (const auto &[target, replacement] : kSteps)
        s = replace(s, target, replacement);
    return s;
}

QString removeWhiteSpace(const QString &text, const std::optional<QStringList> &strings)
{
    const QStringList deleted =
        strings.value_or(QStringList{QStringLiteral("\r"), QStringLiteral("\n"), QStringLiteral("\t")});
    QString s = text;
    for (const QString &target : deleted)
        s = replace(s, target, QString());
    return replace(s, QStringLiteral("  "), QStringLiteral(" "));
}

bool stringIsEmpty(const QString &text)
{
    return trimWhiteSpace(text).isEmpty();
}

QString replace(const QString &text, const QString &target, const QString &replacement)
{
    return TextReplace::replaceRepeatedly(text, target, replacement);
}

bool containsString(const QString &text, const QString &other)
{
    return text.contains(other, Qt::CaseInsensitive);
}

QString ellipsizeAfterNWords(const QString &text, int n)
{
    const QStringList words = text.split(u' ');
    return words.mid(0, std::max(n, 0)).join(u' ');
}

QString wordsUpTo(const QString &text, int n)
{
    if (text.size() <= n)
        return text;
    QString result;
    for (const QString &word : correctFilename(text).split(u' ')) {
        if (trimWhiteSpace(result).size() + 1 + word.size() <= n)
            result += u' ' + word;
    }
    if (n > result.size()) {
        // Never half a surrogate pair: a lone one has no UTF-8 form, and a file name cannot hold it.
        const bool splitsPair = n > 0 && text.at(n - 1).isHighSurrogate() && text.at(n).isLowSurrogate();
        result = text.left(std::max(splitsPair ? n - 1 : n, 0));
    }
    return trimWhiteSpace(result);
}

QString stripSlashes(const QString &text)
{
    QString result = text;
    return result.replace(QStringLiteral("\\'"), QStringLiteral("'"));
}

QString reverseString(const QString &text)
{
    QString result = text;
    std::reverse(result.begin(), result.end());
    return result;
}

} // namespace NSStringXtra
