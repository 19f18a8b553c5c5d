#pragma once

#include "tivaro_export.h"

#include "Node.h"
#include "XMLTree.h"

#include <QString>

// One outline of an OPML document: its text, type and url, and every attribute it had.
class TIVARO_EXPORT TVROPMLNode : public Node
{
public:
    TVROPMLNode() = default;

    // A new node without parent, not a group.
    static std::shared_ptr<TVROPMLNode> node();

    QString text() const { return m_text; }
    void setText(const QString &text) { m_text = text; }
    QString type() const { return m_type; }
    void setType(const QString &type) { m_type = type; }
    QString url() const { return m_url; }
    void setURL(const QString &url) { m_url = url; }
    const XMLTree::Attributes &attributes() const { return m_attributes; }
    void setAttributes(const XMLTree::Attributes &attributes) { m_attributes = attributes; }

    QString description() const { return m_text; }
    // A folder, or a link to another outline; only a leaf with some other url is not a group.
    bool isGroup() const override;

private:
    QString m_text;
    QString m_type;
    QString m_url;
    XMLTree::Attributes m_attributes;
};
