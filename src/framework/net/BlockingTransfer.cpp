#include "BlockingTransfer_p.h"

#include "DownloadURL_p.h"
#include "HttpResponseHeader_p.h"

#include "core/Logging_p.h"

#include <QCoreApplication>
#include <QFileInfo>

#include <curl/curl.h>

#include <cerrno>
#include <climits>
#include <memory>
#include <mutex>

namespace {

// As many as a browser follows before it calls it a loop.
constexpr int kMaximumRedirects = 20;
// How often a running download looks at its limits when no data wakes it.
constexpr int kPollMs = 100;

void initialiseCurl()
{
    static std::once_flag once;
    std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

// On the main thread as the application starts: OpenSSL, which curl starts, keeps state for the
// thread that started it, and frees it at exit only for the main thread.
Q_COREAPP_STARTUP_FUNCTION(initialiseCurl)

std::mutex shareLocks[CURL_LOCK_DATA_LAST];

void lockShare(CURL *, curl_lock_data data, curl_lock_access, void *)
{
    shareLocks[data].lock();
}

void unlockShare(CURL *, curl_lock_data data, void *)
{
    shareLocks[data].unlock();
}

// The connections, name look-ups and TLS sessions of every download of the process, kept as a
// browser keeps them: the next download from a server reuses the connection of the last one. It
// lives as long as the process.
CURLSH *sharedCaches()
{
    static CURLSH *const share = [] {
        initialiseCurl();
        CURLSH *caches = curl_share_init();
        curl_share_setopt(caches, CURLSHOPT_LOCKFUNC, &lockShare);
        curl_share_setopt(caches, CURLSHOPT_UNLOCKFUNC, &unlockShare);
        curl_share_setopt(caches, CURLSHOPT_SHARE, CURL_LOCK_DATA_CONNECT);
        curl_share_setopt(caches, CURLSHOPT_SHARE, CURL_LOCK_DATA_DNS);
        curl_share_setopt(caches, CURLSHOPT_SHARE, CURL_LOCK_DATA_SSL_SESSION);
        return caches;
    }();
    return share;
}

struct EasyCleanup {
    void operator()(CURL *easy) const { curl_easy_cleanup(easy); }
};
struct MultiCleanup {
    void operator()(CURLM *multi) const { curl_multi_cleanup(multi); }
};
struct ListFree {
    void operator()(curl_slist *list) const { curl_slist_free_all(list); }
};

// Cookies and credentials are for the site they were given for.
bool isPersonal(const QByteArray &headerName)
{
    return headerName.compare("Authorization", Qt::CaseInsensitive) == 0 ||
           headerName.compare("Cookie", Qt::CaseInsensitive) == 0;
}

bool isTlsFailure(CURLcode code)
{
    switch (code) {
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_CRL_BADFILE:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_PINNEDPUBKEYNOTMATCH:
    case CURLE_SSL_INVALIDCERTSTATUS:
    case CURLE_SSL_ENGINE_INITFAILED:
    case CURLE_USE_SSL_FAILED:
        return true;
    default:
        return false;
    }
}

// curl's own words for a failure, begun in lower case like ours ("couldn't open file ...").
QString reasonOf(CURLcode code, const char *errorBuffer)
{
    QString text = QString::fromUtf8(*errorBuffer ? errorBuffer : curl_easy_strerror(code)).trimmed();
    if (text.size() > 1 && text.at(0).isUpper() && text.at(1).isLower())
        text[0] = text.at(0).toLower();
    return text;
}

int milliseconds(double seconds)
{
    return int(qBound(0.0, seconds * 1000.0, double(INT_MAX)));
}

} // namespace

// One request and its answer, as the curl callbacks see it.
struct BlockingTransfer::Hop {
    BlockingTransfer *transfer = nullptr;
    const Observer *observer = nullptr;
    CURL *easy = nullptr;
    CURLM *multi = nullptr;
    QUrl url;
    // The target when the answer is a redirect.
    QUrl next;
    HttpResponseHeader header;
    // A whole header of an answer other than a redirect has arrived.
    bool answered = false;
    // The body of the current answer is a redirect's and is dropped.
    bool redirecting = false;
    // The current body's announced length, when it is sent as it is read (not compressed).
    qint64 expected = -1;
    // Set by a callback that ends the transfer.
    DownloadFailure stop;
    char error[CURL_ERROR_SIZE] = {};
};

BlockingTransfer::BlockingTransfer(const Request &request, const DownloadLimits &limits,
                                   const std::optional<DownloadCredential> &credential)
    : m_request(request)
    , m_limits(limits)
    , m_credential(credential)
    , m_data("", 0)
{}

BlockingTransfer::~BlockingTransfer() = default;

bool BlockingTransfer::canLoad(const QUrl &url)
{
    const QString scheme = url.scheme();
    return url.isValid() && !url.isRelative() && (scheme == u"http" || scheme == u"https" || scheme == u"file");
}

DownloadFailure BlockingTransfer::run(const Observer &observer)
{
    if (!canLoad(m_request.url))
        return DownloadFailure::other(
            QStringLiteral("\"%1\" is not an http, https or file address").arg(m_request.url.toDisplayString()));
    // A device or a pipe could be read for ever, and no limit stops a read that blocks. A file that
    // is not there is left to curl to report.
    if (const QFileInfo file(m_request.url.toLocalFile());
        m_request.url.isLocalFile() && file.exists() && !file.isFile())
        return DownloadFailure::other(QStringLiteral("%1 is not a regular file").arg(file.filePath()));
    initialiseCurl();
    m_started.start();
    const std::unique_ptr<CURL, EasyCleanup> easy(curl_easy_init());
    const std::unique_ptr<CURLM, MultiCleanup> multi(curl_multi_init());
    if (!easy || !multi)
        return DownloadFailure::other(QStringLiteral("the network library could not start a download"));
    {
        const QMutexLocker lock(&m_mutex);
        m_multi = multi.get();
    }
    Hop hop;
    hop.transfer = this;
    hop.observer = &observer;
    hop.easy = easy.get();
    hop.multi = multi.get();
    hop.url = m_request.url;
    DownloadFailure failure;
    for (int redirects = 0;; ++redirects) {
        failure = fetch(hop);
        if (failure || hop.next.isEmpty())
            break;
        if (!DownloadURL::isFollowable(hop.next)) {
            failure = DownloadFailure::redirectRefused(hop.next);
            break;
        }
        if (redirects == kMaximumRedirects) {
            failure = DownloadFailure::redirectLoop(kMaximumRedirects);
            break;
        }
        hop.url = hop.next;
        if (observer.redirected)
            observer.redirected(hop.url);
    }
    {
        const QMutexLocker lock(&m_mutex);
        m_multi = nullptr;
    }
    if (failure)
        qCDebug(lcNet).noquote() << "Download of" << hop.url.toDisplayString() << "failed:" << failure.text();
    else if (!hop.answered && observer.responded) {
        // A file has no header of its own.
        TVRURLResponse response;
        response.url = hop.url;
        response.expectedContentLength = data().size();
        observer.responded(response);
    }
    return failure;
}

void BlockingTransfer::cancel()
{
    m_cancelled = true;
    const QMutexLocker lock(&m_mutex);
    if (m_multi)
        curl_multi_wakeup(m_multi);
}

QByteArray BlockingTransfer::data() const
{
    const QMutexLocker lock(&m_mutex);
    return m_data;
}

DownloadFailure BlockingTransfer::fetch(Hop &hop)
{
    hop.next = QUrl();
    hop.header = HttpResponseHeader(hop.url);
    hop.answered = hop.redirecting = false;
    hop.expected = -1;
    hop.error[0] = '\0';
    CURL *easy = hop.easy;
    const bool atOrigin = DownloadURL::haveSameOrigin(hop.url, m_request.url);
    curl_slist *headers = nullptr;
    for (const auto &[name, value] : m_request.headers) {
        // As curl's own redirects do: what identifies the user to one site is not sent to another.
        if (atOrigin || !isPersonal(name))
            headers = curl_slist_append(headers, QByteArray(name + ": " + value).constData());
    }
    const std::unique_ptr<curl_slist, ListFree> headerList(headers);
    curl_easy_setopt(easy, CURLOPT_URL, hop.url.toEncoded().constData());
    curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https,file");
    curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 0L);
    curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(easy, CURLOPT_SHARE, sharedCaches());
    // Whatever compression curl reads; the body is counted as decoded.
    curl_easy_setopt(easy, CURLOPT_ACCEPT_ENCODING, "");
    curl_easy_setopt(easy, CURLOPT_HTTPHEADER, headerList.get());
    curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, hop.error);
    curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, &BlockingTransfer::onHeader);
    curl_easy_setopt(easy, CURLOPT_HEADERDATA, &hop);
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &BlockingTransfer::onBody);
    curl_easy_setopt(easy, CURLOPT_WRITEDATA, &hop);
    if (m_credential && atOrigin) {
        // Any scheme the server offers, and only once it has asked: nothing is sent unasked.
        curl_easy_setopt(easy, CURLOPT_HTTPAUTH, CURLAUTH_ANY);
        curl_easy_setopt(easy, CURLOPT_USERNAME, m_credential->user.toUtf8().constData());
        curl_easy_setopt(easy, CURLOPT_PASSWORD, m_credential->password.toUtf8().constData());
    } else {
        curl_easy_setopt(easy, CURLOPT_USERNAME, static_cast<const char *>(nullptr));
        curl_easy_setopt(easy, CURLOPT_PASSWORD, static_cast<const char *>(nullptr));
    }
    curl_multi_add_handle(hop.multi, easy);
    const DownloadFailure failure = drive(hop);
    curl_multi_remove_handle(hop.multi, easy);
    curl_easy_setopt(easy, CURLOPT_HTTPHEADER, static_cast<curl_slist *>(nullptr));
    return failure;
}

