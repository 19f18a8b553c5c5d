// Outline (OPML) files from outside, such as a subscription list a user imports. The outlines'
// text stays within the file's size plus what its entities may expand to; a file without outlines
// says why.
#include "feeds/TVROPMLDocument.h"
#include "feeds/TVROPMLNode.h"
#include "feeds/XMLDocument_p.h"

#include <QByteArray>

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace {

// The text of the node's subtree: its attributes and its own text.
qsizetype walk(const TVROPMLNode &node)
{
    (void)node.isGroup();
    qsizetype size = node.description().size();
    for (const auto &[name, value] : node.attributes())
        size += name.size() + value.size();
    for (const std::shared_ptr<Node> &child : node.children()) {
        if (child->parent().get() != &node)
            __builtin_trap();
        size += walk(static_cast<const TVROPMLNode &>(*child));
    }
    return size;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    const std::shared_ptr<TVROPMLDocument> document = TVROPMLDocument::documentWithData(bytes);
    const std::shared_ptr<TVROPMLNode> root = document->rootNode();
    if (!root) {
        if (document->problem().isEmpty())
            __builtin_trap();
        return 0;
    }
    const qsizetype entities =
        std::min(XMLDocument::kMaxEntityText,
                 std::max(XMLDocument::kFreeEntityText, XMLDocument::kEntityAmplification * bytes.size()));
    // An outline's text is its "text" attribute decoded, so at most as long again.
    if (walk(*root) > 2 * (bytes.size() + entities))
        __builtin_trap();
    return 0;
}
