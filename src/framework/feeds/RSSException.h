#pragma once

#include "tivaro_export.h"

#include <QString>

#include <stdexcept>

// Why a feed could not be read: "RSSDownloadFailed" or "RSSNoData" from fetching,
// "RSSCreateHeaderDictionaryFailed", "RSSCreateItemsArrayFailed" or "RSSEntitiesExpandTooFar"
// from reading the tree.
class TIVARO_EXPORT RSSException : public std::runtime_error
{
public:
    RSSException(const QString &name, const QString &reason)
        : std::runtime_error(QStringLiteral("%1: %2").arg(name, reason).toStdString())
        , m_name(name)
        , m_reason(reason)
    {}

    QString name() const { return m_name; }
    QString reason() const { return m_reason; }

private:
    QString m_name;
    QString m_reason;
};
