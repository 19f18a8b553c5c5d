#include "TVRContactsManager.h"
#include "TVRiPod.h"

#include "core/Logging_p.h"
#include "core/PathUtils.h"
#include "core/StringEncoding.h"

#include <algorithm>

namespace {

constexpr qsizetype kOrgLineLength = 2000;

} // namespace

std::shared_ptr<TVRContactsManager> TVRContactsManager::managerForiPod(const TVRiPodPtr &iPod, const QString &name)
{
    return std::make_shared<TVRContactsManager>(Passkey{}, iPod, name);
}

TVRContactsManager::TVRContactsManager(Passkey, const TVRiPodPtr &iPod, const QString &name)
    : m_name(QStringLiteral("TVR-") + PathUtils::deletingPathExtension(name))
    , m_iPod(iPod)
{
    m_contactsPath =
        PathUtils::appendingPathComponent(iPod ? iPod->contactsFolder() : QString(), m_name + QStringLiteral(".vcf"));
}

QString TVRContactsManager::cardWithText(const QString &text, const QString &title)
{
    QString escaped = text;
    escaped.replace(QLatin1Char('\n'), QStringLiteral("\\n"));
    escaped.replace(QLatin1Char('\r'), QStringLiteral("\\n"));
    QString orgLines;
    for (qsizetype start = 0; start < escaped.size();) {
        qsizetype length = std::min(kOrgLineLength, escaped.size() - start);
        // A line never ends between the two halves of a character beyond 16 bits (an emoji, say):
        // split, neither half could be written.
        if (length == kOrgLineLength && escaped.at(start + length - 1).isHighSurrogate())
            --length;
        orgLines += QStringLiteral("ORG:") + escaped.mid(start, length) + QLatin1Char('\r');
        start += length;
    }
    return QStringLiteral("BEGIN:VCARD\rVERSION:3.0\rN:") + title + QLatin1Char('\r') + orgLines +
           QStringLiteral("END:VCARD\r");
}

void TVRContactsManager::appendContactWithText(const QString &text, const QString &title)
{
    m_contacts += cardWithText(text, title);
}

void TVRContactsManager::appendContact(const QString &card)
{
    m_contacts += card;
}

void TVRContactsManager::appendContactData(const QByteArray &data)
{
    std::optional<QString> text = StringEncoding::decode(data, StringEncoding::UTF8);
    if (!text)
        text = StringEncoding::decode(data, StringEncoding::Unicode);
    if (text)
        m_contacts += *text;
}

bool TVRContactsManager::writeContactsFileToiPod()
{
    m_lastError.clear();
    if (m_contacts.isEmpty() || !m_iPod)
        return false;
    // The default encoding is UTF-8, which holds every character: 16-bit Unicode, the fallback for
    // narrower defaults, would fail wherever UTF-8 does (text with a broken surrogate pair).
    const std::optional<QByteArray> bytes = StringEncoding::encode(m_contacts, StringEncoding::Default);
    if (bytes && m_iPod->writeFileToiPod(m_contactsPath, *bytes))
        return true;
    m_lastError = bytes ? m_iPod->errorString()
                        : QStringLiteral("Cannot write %1: the text cannot be encoded").arg(m_contactsPath);
    qCWarning(lcIPod).noquote() << m_lastError;
    return false;
}

RemovalReport TVRContactsManager::removeContactsFileFromiPod() const
{
    const QByteArray path = m_iPod ? m_iPod->pathOnVolume(m_contactsPath) : QByteArray();
    if (path.isEmpty())
        return {};
    return m_iPod->removeOwnFiles({path});
}

// Here rather than with TVRiPod, so that the iPod does not depend on the writer that depends on it.
std::shared_ptr<TVRContactsManager> TVRiPod::contactsManagerNamed(const QString &name)
{
    return TVRContactsManager::managerForiPod(shared_from_this(), name);
}
