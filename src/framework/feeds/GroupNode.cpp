#include "GroupNode_p.h"

#include "GroupNodeArchiver_p.h"

GroupNode::GroupNode(const QString &name)
    : Node(nullptr, true)
    , m_name(name)
{}

std::shared_ptr<GroupNode> GroupNode::nodeWithName(const QString &name)
{
    return std::make_shared<GroupNode>(name);
}

int GroupNode::compare(const Node &other) const
{
    const auto *group = dynamic_cast<const GroupNode *>(&other);
    return m_name.compare(group ? group->m_name : QString(), Qt::CaseInsensitive);
}

namespace {

qsizetype leavesBelow(const Node &node)
{
    qsizetype total = 0;
    for (const std::shared_ptr<Node> &child : node.children())
        total += child->isGroup() ? leavesBelow(*child) : 1;
    return total;
}

} // namespace

qsizetype GroupNode::totalNumberOfChildren() const
{
    return leavesBelow(*this);
}

std::shared_ptr<GroupNode> GroupNode::copy() const
{
    auto duplicate = std::make_shared<GroupNode>(m_name);
    for (const std::shared_ptr<Node> &child : children())
        duplicate->addChild(child);
    duplicate->setRepresentedObject(representedObject());
    return duplicate;
}

QByteArray GroupNode::archive() const
{
    return GroupNodeArchiver::archive(*this);
}

std::shared_ptr<GroupNode> GroupNode::unarchive(const QByteArray &bytes)
{
    return GroupNodeArchiver::unarchive(bytes);
}
