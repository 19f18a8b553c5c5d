#include "TestHttpServer.h"

#include <QMetaObject>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

#include <sys/socket.h>

namespace {

// /generate writes pieces of this size, keeping at most kGenerateQueued bytes queued.
constexpr qint64 kGeneratePiece = 64 * 1024;
constexpr qint64 kGenerateQueued = 1024 * 1024;

QByteArray reasonPhrase(int status)
{
    switch (status) {
    case 200:
        return QByteArrayLiteral("OK");
    case 302:
        return QByteArrayLiteral("Found");
    case 401:
        return QByteArrayLiteral("Unauthorized");
    case 404:
        return QByteArrayLiteral("Not Found");
    default:
        return QByteArrayLiteral("Status");
    }
}

// The path's segments after its first one: "/drip/3/200" gives ["3", "200"].
QStringList argumentsOf(const QString &path)
{
    return path.split(QLatin1Char('/')).mid(2);
}

// "/auth/u/p/ok" after the first `skip` segments: "/ok"; never empty.
QString tailOf(const QString &path, int skip)
{
    const QStringList segments = path.split(QLatin1Char('/')).mid(skip + 1);
    return QLatin1Char('/') + segments.join(QLatin1Char('/'));
}

} // namespace

TestHttpServer::TestHttpServer()
    : m_context(std::make_unique<QObject>())
{
    m_thread.setObjectName(QStringLiteral("TestHttpServer"));
    m_context->moveToThread(&m_thread);
    m_thread.start();
    QMetaObject::invokeMethod(
        m_context.get(), [this] { listen(); }, Qt::BlockingQueuedConnection);
}

TestHttpServer::~TestHttpServer()
{
    QMetaObject::invokeMethod(
        m_context.get(), [this] { delete m_server; }, Qt::BlockingQueuedConnection);
    m_thread.quit();
    m_thread.wait();
}

QUrl TestHttpServer::url(const QString &path, const QString &host) const
{
    return QUrl(QStringLiteral("http://%1:%2%3").arg(host).arg(m_port).arg(path));
}

QUrl TestHttpServer::redirectTo(const QUrl &target) const
{
    QUrl redirect = url(QStringLiteral("/location"));
    redirect.setQuery(QString::fromLatin1(QUrl::toPercentEncoding(target.toString(QUrl::FullyEncoded))));
    return redirect;
}

void TestHttpServer::serve(const QString &path, const QByteArray &body, const QByteArray &contentType)
{
    const QMutexLocker lock(&m_mutex);
    m_routes.insert(path, {body, contentType});
}

int TestHttpServer::requestCount() const
{
    const QMutexLocker lock(&m_mutex);
    return m_total;
}

int TestHttpServer::requestCount(const QString &path) const
{
    const QMutexLocker lock(&m_mutex);
    return m_counts.value(path);
}

QList<QHash<QByteArray, QByteArray>> TestHttpServer::requestHeaders(const QString &path) const
{
    const QMutexLocker lock(&m_mutex);
    return m_headers.value(path);
}

QByteArray TestHttpServer::eucJpBody()
{
    return QByteArrayLiteral("\xC6\xFC\xCB\xDC\xB8\xEC\xA4\xCE\xA5\xC6\xA5\xAD\xA5\xB9\xA5\xC8");
}

QString TestHttpServer::eucJpText()
{
    return QStringLiteral("日本語のテキスト");
}

QByteArray TestHttpServer::dripChunk()
{
    return QByteArrayLiteral("drip\n");
}

QByteArray TestHttpServer::patternBytes(qint64 size)
{
    static const QByteArray pattern = [] {
        QByteArray bytes(4 << 20, Qt::Uninitialized);
        for (qsizetype i = 0; i < bytes.size(); ++i)
            bytes[i] = char('a' + i % 26);
        return bytes;
    }();
    if (size <= pattern.size())
        return QByteArray::fromRawData(pattern.constData(), qsizetype(size));
    QByteArray bytes(qsizetype(size), Qt::Uninitialized);
    for (qsizetype i = 0; i < bytes.size(); ++i)
        bytes[i] = char('a' + i % 26);
    return bytes;
}

