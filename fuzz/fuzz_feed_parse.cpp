// News feeds from outside (RSS 0.9x/2.0, RDF, Atom): parsed, every item repaired on a copy, and
// the feed formatted into note text with and without article links, as the feed plug-ins do.
// A repaired item always has a title, a link and a description, however broken the feed.
#include "feeds/RSS.h"

#include <QByteArray>
#include <QLoggingCategory>
#include <QString>
#include <QVariantMap>

#include <cstddef>
#include <cstdint>

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
