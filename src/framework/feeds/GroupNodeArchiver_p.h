#pragma once

#include <QByteArray>
#include <QDataStream>
#include <QHash>
#include <QList>

#include <memory>

class GroupNode;
class Node;

// The sequential archive of a tree of group nodes. Each node is written once, and a child's parent
// as the number of its first appearance; a parent outside the archived tree is not kept. A tree,
// not a graph: a node reached twice as a child cannot be archived, nor read back.
class GroupNodeArchiver
{
public:
    static QByteArray archive(const GroupNode &root);
    static std::shared_ptr<GroupNode> unarchive(const QByteArray &bytes);

private:
    enum Tag : quint8 { NullTag = 0, ReferenceTag = 1, NodeTag = 2 };

    explicit GroupNodeArchiver(QDataStream &stream);
    bool write(const Node &node);
    void writeParent(const Node *parent);
    std::shared_ptr<GroupNode> read(int depth);
    std::shared_ptr<GroupNode> readParent();

    QDataStream &m_stream;
    QHash<const Node *, quint32> m_written;
    QList<std::shared_ptr<GroupNode>> m_read;
};