void TestHttpServer::listen()
{
    m_server = new QTcpServer(m_context.get());
    QObject::connect(m_server, &QTcpServer::newConnection, m_server, [this] { accept(); });
    if (m_server->listen(QHostAddress::LocalHost, 0))
        m_port = m_server->serverPort();
}

void TestHttpServer::accept()
{
    while (QTcpSocket *socket = m_server->nextPendingConnection()) {
        auto buffer = std::make_shared<QByteArray>();
        QObject::connect(socket, &QTcpSocket::readyRead, socket, [this, socket, buffer] {
            buffer->append(socket->readAll());
            readRequests(socket, *buffer);
        });
        QObject::connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
    }
}

void TestHttpServer::readRequests(QTcpSocket *socket, QByteArray &buffer)
{
    // A TLS client hello (record type 22) on this plain port.
    if (buffer.startsWith('\x16') && socket->state() == QAbstractSocket::ConnectedState) {
        writeResponse(socket, 400, QByteArrayLiteral("plain HTTP only"), QByteArrayLiteral("text/plain"));
        socket->disconnectFromHost();
        return;
    }
    for (;;) {
        const qsizetype end = buffer.indexOf("\r\n\r\n");
        if (end < 0)
            return;
        const QList<QByteArray> lines = buffer.left(end).split('\n');
        Request request;
        const QList<QByteArray> requestLine = lines.first().trimmed().split(' ');
        request.method = requestLine.value(0);
        const QByteArray target = requestLine.value(1);
        const qsizetype question = target.indexOf('?');
        request.path = QString::fromLatin1(question < 0 ? target : target.left(question));
        request.query = question < 0 ? QByteArray() : target.mid(question + 1);
        for (qsizetype i = 1; i < lines.size(); ++i) {
            const qsizetype colon = lines.at(i).indexOf(':');
            if (colon > 0)
                request.headers.insert(lines.at(i).left(colon).trimmed().toLower(),
                                       lines.at(i).mid(colon + 1).trimmed());
        }
        const qsizetype bodyLength = request.headers.value("content-length").toLongLong();
        if (buffer.size() < end + 4 + bodyLength)
            return;
        buffer.remove(0, end + 4 + bodyLength);
        {
            const QMutexLocker lock(&m_mutex);
            ++m_total;
            ++m_counts[request.path];
            m_headers[request.path].append(request.headers);
        }
        answer(socket, request, request.path);
        if (request.headers.value("connection").toLower() == "close" ||
            socket->state() != QAbstractSocket::ConnectedState) {
            socket->disconnectFromHost();
            return;
        }
    }
}

void TestHttpServer::answer(QTcpSocket *socket, const Request &request, const QString &path)
{
    if (answerBuiltIn(socket, request, path))
        return;
    Route route;
    bool found = false;
    {
        const QMutexLocker lock(&m_mutex);
        found = m_routes.contains(path);
        route = m_routes.value(path);
    }
    if (found)
        writeResponse(socket, 200, request.method == "HEAD" ? QByteArray() : route.body, route.contentType);
    else
        writeResponse(socket, 404, QByteArrayLiteral("not found"), QByteArrayLiteral("text/plain"));
}

