// XML from outside (feeds, outline files): parsed, walked through every lookup, and written back.
#include "feeds/XMLTree.h"

#include <QByteArray>

#include <cstddef>
#include <cstdint>

namespace {

void walk(const XMLTree &tree, int depth)
{
    (void)tree.name();
    (void)tree.type();
    (void)tree.attributes();
    (void)tree.attributeNamed(QStringLiteral("href"));
    (void)tree.childNamed(QStringLiteral("item"));
    if (depth > 64)
        return;
    for (const std::shared_ptr<XMLTree> &child : tree.children())
        walk(*child, depth + 1);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    const std::shared_ptr<XMLTree> document = XMLTree::treeWithData(bytes);
    if (!document)
        return 0;
    walk(*document, 0);
    (void)document->description();
    (void)document->descendentNamed(QStringLiteral("title"));
    (void)document->rootTree();
    (void)document->xml();
    return 0;
}