DownloadFailure BlockingTransfer::drive(Hop &hop)
{
    m_sinceData.start();
    for (;;) {
        int running = 0;
        curl_multi_perform(hop.multi, &running);
        if (hop.stop)
            return hop.stop;
        if (!running)
            break;
        if (m_cancelled)
            return DownloadFailure::cancelled();
        if (m_started.hasExpired(milliseconds(m_limits.deadlineSeconds)))
            return DownloadFailure::deadlinePassed(m_limits.deadlineSeconds);
        if (m_request.idleTimeoutMs > 0 && m_sinceData.hasExpired(m_request.idleTimeoutMs))
            return DownloadFailure::noData(DownloadFailure::Stalled, m_request.idleTimeoutMs / 1000.0);
        curl_multi_poll(hop.multi, nullptr, 0, kPollMs, nullptr);
    }
    CURLcode code = CURLE_OK;
    int queued = 0;
    while (const CURLMsg *message = curl_multi_info_read(hop.multi, &queued)) {
        if (message->msg == CURLMSG_DONE)
            code = message->data.result;
    }
    return outcomeOf(int(code), hop);
}

DownloadFailure BlockingTransfer::outcomeOf(int result, const Hop &hop) const
{
    const auto code = CURLcode(result);
    const qint64 received = data().size();
    switch (code) {
    case CURLE_OK:
        break;
    case CURLE_COULDNT_RESOLVE_HOST:
        return DownloadFailure::hostNotFound(hop.url.host());
    case CURLE_COULDNT_CONNECT: {
        long systemError = 0;
        curl_easy_getinfo(hop.easy, CURLINFO_OS_ERRNO, &systemError);
        if (systemError == ECONNREFUSED)
            return DownloadFailure::refused();
        return DownloadFailure::other(reasonOf(code, hop.error));
    }
    case CURLE_PARTIAL_FILE:
        return DownloadFailure::cutShort(received, hop.expected);
    case CURLE_RECV_ERROR:
    case CURLE_SEND_ERROR:
    case CURLE_GOT_NOTHING:
    case CURLE_HTTP2:
    case CURLE_HTTP2_STREAM:
        if (hop.answered)
            return DownloadFailure::cutShort(received, hop.expected);
        return DownloadFailure::noAnswer();
    default:
        if (isTlsFailure(code))
            return DownloadFailure::tls(reasonOf(code, hop.error));
        return DownloadFailure::other(reasonOf(code, hop.error));
    }
    // A challenge left unanswered or refused fails the download, as the server kept the document.
    const int status = hop.header.statusCode();
    if (hop.answered && (status == 401 || status == 407)) {
        if (m_credential && !DownloadURL::haveSameOrigin(hop.url, m_request.url))
            return DownloadFailure::credentialWithheld(hop.url, m_request.url);
        return DownloadFailure::authenticationRefused(m_credential.has_value());
    }
    return {};
}

