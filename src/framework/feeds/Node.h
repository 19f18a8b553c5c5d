#pragma once

#include "tivaro_export.h"

#include <QList>
#include <QVariant>

#include <memory>

// A node of a small general tree shown as an outline. A child refers to its parent weakly, so a
// tree is freed once nothing holds its root: a child kept alone loses its parent.
class TIVARO_EXPORT Node : public std::enable_shared_from_this<Node>
{
public:
    using NodeList = QList<std::shared_ptr<Node>>;
    static constexpr qsizetype NotFound = -1;

    explicit Node(const std::shared_ptr<Node> &parent = nullptr, bool group = false);
    virtual ~Node() = default;
    Node(const Node &) = delete;
    Node &operator=(const Node &) = delete;

    static std::shared_ptr<Node> nodeWithParent(const std::shared_ptr<Node> &parent, bool group);

    virtual bool isGroup() const { return m_isGroup; }
    void setGroup(bool group) { m_isGroup = group; }
    std::shared_ptr<Node> parent() const { return m_parent.lock(); }
    void setParent(const std::shared_ptr<Node> &parent) { m_parent = parent; }
    QVariant representedObject() const { return m_representedObject; }
    void setRepresentedObject(const QVariant &object) { m_representedObject = object; }

    const NodeList &children() const { return m_children; }
    // Takes the list as it is; the parents of its nodes are left alone.
    void setChildren(const NodeList &children) { m_children = children; }
    qsizetype numberOfChildren() const { return m_children.size(); }
    // Null when the index is negative or not below the count.
    std::shared_ptr<Node> childAtIndex(qint32 index) const;
    // NotFound for null and for a node that is not a child.
    qsizetype indexOfChild(const std::shared_ptr<Node> &child) const;

    // Each of these makes this node the parent of all its children afterwards.
    void addChild(const std::shared_ptr<Node> &child);
    void addChildren(const NodeList &children);
    // An index of -1 means the front.
    void insertChild(const std::shared_ptr<Node> &child, qint32 index);
    void insertChildren(const NodeList &children, qint32 index);

    void removeChild(const std::shared_ptr<Node> &child);
    void removeChildAtIndex(qint32 index);
    void removeAllChildren() { m_children.clear(); }

    // Orders the children by compare(), then each child's own, through the whole subtree.
    void sort();
    // Negative when this node goes before `other`. Plain nodes have no order of their own.
    virtual int compare(const Node &other) const;

protected:
    // Stable: nodes that do not order each other keep their places.
    void sortChildren();

private:
    void adoptAllChildren();

    NodeList m_children;
    std::weak_ptr<Node> m_parent;
    bool m_isGroup = false;
    QVariant m_representedObject;
};
