#include "TextReplace_p.h"

#include <QList>

#include <algorithm>
#include <utility>

namespace {

// Where `target` next occurs from `from`, or -1. The first character is found with Qt's vectorised
// character search and the rest compared there: much faster than a general search for the short
// targets the text filters replace, and those are called on whole pages many times over.
qsizetype find(QStringView text, QStringView target, qsizetype from)
{
    const QChar first = target.front();
    const QStringView rest = target.mid(1);
    for (qsizetype at = text.indexOf(first, from); at >= 0; at = text.indexOf(first, at + 1)) {
        if (at + target.size() > text.size())
            return -1;
        if (text.mid(at + 1, rest.size()) == rest)
            return at;
    }
    return -1;
}

// One left-to-right pass; false when there was nothing to replace. *replaced gets where the
// replacements lie in the result.
bool replaceOnce(QString &text, QStringView target, QStringView replacement, QList<qsizetype> *replaced = nullptr)
{
    qsizetype at = find(text, target, 0);
    if (at < 0)
        return false;
    QString result;
    result.reserve(text.size());
    qsizetype copied = 0;
    for (; at >= 0; at = find(text, target, at + target.size())) {
        result += QStringView(text).mid(copied, at - copied);
        if (replaced)
            replaced->append(result.size());
        result += replacement;
        copied = at + target.size();
    }
    result += QStringView(text).mid(copied);
    text = std::move(result);
    return true;
}

// Whether a pass left an occurrence. One can only straddle a replacement: the text between two
// replacements was searched whole and held none, so only the windows around them are looked at.
bool occursAroundReplacements(const QString &text, QStringView target, qsizetype replacementSize,
                              const QList<qsizetype> &replaced)
{
    for (const qsizetype start : replaced) {
        const qsizetype from = std::max<qsizetype>(0, start - target.size() + 1);
        const qsizetype to = std::min(text.size(), start + replacementSize + target.size() - 1);
        if (find(QStringView(text).mid(from, to - from), target, 0) >= 0)
            return true;
    }
    return false;
}

// What repeating "\r " -> "\r" ends with, in one pass: every space after a line break goes, however
// many follow it. Repeating literally takes a pass per space of the deepest indented line.
QString dropSpacesAfterReturns(const QString &text)
{
    QString result;
    result.reserve(text.size());
    qsizetype copied = 0;
    for (qsizetype at = text.indexOf(u'\r'); at >= 0; at = text.indexOf(u'\r', copied)) {
        result += QStringView(text).mid(copied, at + 1 - copied);
        copied = at + 1;
        while (copied < text.size() && text[copied] == u' ')
            ++copied;
    }
    result += QStringView(text).mid(copied);
    return result;
}

// True when `text` is `count` (at least one) copies of one character, given back in *c.
bool isRunOf(QStringView text, QChar *c)
{
    if (text.isEmpty())
        return false;
    *c = text.front();
    return std::all_of(text.begin(), text.end(), [&](QChar x) { return x == *c; });
}

// What repeating "c"*k -> "c"*j (j < k) ends with, in one pass: each pass leaves a run of n
// characters c as j * (n / k) + n % k of them, until fewer than k are left; runs never merge.
QString collapseRuns(const QString &text, QChar c, qsizetype k, qsizetype j)
{
    QString result;
    result.reserve(text.size());
    qsizetype copied = 0;
    for (qsizetype at = text.indexOf(c); at >= 0; at = text.indexOf(c, copied)) {
        result += QStringView(text).mid(copied, at - copied);
        qsizetype end = at;
        while (end < text.size() && text[end] == c)
            ++end;
        qsizetype n = end - at;
        while (n >= k)
            n = j * (n / k) + n % k;
        result += QString(n, c);
        copied = end;
    }
    result += QStringView(text).mid(copied);
    return result;
}

} // namespace

namespace TextReplace {

// Every occurrence of `target` replaced, repeated while a pass found one.
QString replaceRepeatedly(QString text, QStringView target, QStringView replacement)
{
    if (target.isEmpty())
        return text;
    if (target == u"\r " && replacement == u"\r")
        return dropSpacesAfterReturns(text);
    QChar c;
    QChar r;
    // Repeated passes of these two shapes end where one pass of their own would.
    if (target.size() == 1 && !replacement.contains(target.front()))
        return text.replace(target.front(), replacement.toString());
    if (isRunOf(target, &c) && (replacement.isEmpty() || (isRunOf(replacement, &r) && r == c)) &&
        replacement.size() < target.size())
        return collapseRuns(text, c, target.size(), replacement.size());
    // Repeating would never end when the replacement brings the target back: one pass then.
    if (replacement.contains(target)) {
        replaceOnce(text, target, replacement);
        return text;
    }
    QList<qsizetype> replaced;
    while (replaceOnce(text, target, replacement, &replaced)) {
        if (!occursAroundReplacements(text, target, replacement.size(), replaced))
            break;
        replaced.clear();
    }
    return text;
}

} // namespace TextReplace
