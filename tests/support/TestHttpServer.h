#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QMutex>
#include <QString>
#include <QThread>
#include <QUrl>

#include <memory>

class QTcpServer;
class QTcpSocket;

// A real HTTP/1.1 server on 127.0.0.1 with a port of its own, for tests and benchmarks of code that
// downloads. It runs on a thread of its own, so a test may block its main thread on a download (the
// synchronous ones) and the server still answers. Connections are kept alive between requests.
//
// Paths answer as follows (paths are matched without their query, so "?n=1" makes URLs distinct):
//   set with serve()               that body, content type and status 200
//   /redirect/N/<path>             302 to /redirect/N-1/<path>; the last of the N hops goes to /<path>
//   /location?<encoded URL>        302 to that URL, whatever its scheme or host (see redirectTo())
//   /loop                          302 to itself, for ever
//   /auth/USER/PASSWORD/<path>     401 with a Basic challenge (realm "tivaro-test") unless the request
//                                  carries that user and password; then it answers as /<path>
//   /stall/N                       a header announcing more than N bytes, N bytes, then silence
//   /drip/COUNT/MS                 COUNT chunks of dripChunk(), one every MS milliseconds
//   /reset                         resets the connection (TCP RST) without answering
//   /partial/N                     a header announcing 2N bytes, N bytes, then a reset
//   /short/N                       a header announcing 2N bytes, N bytes, then an orderly close
//   /chunked/N                     N bytes of patternBytes() in chunks of at most 1000, ended properly
//                                  and followed by a trailer field
//   /brokenchunks/N                a chunked answer of N bytes that closes before its last chunk
//   /cut/N/<path>                  the body served at /<path>, announced whole, cut after N bytes by
//                                  an orderly close
//   /endless/MS                    a chunked answer of dripChunk() every MS milliseconds, never ending
//   /generate/N                    N bytes of patternBytes(), made as the client reads them (never held
//                                  whole), with their Content-Length
//   /generate/N/unsized            the same without a Content-Length, ended by closing the connection
//   /eucjp                         eucJpBody() as "text/plain" without a charset
//   /bytes/N                       N bytes of patternBytes(N), "application/octet-stream"
//   /status/CODE                   that status with the body "status CODE"
//   anything else                  404 with the body "not found"
// A connection that opens with a TLS handshake (an https URL of this server) gets a plain 400 and is
// closed, as a web server's plain port answers. Every request's headers are kept (requestHeaders()).
class TestHttpServer
{
public:
    // Listens at once; isListening() says whether that worked.
    TestHttpServer();
    ~TestHttpServer();
    TestHttpServer(const TestHttpServer &) = delete;
    TestHttpServer &operator=(const TestHttpServer &) = delete;

    bool isListening() const { return m_port != 0; }
    quint16 port() const { return m_port; }
    // http://<host>:<port><path>; `path` starts with "/". The server listens on 127.0.0.1 only, which
    // "localhost" also reaches: another host to a client that compares names.
    QUrl url(const QString &path, const QString &host = QStringLiteral("127.0.0.1")) const;
    // A URL of this server that redirects to `target`.
    QUrl redirectTo(const QUrl &target) const;

    // Makes `path` answer with `body`; may be called while the server runs.
    void serve(const QString &path, const QByteArray &body,
               const QByteArray &contentType = QByteArrayLiteral("text/plain; charset=utf-8"));

    // Requests received so far, all or those for one path (without query).
    int requestCount() const;
    int requestCount(const QString &path) const;
    // The headers (names in lower case) of each request for `path`, in order.
    QList<QHash<QByteArray, QByteArray>> requestHeaders(const QString &path) const;

    // "日本語のテキスト" as EUC-JP bytes (not valid UTF-8), and the text itself.
    static QByteArray eucJpBody();
    static QString eucJpText();
    // What /drip sends each time.
    static QByteArray dripChunk();
    // The first `size` bytes of a fixed pattern, as /bytes/N serves them.
    static QByteArray patternBytes(qint64 size);

private:
    struct Request {
        QByteArray method;
        QString path;
        QByteArray query;                      // after "?", as sent
        QHash<QByteArray, QByteArray> headers; // names in lower case
    };
    struct Route {
        QByteArray body;
        QByteArray contentType;
    };

    void listen();
    void accept();
    void readRequests(QTcpSocket *socket, QByteArray &buffer);
    void answer(QTcpSocket *socket, const Request &request, const QString &path);
    bool answerBuiltIn(QTcpSocket *socket, const Request &request, const QString &path);
    void drip(QTcpSocket *socket, int count, int intervalMs);
    static void dripForever(QTcpSocket *socket, int intervalMs);
    static void generate(QTcpSocket *socket, qint64 size, bool sized);
    static void writeResponse(QTcpSocket *socket, int status, const QByteArray &body, const QByteArray &contentType,
                              const QByteArray &extraHeaders = {});
    static void reset(QTcpSocket *socket);

    QThread m_thread;
    std::unique_ptr<QObject> m_context; // lives on m_thread; parent of the server and its sockets
    QTcpServer *m_server = nullptr;
    quint16 m_port = 0;
    mutable QMutex m_mutex;
    QHash<QString, Route> m_routes;
    QHash<QString, int> m_counts;
    QHash<QString, QList<QHash<QByteArray, QByteArray>>> m_headers;
    int m_total = 0;
};