bool TestHttpServer::answerBuiltIn(QTcpSocket *socket, const Request &request, const QString &path)
{
    const QString kind = path.section(QLatin1Char('/'), 1, 1);
    const QStringList arguments = argumentsOf(path);
    if (kind == QLatin1String("redirect") && !arguments.isEmpty()) {
        const int hops = arguments.first().toInt();
        const QString rest = tailOf(path, 2);
        const QString next = hops > 1 ? QStringLiteral("/redirect/%1%2").arg(hops - 1).arg(rest) : rest;
        writeResponse(socket, 302, QByteArrayLiteral("moved"), QByteArrayLiteral("text/plain"),
                      "Location: " + next.toLatin1() + "\r\n");
    } else if (kind == QLatin1String("location")) {
        writeResponse(socket, 302, QByteArrayLiteral("moved"), QByteArrayLiteral("text/plain"),
                      "Location: " + QByteArray::fromPercentEncoding(request.query) + "\r\n");
    } else if (kind == QLatin1String("loop")) {
        writeResponse(socket, 302, QByteArrayLiteral("moved"), QByteArrayLiteral("text/plain"),
                      QByteArrayLiteral("Location: /loop\r\n"));
    } else if (kind == QLatin1String("auth") && arguments.size() >= 2) {
        const QByteArray expected =
            "Basic " + (arguments.at(0) + QLatin1Char(':') + arguments.at(1)).toUtf8().toBase64();
        if (request.headers.value("authorization") == expected)
            answer(socket, request, tailOf(path, 3));
        else
            writeResponse(socket, 401, QByteArrayLiteral("authentication required"), QByteArrayLiteral("text/plain"),
                          QByteArrayLiteral("WWW-Authenticate: Basic realm=\"tivaro-test\"\r\n"));
    } else if (kind == QLatin1String("stall") && !arguments.isEmpty()) {
        const qint64 sent = arguments.first().toLongLong();
        socket->write("HTTP/1.1 200 OK\r\nContent-Type: application/octet-stream\r\nContent-Length: " +
                      QByteArray::number(sent + 1000000) + "\r\n\r\n" + patternBytes(sent));
    } else if (kind == QLatin1String("drip") && arguments.size() >= 2) {
        drip(socket, arguments.at(0).toInt(), arguments.at(1).toInt());
    } else if (kind == QLatin1String("reset")) {
        reset(socket);
    } else if (kind == QLatin1String("partial") && !arguments.isEmpty()) {
        const qint64 sent = arguments.first().toLongLong();
        socket->write("HTTP/1.1 200 OK\r\nContent-Type: application/octet-stream\r\nContent-Length: " +
                      QByteArray::number(2 * sent) + "\r\n\r\n" + patternBytes(sent));
        // Time for the bytes to be read before the reset discards what the client has not read.
        socket->disconnectFromHost();
    } else if (kind == QLatin1String("short") && !arguments.isEmpty()) {
        const qint64 sent = arguments.first().toLongLong();
        socket->write("HTTP/1.1 200 OK\r\nContent-Type: application/octet-stream\r\nContent-Length: " +
                      QByteArray::number(2 * sent) + "\r\n\r\n" + patternBytes(sent));
        socket->disconnectFromHost();
    } else if (kind == QLatin1String("cut") && arguments.size() >= 2) {
        Route route;
        {
            const QMutexLocker lock(&m_mutex);
            route = m_routes.value(tailOf(path, 2));
        }
        socket->write("HTTP/1.1 200 OK\r\nContent-Type: " + route.contentType + "\r\nContent-Length: " +
                      QByteArray::number(route.body.size()) + "\r\n\r\n" + route.body.left(arguments.first().toInt()));
        socket->disconnectFromHost();
    } else if (kind == QLatin1String("chunked") && !arguments.isEmpty()) {
        const QByteArray body = patternBytes(arguments.first().toLongLong());
        QByteArray answer = "HTTP/1.1 200 OK\r\nContent-Type: application/octet-stream\r\n"
                            "Transfer-Encoding: chunked\r\nTrailer: X-Checksum\r\n\r\n";
        for (qsizetype at = 0; at < body.size(); at += 1000) {
            const QByteArray chunk = body.mid(at, 1000);
            answer += QByteArray::number(chunk.size(), 16) + "\r\n" + chunk + "\r\n";
        }
        socket->write(answer + "0\r\nX-Checksum: 1\r\n\r\n");
    } else if (kind == QLatin1String("brokenchunks") && !arguments.isEmpty()) {
        const qint64 sent = arguments.first().toLongLong();
        socket->write(
            "HTTP/1.1 200 OK\r\nContent-Type: application/octet-stream\r\nTransfer-Encoding: chunked\r\n\r\n" +
            QByteArray::number(sent, 16) + "\r\n" + patternBytes(sent) + "\r\n");
        // The last chunk ("0") never comes.
        socket->disconnectFromHost();
    } else if (kind == QLatin1String("endless") && !arguments.isEmpty()) {
        dripForever(socket, arguments.first().toInt());
    } else if (kind == QLatin1String("generate") && !arguments.isEmpty()) {
        generate(socket, arguments.first().toLongLong(), arguments.value(1) != QLatin1String("unsized"));
    } else if (kind == QLatin1String("eucjp")) {
        writeResponse(socket, 200, eucJpBody(), QByteArrayLiteral("text/plain"));
    } else if (kind == QLatin1String("bytes") && !arguments.isEmpty()) {
        writeResponse(socket, 200, patternBytes(arguments.first().toLongLong()),
                      QByteArrayLiteral("application/octet-stream"));
    } else if (kind == QLatin1String("status") && !arguments.isEmpty()) {
        const int status = arguments.first().toInt();
        writeResponse(socket, status, "status " + QByteArray::number(status), QByteArrayLiteral("text/plain"));
    } else {
        return false;
    }
    return true;
}

