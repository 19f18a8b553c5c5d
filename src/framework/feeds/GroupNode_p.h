#pragma once

#include "tivaro_export.h"

#include "Node.h"

#include <QByteArray>
#include <QString>

// A named folder of an outline: always a group, without a parent when made.
class TIVARO_AUTOTEST_EXPORT GroupNode : public Node
{
public:
    explicit GroupNode(const QString &name = QString());

    static std::shared_ptr<GroupNode> nodeWithName(const QString &name);

    QString name() const { return m_name; }
    void setName(const QString &name) { m_name = name; }

    // By name, ignoring case; a node that is not a group node counts as unnamed.
    int compare(const Node &other) const override;
    // Only the direct children.
    void sortByName() { sortChildren(); }
    // The leaves (non-group nodes) of the whole subtree.
    qsizetype totalNumberOfChildren() const;

    // A shallow copy: the same child objects, which are moved under the copy, and the same payload.
    std::shared_ptr<GroupNode> copy() const;

    // Name, parent and children, in that order, for every group node reached. Empty when the tree
    // holds a node of another kind, which has no archived form.
    QByteArray archive() const;
    // Null when the bytes are not such an archive.
    static std::shared_ptr<GroupNode> unarchive(const QByteArray &bytes);

private:
    QString m_name;
};
