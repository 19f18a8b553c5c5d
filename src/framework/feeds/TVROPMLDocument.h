#pragma once

#include "tivaro_export.h"

#include <QByteArray>
#include <QString>
#include <QUrl>

#include <memory>

class TVROPMLNode;
class XMLTree;

// An OPML file, such as a list of feed subscriptions, read into a tree of TVROPMLNodes.
class TIVARO_EXPORT TVROPMLDocument
{
public:
    // The document always exists; its root is null when the bytes were missing or not XML, or
    // declare entities that expand too far (see problem()).
    static std::shared_ptr<TVROPMLDocument> documentWithContentsOfFile(const QString &path);
    static std::shared_ptr<TVROPMLDocument> documentWithContentsOfURL(const QUrl &url);
    static std::shared_ptr<TVROPMLDocument> documentWithData(const QByteArray &data);

    // The outlines of the body are its children; without an opml body it has none.
    std::shared_ptr<TVROPMLNode> rootNode() const { return m_mainNode; }
    // Why the root is null, in words for the user ("it is not well-formed XML"); null when there is
    // a root.
    QString problem() const { return m_problem; }

private:
    void createWithData(const QByteArray &data);
    static std::shared_ptr<TVROPMLNode> OPMLNodeForXMLTree(const XMLTree &element);

    std::shared_ptr<TVROPMLNode> m_mainNode;
    QString m_problem;
};
