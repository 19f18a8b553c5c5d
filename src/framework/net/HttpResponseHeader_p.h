#pragma once

#include "tivaro_export.h"

#include "TVRURLResponse.h"

#include <QByteArray>
#include <QUrl>

// The header of one HTTP answer, read line by line as the network library hands the lines over: a
// status line, fields, an empty line. Lines outside a header (trailers after a chunked body) are
// ignored. Server bytes: anything may come, nothing is trusted.
class TIVARO_AUTOTEST_EXPORT HttpResponseHeader
{
public:
    enum class Line { Status, Field, End, Ignored };

    // The URL the answers are for, kept in response().
    explicit HttpResponseHeader(const QUrl &url = QUrl());

    // Reads one line, with or without its line break, and says what it was. A status line begins a
    // new header.
    Line read(const QByteArray &line);

    // The header read so far, with its MIME type, encoding name and length filled in at its end.
    const TVRURLResponse &response() const { return m_response; }
    int statusCode() const { return m_response.statusCode; }
    // The last value of the field, or null.
    QByteArray value(const QByteArray &name) const;
    // Where a 3xx answer with a Location sends the client, resolved against the URL; empty for any
    // other answer.
    QUrl redirectTarget() const;
    // The body's announced length when the body comes as it is read (not compressed); -1 otherwise.
    qint64 identityLength() const;

private:
    void complete();

    TVRURLResponse m_response;
    bool m_open = false;
};