size_t BlockingTransfer::onHeader(char *buffer, size_t size, size_t count, void *data)
{
    auto &hop = *static_cast<Hop *>(data);
    hop.transfer->headerLine(hop, QByteArray(buffer, qsizetype(size * count)));
    // Anything but the whole length makes curl stop the transfer.
    return hop.stop ? 0 : size * count;
}

void BlockingTransfer::headerLine(Hop &hop, const QByteArray &line)
{
    m_sinceData.restart();
    switch (hop.header.read(line)) {
    case HttpResponseHeader::Line::Status:
        hop.redirecting = false;
        hop.next = QUrl();
        return;
    case HttpResponseHeader::Line::Field:
    case HttpResponseHeader::Line::Ignored:
        return;
    case HttpResponseHeader::Line::End:
        break;
    }
    // 100 Continue and its kind come before the answer itself.
    if (hop.header.statusCode() < 200)
        return;
    if (const QUrl target = hop.header.redirectTarget(); !target.isEmpty()) {
        hop.redirecting = true;
        hop.next = target;
        return;
    }
    hop.expected = hop.header.identityLength();
    hop.answered = true;
    clearBody(hop.expected);
    if (hop.observer->responded)
        hop.observer->responded(hop.header.response());
    if (hop.expected > m_limits.maximumBytes)
        hop.stop = DownloadFailure::tooLarge(m_limits.maximumBytes);
}