void TestHttpServer::drip(QTcpSocket *socket, int count, int intervalMs)
{
    socket->write("HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\nContent-Length: " +
                  QByteArray::number(qint64(count) * dripChunk().size()) + "\r\n\r\n");
    auto *timer = new QTimer(socket);
    auto remaining = std::make_shared<int>(count);
    QObject::connect(timer, &QTimer::timeout, socket, [socket, timer, remaining] {
        socket->write(dripChunk());
        if (--*remaining <= 0)
            timer->stop();
    });
    timer->start(intervalMs);
}

void TestHttpServer::dripForever(QTcpSocket *socket, int intervalMs)
{
    socket->write("HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\nTransfer-Encoding: chunked\r\n\r\n");
    auto *timer = new QTimer(socket);
    QObject::connect(timer, &QTimer::timeout, socket, [socket] {
        socket->write(QByteArray::number(dripChunk().size(), 16) + "\r\n" + dripChunk() + "\r\n");
    });
    timer->start(intervalMs);
}

void TestHttpServer::generate(QTcpSocket *socket, qint64 size, bool sized)
{
    socket->write("HTTP/1.1 200 OK\r\nContent-Type: application/octet-stream\r\n" +
                  (sized ? "Content-Length: " + QByteArray::number(size) : QByteArrayLiteral("Connection: close")) +
                  "\r\n\r\n");
    auto written = std::make_shared<qint64>(0);
    // Tops the socket's queue up as it drains, so only about kGenerateQueued bytes are ever held.
    const auto topUp = [socket, size, sized, written] {
        while (*written < size && socket->bytesToWrite() < kGenerateQueued) {
            // The pattern repeats every 26 bytes: the piece starts where the last one ended.
            const qint64 length = std::min(kGeneratePiece, size - *written);
            socket->write(patternBytes(kGeneratePiece + 26).constData() + *written % 26, length);
            *written += length;
        }
        if (*written >= size && !sized)
            socket->disconnectFromHost();
    };
    QObject::connect(socket, &QTcpSocket::bytesWritten, socket, topUp);
    topUp();
}

void TestHttpServer::writeResponse(QTcpSocket *socket, int status, const QByteArray &body,
                                   const QByteArray &contentType, const QByteArray &extraHeaders)
{
    socket->write("HTTP/1.1 " + QByteArray::number(status) + ' ' + reasonPhrase(status) +
                  "\r\nContent-Type: " + contentType + "\r\nContent-Length: " + QByteArray::number(body.size()) +
                  "\r\n" + extraHeaders + "\r\n");
    socket->write(body);
}

void TestHttpServer::reset(QTcpSocket *socket)
{
    // Closing with a zero linger time sends a reset instead of an orderly end.
    const linger immediately{1, 0};
    ::setsockopt(int(socket->socketDescriptor()), SOL_SOCKET, SO_LINGER, &immediately, sizeof immediately);
    socket->abort();
}
