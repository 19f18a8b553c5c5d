#include "Node.h"

#include <algorithm>

Node::Node(const std::shared_ptr<Node> &parent, bool group)
    : m_parent(parent)
    , m_isGroup(group)
{}

std::shared_ptr<Node> Node::nodeWithParent(const std::shared_ptr<Node> &parent, bool group)
{
    return std::make_shared<Node>(parent, group);
}

std::shared_ptr<Node> Node::childAtIndex(qint32 index) const
{
    if (index < 0 || index >= m_children.size())
        return nullptr;
    return m_children.at(index);
}

qsizetype Node::indexOfChild(const std::shared_ptr<Node> &child) const
{
    if (!child)
        return NotFound;
    return m_children.indexOf(child);
}

void Node::addChild(const std::shared_ptr<Node> &child)
{
    if (!child)
        return;
    m_children.append(child);
    adoptAllChildren();
}

void Node::addChildren(const NodeList &children)
{
    m_children.append(children);
    adoptAllChildren();
}

void Node::insertChild(const std::shared_ptr<Node> &child, qint32 index)
{
    insertChildren(NodeList{child}, index);
}

void Node::insertChildren(const NodeList &children, qint32 index)
{
    qsizetype at = std::clamp<qsizetype>(index == -1 ? 0 : index, 0, m_children.size());
    for (const std::shared_ptr<Node> &child : children) {
        if (child)
            m_children.insert(at++, child);
    }
    adoptAllChildren();
}

void Node::removeChild(const std::shared_ptr<Node> &child)
{
    if (child)
        m_children.removeOne(child);
}

void Node::removeChildAtIndex(qint32 index)
{
    if (index >= 0 && index < m_children.size())
        m_children.removeAt(index);
}

void Node::sort()
{
    sortChildren();
    for (const std::shared_ptr<Node> &child : std::as_const(m_children))
        child->sort();
}

int Node::compare(const Node &) const
{
    return -1;
}

void Node::sortChildren()
{
    // Plain nodes answer "before" both ways round; only a one-sided answer orders two nodes.
    std::stable_sort(m_children.begin(), m_children.end(), [](const auto &left, const auto &right) {
        return left->compare(*right) < 0 && right->compare(*left) > 0;
    });
}

void Node::adoptAllChildren()
{
    const std::shared_ptr<Node> self = weak_from_this().lock();
    for (const std::shared_ptr<Node> &child : std::as_const(m_children))
        child->setParent(self);
}
