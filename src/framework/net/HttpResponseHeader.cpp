#include "HttpResponseHeader_p.h"

HttpResponseHeader::HttpResponseHeader(const QUrl &url)
{
    m_response.url = url;
}

HttpResponseHeader::Line HttpResponseHeader::read(const QByteArray &line)
{
    const QByteArray text = line.trimmed();
    if (text.startsWith("HTTP/")) {
        const QUrl url = m_response.url;
        m_response = TVRURLResponse();
        m_response.url = url;
        // "HTTP/1.1 200 OK", "HTTP/2 200"
        m_response.statusCode = text.split(' ').value(1).toInt();
        m_open = true;
        return Line::Status;
    }
    if (!m_open)
        return Line::Ignored;
    if (text.isEmpty()) {
        m_open = false;
        complete();
        return Line::End;
    }
    const qsizetype colon = text.indexOf(':');
    if (colon <= 0)
        return Line::Ignored;
    m_response.headers.append({text.left(colon).trimmed(), text.mid(colon + 1).trimmed()});
    return Line::Field;
}

QByteArray HttpResponseHeader::value(const QByteArray &name) const
{
    QByteArray found;
    for (const auto &[key, text] : m_response.headers) {
        if (key.compare(name, Qt::CaseInsensitive) == 0)
            found = text;
    }
    return found;
}

QUrl HttpResponseHeader::redirectTarget() const
{
    const QByteArray location = value("Location");
    if (statusCode() < 300 || statusCode() >= 400 || location.isEmpty())
        return QUrl();
    return m_response.url.resolved(QUrl(QString::fromUtf8(location)));
}

qint64 HttpResponseHeader::identityLength() const
{
    const QByteArray encoding = value("Content-Encoding").trimmed().toLower();
    // A compressed body is longer, once read, than its Content-Length says.
    return encoding.isEmpty() || encoding == "identity" ? m_response.expectedContentLength : -1;
}

void HttpResponseHeader::complete()
{
    // "text/html; charset=EUC-JP" gives the MIME type and the encoding name.
    const QList<QByteArray> parts = value("Content-Type").split(';');
    m_response.mimeType = QString::fromLatin1(parts.value(0).trimmed()).toLower();
    for (qsizetype i = 1; i < parts.size(); ++i) {
        const QByteArray parameter = parts.at(i).trimmed();
        if (parameter.toLower().startsWith("charset="))
            m_response.textEncodingName = QString::fromLatin1(parameter.mid(8)).remove(QLatin1Char('"'));
    }
    bool isNumber = false;
    const qint64 length = value("Content-Length").trimmed().toLongLong(&isNumber);
    m_response.expectedContentLength = isNumber && length >= 0 ? length : -1;
}
