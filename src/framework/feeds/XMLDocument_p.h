#pragma once

#include "tivaro_export.h"

#include <QByteArray>
#include <QString>

#include <memory>
#include <optional>

struct _xmlDoc;
struct _xmlNode;

// Owns one libxml2 document for every XMLTree that stands for one of its nodes. It also owns
// the entities that stand in for HTML named entities (&rsquo;, &nbsp;, ...) met while parsing:
// they live in a document of their own so that the parsed one keeps the children it had.
class TIVARO_AUTOTEST_EXPORT XMLDocument
{
public:
    ~XMLDocument();
    XMLDocument(const XMLDocument &) = delete;
    XMLDocument &operator=(const XMLDocument &) = delete;

    // A document holding only an XML declaration node.
    static std::shared_ptr<XMLDocument> createEmpty();
    // A document whose only child is `node`, which it then owns.
    static std::shared_ptr<XMLDocument> adopt(_xmlNode *node);
    // How much a parse forgives.
    enum class Leniency {
        // Well-formed XML only.
        Strict,
        // What real feeds need: a bare "&" (as in "?a=1&b=2") is read as "&amp;", a document
        // cut short keeps what came before the cut, and one that names no encoding and is not
        // UTF-8 is read as windows-1252. Strict parsing is tried first, so a
        // well-formed document reads the same either way.
        Forgiving,
    };

    // Null when the bytes are not well-formed XML (or, forgiving, when no root element comes out
    // of them), with *problem saying why in words for the user. Whitespace-only text is dropped.
    // A document that libxml2 recovered after stopping at its own bound on entity expansion comes
    // with entitiesExpandTooFar() set.
    static std::shared_ptr<XMLDocument> parse(const QByteArray &data, const QString &baseUrl = QString(),
                                              Leniency leniency = Leniency::Strict, QString *problem = nullptr);
    // A bare "&" of content or attributes written "&amp;", and "&#X" written "&#x"; CDATA sections
    // and comments are left alone. Byte-wise, so not for UTF-16 or UTF-32 input.
    static QByteArray escapeBareAmpersands(const QByteArray &data);
    // True for the Forgiving parses that needed libxml2's recovery.
    bool recovered() const { return m_recovered; }

    _xmlDoc *doc() const { return m_doc; }
    // The text an entity reference of this document stands for, when it is known. Empty once the
    // document's references have made too much text (see entitiesExpandTooFar()).
    QString entityText(const QString &name) const;
    // The text of an internal entity the document declares itself, when that text is plain
    // (holds no further reference or markup, so it cannot grow); nullopt otherwise, and once the
    // document's references have made too much text.
    std::optional<QString> declaredEntityText(const QString &name) const;

    // libxml2 leaves references unexpanded, so the two calls above are where this document's
    // entities turn into text; together they make at most the larger of kFreeEntityText characters
    // and kEntityAmplification times the document's size in bytes, and never over kMaxEntityText.
    // Past that a reader refuses the whole document, for a few bytes could otherwise become
    // gigabytes (one 10 KB entity named 20,000 times).
    static constexpr qsizetype kFreeEntityText = 64 * 1024;
    static constexpr qsizetype kEntityAmplification = 5;
    static constexpr qsizetype kMaxEntityText = 8 * 1024 * 1024;
    bool entitiesExpandTooFar() const { return m_entitiesExpandTooFar; }
    // Why a reader refuses a document whose entities expand too far, in words for the user.
    static QString entityExpansionProblem();

private:
    XMLDocument(_xmlDoc *doc, _xmlDoc *entities);
    // `encoding` overrides what the document declares; null leaves it to the document.
    // Sets *entityLoop when libxml2 stopped at its bound on entity expansion.
    static std::shared_ptr<XMLDocument> parseOnce(const QByteArray &data, const QString &baseUrl, bool recover,
                                                  const char *encoding, bool *entityLoop);

    // Counts `size` characters of text made of a reference; false when that goes past the bound.
    bool takeEntityText(qsizetype size) const;

    _xmlDoc *m_doc;
    _xmlDoc *m_entities;
    bool m_recovered = false;
    qsizetype m_inputSize = 0;
    // Counted by const readers; a document is read by one thread at a time.
    mutable qsizetype m_entityText = 0;
    mutable bool m_entitiesExpandTooFar = false;
};
