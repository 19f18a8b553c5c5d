// Outline (OPML) files from outside, such as a subscription list a user imports.
#include "feeds/TVROPMLDocument.h"
#include "feeds/TVROPMLNode.h"

#include <QByteArray>

#include <cstddef>
#include <cstdint>

namespace {

void walk(const TVROPMLNode &node)
{
    (void)node.isGroup();
    (void)node.description();
    for (const std::shared_ptr<Node> &child : node.children()) {
        if (child->parent().get() != &node)
            __builtin_trap();
        walk(static_cast<const TVROPMLNode &>(*child));
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    if (const std::shared_ptr<TVROPMLNode> root = TVROPMLDocument::documentWithData(bytes)->rootNode())
        walk(*root);
    return 0;
}
