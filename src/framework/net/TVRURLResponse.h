#pragma once

#include "tivaro_export.h"

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QString>
#include <QUrl>

// The header of one HTTP (or file) response, as a downloader last received it.
struct TIVARO_EXPORT TVRURLResponse {
    QUrl url;
    int statusCode = 0; // 0 when the scheme has none
    QString mimeType;
    QString textEncodingName;
    qint64 expectedContentLength = -1; // -1 when unknown
    QList<QPair<QByteArray, QByteArray>> headers;
};