size_t BlockingTransfer::onBody(char *buffer, size_t size, size_t count, void *data)
{
    auto &hop = *static_cast<Hop *>(data);
    BlockingTransfer &transfer = *hop.transfer;
    transfer.m_sinceData.restart();
    const size_t length = size * count;
    if (hop.redirecting)
        return length;
    if (!transfer.appendBody(buffer, qint64(length))) {
        hop.stop = DownloadFailure::tooLarge(transfer.m_limits.maximumBytes);
        return 0;
    }
    if (hop.observer->received)
        hop.observer->received();
    return length;
}

bool BlockingTransfer::appendBody(const char *bytes, qint64 length)
{
    const QMutexLocker lock(&m_mutex);
    const qint64 size = m_data.size() + length;
    if (size > m_limits.maximumBytes)
        return false;
    // Doubling, but never to more room than the limit allows.
    if (size > m_data.capacity())
        m_data.reserve(qsizetype(qMin(qMax(size, 2 * qint64(m_data.capacity())), m_limits.maximumBytes)));
    m_data.append(bytes, qsizetype(length));
    return true;
}

void BlockingTransfer::clearBody(qint64 expected)
{
    const QMutexLocker lock(&m_mutex);
    m_data = QByteArray("", 0);
    // Room for the whole announced body at once rather than by doubling.
    if (expected > 0 && expected <= m_limits.maximumBytes)
        m_data.reserve(qsizetype(expected));
}
