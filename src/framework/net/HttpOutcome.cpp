#include "HttpOutcome.h"

#include <QNetworkReply>

namespace {

// Qt's error codes for an answer whose status was 4xx or 5xx.
bool isStatusError(QNetworkReply::NetworkError error)
{
    const int code = int(error);
    return (code >= 201 && code <= 299) || (code >= 401 && code <= 499);
}

} // namespace

namespace HttpOutcome {

bool isCompleteAnswer(const QNetworkReply &reply)
{
    const QNetworkReply::NetworkError error = reply.error();
    if (error == QNetworkReply::NoError)
        return true;
    if (error == QNetworkReply::AuthenticationRequiredError || error == QNetworkReply::ProxyAuthenticationRequiredError)
        return false;
    return isStatusError(error) && reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).isValid();
}

TVRURLResponse responseOf(const QNetworkReply &reply)
{
    TVRURLResponse response;
    response.url = reply.url();
    response.statusCode = reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    // "text/html; charset=EUC-JP" gives the MIME type and the encoding name.
    const QByteArray contentType = reply.rawHeader("Content-Type");
    const QList<QByteArray> parts = contentType.split(';');
    response.mimeType = QString::fromLatin1(parts.value(0).trimmed()).toLower();
    for (qsizetype i = 1; i < parts.size(); ++i) {
        const QByteArray parameter = parts.at(i).trimmed();
        if (parameter.toLower().startsWith("charset="))
            response.textEncodingName = QString::fromLatin1(parameter.mid(8)).remove(QLatin1Char('"'));
    }
    const QVariant length = reply.header(QNetworkRequest::ContentLengthHeader);
    if (length.isValid())
        response.expectedContentLength = length.toLongLong();
    for (const QNetworkReply::RawHeaderPair &header : reply.rawHeaderPairs())
        response.headers.append({header.first, header.second});
    return response;
}

} // namespace HttpOutcome
