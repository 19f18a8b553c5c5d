#pragma once

#include "NewsSubscription.h"
#include "NewsSync.h"

#include "plugins/TVRPlugin.h"

#include <memory>

// "News": one note per news feed of a subscriptions file (OPML), listing the latest articles with
// their summaries, or linking each to a page of its own. The file is the preference "subscriptions"
// (`tivaro news import FILE` sets it); the preferences "numberOfArticles", "withArticles" and
// "showSummary" are the defaults each feed's outline attributes of the same names can override.
class NewsPlugin : public TVRPlugin
{
    Q_OBJECT

public:
    static const QString subscriptionsKey; // "subscriptions"

    void initPlugin() override;
    qint32 prepareSync(bool *needsInternet, TVRSyncInfo *syncInfo) override;
    void sync(TVRSyncInfo *syncInfo) override;
    void cancelSync() override;

private:
    // The feeds to sync; nullopt with *problem saying why when there are none to read.
    std::optional<QList<NewsSubscription>> subscriptions(QString *problem) const;

    std::unique_ptr<NewsSync> m_sync;
};
