#pragma once

#include "tivaro_export.h"

#include "TVRiPodPtr.h"

#include "RemovalReport.h"

#include <QByteArray>
#include <QString>

#include <memory>

// Gathers vCard 3.0 cards in memory and writes them as one "TVR-<name>.vcf" file into the iPod's
// Contacts folder: how text reaches iPods that show contacts but no notes. Lives for one sync step;
// one thread at a time.
class TIVARO_EXPORT TVRContactsManager
{
    struct Passkey {};

public:
    static std::shared_ptr<TVRContactsManager> managerForiPod(const TVRiPodPtr &iPod, const QString &name);
    TVRContactsManager(Passkey, const TVRiPodPtr &iPod, const QString &name);

    // One card titled `title` whose ORG lines carry `text`, line breaks escaped, 2000 characters a line.
    void appendContactWithText(const QString &text, const QString &title);
    // A ready-made card, appended as it is.
    void appendContact(const QString &card);
    // Bytes holding a card in UTF-8 or, failing that, 16-bit Unicode; skipped when neither fits.
    void appendContactData(const QByteArray &data);

    // Writes every gathered card, replacing the file. False without touching the iPod when nothing
    // was gathered; false when the write fails (see errorString()).
    bool writeContactsFileToiPod();
    // Removes the file when it is Tivaro's own; the report says whether it went.
    RemovalReport removeContactsFileFromiPod() const;

    // Length of the gathered text in UTF-16 units.
    qint32 dataLength() const { return qint32(m_contacts.size()); }
    QString contactsPath() const { return m_contactsPath; }
    QString name() const { return m_name; }
    QString contacts() const { return m_contacts; }
    QString errorString() const { return m_lastError; }

    static QString cardWithText(const QString &text, const QString &title);

private:
    QString m_contactsPath;
    QString m_name;
    QString m_contacts;
    TVRiPodPtr m_iPod;
    QString m_lastError;
};
