// News feeds from outside (RSS 0.9x/2.0, RDF, Atom): parsed, every item repaired on a copy, and
// the feed formatted into note text with and without article links, as the feed plug-ins do.
// A repaired item always has a title, a link and a description, however broken the feed; what
// the feed holds stays within a few times its size plus what its entities may expand to; and its
// article pages have distinct names of at most 40 units with no lone surrogate.
#include "feeds/RSS.h"
#include "feeds/XMLDocument_p.h"

#include <QByteArray>
#include <QLoggingCategory>
#include <QSet>
#include <QString>
#include <QVariantMap>

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace {

qsizetype textSize(const QVariant &value)
{
    qsizetype size = 0;
    if (value.typeId() == QMetaType::QVariantMap) {
        const QVariantMap map = value.toMap();
        for (auto it = map.cbegin(); it != map.cend(); ++it)
            size += it.key().size() + textSize(it.value());
        return size;
    }
    return value.toString().size();
}

// Serialised Atom content may write one byte of the input as "&#13;"; entities add their bound.
void checkSizeIsBounded(const RSS &feed, qsizetype inputSize)
{
    qsizetype size = 0;
    for (auto it = feed.headerItems().cbegin(); it != feed.headerItems().cend(); ++it)
        size += it.key().size() + it.value().size();
    for (const RSS::Item &item : feed.newsItems())
        size += textSize(item);
    const qsizetype entities =
        std::min(XMLDocument::kMaxEntityText,
                 std::max(XMLDocument::kFreeEntityText, XMLDocument::kEntityAmplification * inputSize));
    if (size > 8 * inputSize + entities + 1024)
        __builtin_trap();
}

void checkPageNames(const RSS &feed)
{
    QSet<QString> seen;
    for (const QString &name : RSS::articlePageNames(feed.itemsToFormat())) {
        if (name.size() > 40 || seen.contains(name.toCaseFolded()))
            __builtin_trap();
        for (qsizetype i = 0; i < name.size(); ++i) {
            const bool pairStart =
                name.at(i).isHighSurrogate() && i + 1 < name.size() && name.at(i + 1).isLowSurrogate();
            if (pairStart)
                ++i;
            else if (name.at(i).isSurrogate())
                __builtin_trap();
        }
        seen.insert(name.toCaseFolded());
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    // Bytes that are no feed are logged with the reason; at fuzzing speed that is noise.
    QLoggingCategory::setFilterRules(QStringLiteral("tivaro.*=false"));
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    const std::unique_ptr<RSS> feed = RSS::initWithData(bytes);
    if (!feed)
        return 0;
    checkSizeIsBounded(*feed, bytes.size());
    checkPageNames(*feed);
    (void)feed->version();
    for (auto it = feed->headerItems().cbegin(); it != feed->headerItems().cend(); ++it)
        (void)it.value().size();
    for (const RSS::Item &item : feed->newsItems()) {
        RSS::Item copy = item;
        RSS::normalizeRSSItem(copy);
        if (copy.value(QStringLiteral("title")).toString().isEmpty() || !copy.contains(QStringLiteral("link")) ||
            !copy.contains(QStringLiteral("description")))
            __builtin_trap();
    }
    (void)feed->formatWithOptions();
    (void)feed->formatWithOptions({{QStringLiteral("withArticles"), true}});
    return 0;
}
