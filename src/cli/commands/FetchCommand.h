#pragma once

#include "Command.h"

#include "net/TVRDownloader.h"

#include <optional>

class QEventLoop;

// `tivaro fetch URL`: one download as the sync driver makes it, the body to standard output.
class FetchCommand : public Command, public TVRDownloaderDelegate, public TVRDownloadFailureDelegate
{
public:
    QStringList words() const override { return {QStringLiteral("fetch")}; }
    QString summary() const override { return QStringLiteral("Download a URL as a sync does"); }
    int run(const QStringList &arguments, Console &console) override;

    void downloadFinished(TVRDownloader *downloader) override;
    void downloadFailedWithErrorType(int errorType) override;

private:
    int report(const TVRDownloader &downloader, Console &console) const;

    QEventLoop *m_loop = nullptr;
    std::optional<int> m_errorType;
};
