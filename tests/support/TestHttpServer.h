#pragma once

#include <QByteArray>
#include <QHash>
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
//   /auth/USER/PASSWORD/<path>     401 with a Basic challenge (realm "tivaro-test") unless the request
//                                  carries that user and password; then it answers as /<path>
//   /stall/N                       a header announcing more than N bytes, N bytes, then silence
//   /drip/COUNT/MS                 COUNT chunks of dripChunk(), one every MS milliseconds
//   /reset                         resets the connection (TCP RST) without answering
//   /partial/N                     a header announcing 2N bytes, N bytes, then a reset
//   /eucjp                         eucJpBody() as "text/plain" without a charset
//   /bytes/N                       N bytes of patternBytes(N), "application/octet-stream"
//   /status/CODE                   that status with the body "status CODE"
//   anything else                  404 with the body "not found"
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
    // http://127.0.0.1:<port><path>; `path` starts with "/".
    QUrl url(const QString &path) const;

    // Makes `path` answer with `body`; may be called while the server runs.
    void serve(const QString &path, const QByteArray &body,
               const QByteArray &contentType = QByteArrayLiteral("text/plain; charset=utf-8"));

    // Requests received so far, all or those for one path (without query).
    int requestCount() const;
    int requestCount(const QString &path) const;

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
    int m_total = 0;
};
