#include "feeds/GroupNode_p.h"
#include "feeds/Node.h"
#include "feeds/TVROPMLNode.h"

#include <QtTest>

namespace {

std::shared_ptr<GroupNode> group(const QString &name, const Node::NodeList &children = {})
{
    std::shared_ptr<GroupNode> node = GroupNode::nodeWithName(name);
    node->addChildren(children);
    return node;
}

std::shared_ptr<Node> leaf()
{
    return Node::nodeWithParent(nullptr, false);
}

QStringList names(const Node &node)
{
    QStringList result;
    for (const std::shared_ptr<Node> &child : node.children())
        result.append(std::static_pointer_cast<GroupNode>(child)->name());
    return result;
}

// Each child's parent is `node`, through the whole subtree.
bool parentsAreLinked(const std::shared_ptr<Node> &node)
{
    for (const std::shared_ptr<Node> &child : node->children()) {
        if (child->parent() != node || !parentsAreLinked(child))
            return false;
    }
    return true;
}

} // namespace

class NodeTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void childAtIndex_data()
    {
        QTest::addColumn<int>("index");
        QTest::addColumn<QString>("name");
        QTest::newRow("-1") << -1 << QString();
        QTest::newRow("first") << 0 << "a";
        QTest::newRow("last") << 2 << "c";
        QTest::newRow("count") << 3 << QString();
    }
    void childAtIndex()
    {
        QFETCH(int, index);
        QFETCH(QString, name);
        const std::shared_ptr<GroupNode> parent = group("p", {group("a"), group("b"), group("c")});
        const auto child = std::static_pointer_cast<GroupNode>(parent->childAtIndex(index));
        QCOMPARE(child ? child->name() : QString(), name);
    }

    void insertChild_data()
    {
        QTest::addColumn<int>("index");
        QTest::addColumn<QStringList>("order");
        QTest::newRow("-1 means first") << -1 << QStringList{"x", "a", "b"};
        QTest::newRow("0") << 0 << QStringList{"x", "a", "b"};
        QTest::newRow("middle") << 1 << QStringList{"a", "x", "b"};
        QTest::newRow("end") << 2 << QStringList{"a", "b", "x"};
    }
    void insertChild()
    {
        QFETCH(int, index);
        QFETCH(QStringList, order);
        const std::shared_ptr<GroupNode> parent = group("p", {group("a"), group("b")});
        const std::shared_ptr<GroupNode> inserted = group("x");
        parent->insertChild(inserted, index);
        QCOMPARE(names(*parent), order);
        QCOMPARE(inserted->parent(), parent);
    }

    void insertChildrenKeepTheirOrder()
    {
        const std::shared_ptr<GroupNode> parent = group("p", {group("a"), group("b")});
        parent->insertChildren({group("x"), group("y")}, 1);
        QCOMPARE(names(*parent), (QStringList{"a", "x", "y", "b"}));
        QVERIFY(parentsAreLinked(parent));
    }

    void indexAndRemoval()
    {
        const std::shared_ptr<Node> first = leaf();
        const std::shared_ptr<Node> second = leaf();
        const std::shared_ptr<Node> parent = Node::nodeWithParent(nullptr, true);
        parent->addChild(first);
        parent->addChild(nullptr);
        parent->addChild(second);
        QCOMPARE(parent->numberOfChildren(), 2);
        QCOMPARE(parent->indexOfChild(second), 1);
        QCOMPARE(parent->indexOfChild(nullptr), Node::NotFound);
        QCOMPARE(parent->indexOfChild(leaf()), Node::NotFound);
        parent->removeChild(first);
        QCOMPARE(parent->indexOfChild(second), 0);
        parent->removeChildAtIndex(5);
        parent->removeChildAtIndex(0);
        QCOMPARE(parent->numberOfChildren(), 0);
    }

    // Adding moves a child that had another parent.
    void addChildReparents()
    {
        const std::shared_ptr<GroupNode> oldParent = group("old");
        const std::shared_ptr<GroupNode> child = group("c");
        oldParent->addChild(child);
        const std::shared_ptr<GroupNode> newParent = group("new");
        newParent->addChild(child);
        QCOMPARE(child->parent(), newParent);
    }

    void setChildrenLeavesParentsAlone()
    {
        const std::shared_ptr<GroupNode> owner = group("owner");
        const std::shared_ptr<GroupNode> child = group("c");
        owner->addChild(child);
        const std::shared_ptr<GroupNode> other = group("other");
        other->setChildren({child});
        QCOMPARE(other->numberOfChildren(), 1);
        QCOMPARE(child->parent(), owner);
    }

    void sortOrdersGroupsByNameWithoutCase()
    {
        const std::shared_ptr<GroupNode> inner = group("b", {group("z"), group("Y")});
        const std::shared_ptr<GroupNode> root = group("root", {group("c"), inner, group("A")});
        const std::shared_ptr<GroupNode> shallow = root->copy();
        shallow->sortByName();
        QCOMPARE(names(*shallow), (QStringList{"A", "b", "c"}));
        QCOMPARE(names(*inner), (QStringList{"z", "Y"}));
        shallow->sort();
        QCOMPARE(names(*inner), (QStringList{"Y", "z"}));
    }

    void plainNodesKeepTheirOrderWhenSorted()
    {
        const std::shared_ptr<Node> parent = Node::nodeWithParent(nullptr, true);
        const Node::NodeList children{leaf(), leaf(), leaf()};
        parent->addChildren(children);
        parent->sort();
        QCOMPARE(parent->children(), children);
    }

    void totalNumberOfChildren()
    {
        const std::shared_ptr<GroupNode> root = group("root", {leaf(), group("sub", {leaf(), leaf()})});
        QCOMPARE(root->totalNumberOfChildren(), 3);
        QCOMPARE(group("empty", {group("inner")})->totalNumberOfChildren(), 0);
    }

    void copyIsShallowAndTakesTheChildren()
    {
        const std::shared_ptr<GroupNode> child = group("c");
        const std::shared_ptr<GroupNode> original = group("orig", {child});
        original->setRepresentedObject(QStringLiteral("payload"));
        const std::shared_ptr<GroupNode> copy = original->copy();
        QCOMPARE(copy->name(), QString("orig"));
        QCOMPARE(copy->representedObject(), QVariant(QStringLiteral("payload")));
        QVERIFY(copy->isGroup());
        QVERIFY(!copy->parent());
        QCOMPARE(copy->childAtIndex(0), child);
        QCOMPARE(child->parent(), copy);
    }

    void archiveRoundTrip()
    {
        const std::shared_ptr<GroupNode> root =
            group("Feeds", {group(QString::fromUtf8("Café")), group("Tech", {group("Gadgets")}), group(QString())});
        const QByteArray bytes = root->archive();
        QVERIFY(!bytes.isEmpty());
        const std::shared_ptr<GroupNode> restored = GroupNode::unarchive(bytes);
        QVERIFY(restored);
        QCOMPARE(restored->name(), QString("Feeds"));
        QCOMPARE(names(*restored), names(*root));
        QCOMPARE(names(*restored->childAtIndex(1)), QStringList{"Gadgets"});
        QVERIFY(!restored->parent());
        QVERIFY(parentsAreLinked(restored));
        QCOMPARE(restored->archive(), bytes);
    }

    void archiveNeedsGroupNodesOnly()
    {
        QVERIFY(group("root", {leaf()})->archive().isEmpty());
        QVERIFY(group("root", {TVROPMLNode::node()})->archive().isEmpty());
    }

    void unarchiveRefusesDamage_data()
    {
        const QByteArray good = group("root", {group("a"), group("b", {group("c")})})->archive();
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("other magic") << QByteArray("XXXX") + good.mid(4);
        QTest::newRow("truncated") << good.left(good.size() - 3);
        QTest::newRow("trailing bytes") << good + "x";
        // Root tag 2, empty name, parent referring to node 7, which does not exist.
        QTest::newRow("dangling parent") << good.left(6) + QByteArray::fromHex("02ffffffff0100000007");
        QTest::newRow("huge child count") << good.left(6) + QByteArray::fromHex("02ffffffff00ffffffff");
    }
    void unarchiveRefusesDamage()
    {
        QFETCH(QByteArray, bytes);
        QVERIFY(!GroupNode::unarchive(bytes));
    }

    void opmlNodeIsGroup_data()
    {
        QTest::addColumn<QString>("url");
        QTest::addColumn<bool>("withChild");
        QTest::addColumn<bool>("isGroup");
        QTest::newRow("leaf, feed url") << "http://example.com/feed.xml" << false << false;
        QTest::newRow("leaf, outline url") << "http://example.com/list.opml" << false << true;
        QTest::newRow("leaf, no url") << QString() << false << true;
        QTest::newRow("leaf, empty url") << "" << false << false;
        QTest::newRow("with children") << "http://example.com/feed.xml" << true << true;
    }
    void opmlNodeIsGroup()
    {
        QFETCH(QString, url);
        QFETCH(bool, withChild);
        QFETCH(bool, isGroup);
        const std::shared_ptr<TVROPMLNode> node = TVROPMLNode::node();
        node->setURL(url);
        if (withChild)
            node->addChild(TVROPMLNode::node());
        QCOMPARE(node->isGroup(), isGroup);
    }
};

QTEST_GUILESS_MAIN(NodeTest)
#include "tst_node.moc"
