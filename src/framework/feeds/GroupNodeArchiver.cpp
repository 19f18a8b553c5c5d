#include "GroupNodeArchiver_p.h"

#include "GroupNode_p.h"

#include <QIODevice>

namespace {

const quint32 kMagic = 0x54565247; // "TVRG"
const quint16 kFormat = 1;
// Deeper or wider archives are taken as damaged rather than read.
const int kMaximumDepth = 256;
const quint32 kMaximumChildren = 1u << 20;

} // namespace

GroupNodeArchiver::GroupNodeArchiver(QDataStream &stream)
    : m_stream(stream)
{}

QByteArray GroupNodeArchiver::archive(const GroupNode &root)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream.setVersion(QDataStream::Qt_6_0);
    stream << kMagic << kFormat;
    GroupNodeArchiver archiver(stream);
    if (!archiver.write(root) || stream.status() != QDataStream::Ok)
        return QByteArray();
    return bytes;
}

std::shared_ptr<GroupNode> GroupNodeArchiver::unarchive(const QByteArray &bytes)
{
    QDataStream stream(bytes);
    stream.setVersion(QDataStream::Qt_6_0);
    quint32 magic = 0;
    quint16 format = 0;
    stream >> magic >> format;
    if (magic != kMagic || format != kFormat)
        return nullptr;
    GroupNodeArchiver archiver(stream);
    std::shared_ptr<GroupNode> root = archiver.read(0);
    if (stream.status() != QDataStream::Ok || !stream.atEnd())
        return nullptr;
    return root;
}

bool GroupNodeArchiver::write(const Node &node)
{
    const auto *group = dynamic_cast<const GroupNode *>(&node);
    if (!group || m_written.contains(&node))
        return false;
    m_written.insert(&node, quint32(m_written.size()));
    m_stream << quint8(NodeTag) << group->name();
    writeParent(group->parent().get());
    m_stream << quint32(group->children().size());
    for (const std::shared_ptr<Node> &child : group->children()) {
        if (!write(*child))
            return false;
    }
    return true;
}

void GroupNodeArchiver::writeParent(const Node *parent)
{
    const auto known = m_written.constFind(parent);
    if (known == m_written.cend())
        m_stream << quint8(NullTag);
    else
        m_stream << quint8(ReferenceTag) << *known;
}

std::shared_ptr<GroupNode> GroupNodeArchiver::read(int depth)
{
    quint8 tag = NullTag;
    m_stream >> tag;
    if (tag != NodeTag || depth > kMaximumDepth || m_stream.status() != QDataStream::Ok) {
        m_stream.setStatus(QDataStream::ReadCorruptData);
        return nullptr;
    }
    QString name;
    m_stream >> name;
    auto node = std::make_shared<GroupNode>(name);
    m_read.append(node);
    node->setParent(readParent());
    quint32 count = 0;
    m_stream >> count;
    if (count > kMaximumChildren)
        m_stream.setStatus(QDataStream::ReadCorruptData);
    Node::NodeList children;
    for (quint32 i = 0; i < count && m_stream.status() == QDataStream::Ok; ++i) {
        if (std::shared_ptr<GroupNode> child = read(depth + 1))
            children.append(child);
    }
    node->setChildren(children);
    return node;
}

std::shared_ptr<GroupNode> GroupNodeArchiver::readParent()
{
    quint8 tag = NullTag;
    m_stream >> tag;
    if (tag == NullTag)
        return nullptr;
    quint32 index = 0;
    m_stream >> index;
    if (tag != ReferenceTag || index >= quint32(m_read.size())) {
        m_stream.setStatus(QDataStream::ReadCorruptData);
        return nullptr;
    }
    return m_read.at(index);
}
